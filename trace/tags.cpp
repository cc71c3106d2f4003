// The tags: what each one writes when it begins and ends (the text is the markup of
// doc/markup.md), and the return of their pool slots.

#include <cstring>

#include "talmon/trace.h"
#include "trace/local_time.h"
#include "trace/markup_out.h"
#include "trace/tag_pool.h"

namespace {

// Writes prefix, argument and suffix as one piece when they fit a local buffer (each write
// of a page is a write to its file), else as three. The page reads the same either way.
bool WriteWrapped(IMonitorWriter& writer, const char* prefix, const char* argument,
                  const char* suffix) {
  if (argument == nullptr) argument = "";
  char piece[256];
  const size_t a = std::strlen(prefix), b = std::strlen(argument), c = std::strlen(suffix);
  if (a + b + c < sizeof(piece)) {
    std::memcpy(piece, prefix, a);
    std::memcpy(piece + a, argument, b);
    std::memcpy(piece + a + b, suffix, c + 1);
    return writer.Write(piece);
  }
  return writer.Write(prefix) && writer.Write(argument) && writer.Write(suffix);
}

}  // namespace

TalMonitorTag::~TalMonitorTag() = default;

bool TalMonitorTag::Begin(IMonitorWriter&) {
  return true;
}

bool TalMonitorTag::End(IMonitorWriter&) {
  return true;
}

void TalMonitorTag::operator delete(void*) noexcept {
  TagPool::Release();
}

bool TalMonitorTagNamed::Begin(IMonitorWriter& writer) {
  return writer.OpenTag(name_);
}

bool TalMonitorTagNamed::End(IMonitorWriter& writer) {
  return writer.CloseTag();
}

bool TalMonitorTagLink::Begin(IMonitorWriter& writer) {
  if (!writer.OpenTag(name_)) return false;
  if (!WriteText(writer, target_ != nullptr ? target_ : "")) return false;
  return writer.Write(")");
}

bool TalMonitorTagBlock::Begin(IMonitorWriter& writer) {
  char last = '\0';
  writer.GetLastChar(last);
  if (last == '\n') return true;
  return writer.Write("\n");
}

bool TalMonitorTagBlock::End(IMonitorWriter& writer) {
  if (!writer.Flush()) return false;
  return Begin(writer);
}

bool TalMonitorTagColumn::Begin(IMonitorWriter& writer) {
  return writer.Write("(column)");
}

bool TalMonitorTagDuration::Begin(IMonitorWriter& writer) {
  char text[kTalMonNumberSize];
  TalMonFormatTimeSpan(span_, text);
  return WriteText(writer, text);
}

bool TalMonitorTagFlush::Begin(IMonitorWriter& writer) {
  return writer.Flush();
}

bool TalMonitorTagIcon::Begin(IMonitorWriter& writer) {
  return WriteWrapped(writer, "(icon ", icon_, ")");
}

bool TalMonitorTagLine::Begin(IMonitorWriter& writer) {
  return writer.Write("\n");
}

bool TalMonitorTagLogo::Begin(IMonitorWriter& writer) {
  return WriteWrapped(writer, "(logo ", logo_, ")");
}

bool TalMonitorTagProgress::Begin(IMonitorWriter& writer) {
  char progress[kTalMonNumberSize], total[kTalMonNumberSize];
  TalMonFormatDecimal(progress_, progress);
  TalMonFormatDecimal(total_, total);
  char text[2 * kTalMonNumberSize + 24] = "(progress ";
  std::strcat(text, progress);
  std::strcat(text, ")(total ");
  std::strcat(text, total);
  std::strcat(text, ")");
  return writer.Write(text);
}

bool TalMonitorTagRow::Begin(IMonitorWriter& writer) {
  return WriteWrapped(writer, "(tab ", tabs_, ")");
}

bool TalMonitorTagSection::Begin(IMonitorWriter& writer) {
  return writer.PushTab();
}

bool TalMonitorTagSection::End(IMonitorWriter& writer) {
  return writer.PopTab();
}

bool TalMonitorTagSeparator::Begin(IMonitorWriter& writer) {
  return writer.Write("(separator)");
}

bool TalMonitorTagSpace::Begin(IMonitorWriter& writer) {
  return writer.Write(" ");
}

bool TalMonitorTagTab::Begin(IMonitorWriter& writer) {
  return writer.Write("(tab)");
}

bool TalMonitorTagTemporary::Begin(IMonitorWriter& writer) {
  return writer.Save();
}

bool TalMonitorTagTemporary::End(IMonitorWriter& writer) {
  return writer.Restore();
}

bool TalMonitorTagTimeNow::Begin(IMonitorWriter& writer) {
  TalMonClockTime now;
  if (!TalMonReadLocalTime(now)) now = TalMonClockTime{-1, -1, -1};
  const int fields[3] = {now.hour, now.minute, now.second};
  char text[kTalMonNumberSize];
  for (int i = 0; i < 3; ++i) {
    if (i > 0 && !writer.Write(":")) return false;
    TalMonFormatField(fields[i], text);
    if (!writer.Write(text)) return false;
  }
  return true;
}
