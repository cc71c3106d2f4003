// `talmon export`: a session kept as plain text files, out of reach of the clean-up that
// every new session makes.
#include "cli/export.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/common.h"
#include "cli/os.h"
#include "talmon/session.h"
#include "talmon/session_list.h"
#include "talmon/terminal.h"

namespace talmon::cli {

namespace {

const char kExportHelp[] =
    "Usage: talmon export [SESSION] [DIR]\n"
    "\n"
    "Keeps SESSION (default: the last session) as plain text: DIR/pages/PAGE.txt for each\n"
    "page and DIR/merged.txt for all pages merged in the order their rows were written, one\n"
    "line per row, as 'talmon show' prints them without colour. DIR defaults to\n"
    "session-NNNN in the current directory; it is made when missing, and files already in it\n"
    "are never overwritten.\n"
    "\n"
    "Every new session deletes the files of the sessions before it whose producer has ended,\n"
    "so export a run you want to keep before the next one starts.\n";

// Cells a row may need: its markup never shows more characters than it has bytes, and tab
// columns and their gaps can add a few cells each. Wide enough that no text is cut.
uint32_t ColumnsFor(IMonitorReader& reader, uint32_t count) {
  uint32_t widest = 0;
  const char* text = nullptr;
  uint32_t length = 0;
  for (uint32_t row = 0; row < count; ++row) {
    if (reader.GetRow(row, text, length)) widest = std::max(widest, length);
  }
  return std::min<uint32_t>(65535, 80 + 2 * widest);
}

// Writes every row of reader to the new file path; "" when done, else why not.
std::string WriteRows(IMonitorReader& reader, const std::string& path) {
  // "x": the file must be new; a kept export is never overwritten.
  std::FILE* out = std::fopen(path.c_str(), "wx");
  if (out == nullptr) return path + ": " + std::strerror(errno);
  uint32_t count = 0;
  reader.GetCount(count);
  TalMonTerminalOptions options;
  options.colour = false;
  options.hyperlinks = false;
  options.columns = ColumnsFor(reader, count);
  // In blocks, so that memory stays flat however long the page is.
  constexpr uint32_t kBlockRows = 1024;
  std::vector<std::string> lines;
  for (uint32_t row = 0; row < count; row += kBlockRows) {
    TalMonRenderTerminal(reader, row, std::min(kBlockRows, count - row), options, lines);
    for (const std::string& line : lines) {
      std::fwrite(line.data(), 1, line.size(), out);
      std::putc('\n', out);
    }
  }
  const bool written = std::ferror(out) == 0;
  const bool closed = std::fclose(out) == 0;
  if (!written || !closed) return path + ": " + std::strerror(errno);
  return "";
}

std::string ExportPages(unsigned int session, const TalMonSessionInfo& info,
                        const std::string& dir) {
  const std::string pages = dir + "/pages";
  std::string problem;
  if (!os::MakeDirectory(pages, problem)) return problem;
  for (const TalMonPageInfo& page : info.pages) {
    IMonitorReader* reader = nullptr;
    if (!TalOpenMonitorReader(session, page.name.c_str(), &reader) || reader == nullptr) {
      return "cannot read page '" + page.name + "'";
    }
    problem = WriteRows(*reader, pages + "/" + page.name + ".txt");
    TalCloseMonitorReader(reader);
    if (!problem.empty()) return problem;
  }
  return "";
}

std::string ExportMerged(unsigned int session, const TalMonSessionInfo& info,
                         const std::string& dir) {
  TalMonitorReaderTime* merged = nullptr;
  if (!TalOpenMonitorReaderTime(session, &merged) || merged == nullptr) {
    return "cannot merge the pages of session " + std::to_string(session);
  }
  for (const TalMonPageInfo& page : info.pages) {
    IMonitorReader* reader = nullptr;
    if (TalOpenMonitorReader(session, page.name.c_str(), &reader)) merged->AddReader(reader);
  }
  std::string problem = "cannot merge the pages of session " + std::to_string(session);
  if (merged->Update()) problem = WriteRows(*merged, dir + "/merged.txt");
  TalCloseMonitorReader(merged);
  return problem;
}

}  // namespace

std::string DefaultExportDirectory(unsigned int session) {
  char name[32];
  std::snprintf(name, sizeof name, "session-%04u", session);
  return name;
}

std::string ExportSession(unsigned int session, const std::string& dir) {
  TalMonSessionInfo info;
  if (!TalMonGetSessionInfo(session, info)) {
    return "session " + std::to_string(session) + " does not exist in " + DataDirectory();
  }
  std::string problem;
  if (!os::MakeDirectory(dir, problem)) return problem;
  problem = ExportPages(session, info, dir);
  if (problem.empty()) problem = ExportMerged(session, info, dir);
  return problem;
}

int CommandExport(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("export", args, {}, kExportHelp, a, code)) return code;
  Args words = a.Positional();
  if (words.size() > 2) return UsageError("export", "too many arguments");
  // SESSION DIR, SESSION, or DIR (of the last session).
  std::string dir;
  if (words.size() == 2 || (words.size() == 1 && !IsSessionWord(words[0]))) {
    dir = words.back();
    words.pop_back();
  }
  unsigned int session = 0;
  if ((code = ChooseSession("export", words, 0, session)) != kExitOk) return code;
  if (dir.empty()) dir = DefaultExportDirectory(session);
  const std::string problem = ExportSession(session, dir);
  if (!problem.empty())
    return Fail("cannot export session " + std::to_string(session) + ": " + problem);
  std::fprintf(stderr, "talmon: session %u exported to %s\n", session, dir.c_str());
  return kExitOk;
}

}  // namespace talmon::cli
