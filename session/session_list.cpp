// Sessions as viewers see them, read from one listing of the data directory.
#include "talmon/session_list.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "core/app_data.h"
#include "core/file.h"
#include "core/listing.h"
#include "session/activity.h"
#include "session/session_store.h"
#include "storage/page.h"
#include "talmon/readers.h"

namespace talmon {

namespace {

// The files of each session, by number, as one listing found them.
using SessionFiles = std::map<unsigned int, std::vector<Korin::OwnFile>>;

// Lists the caller's own files of directory that belong to a session (only: that session;
// 0: every one), grouped by session. False when the directory cannot be read.
bool ListSessionFiles(const char* directory, unsigned int only, SessionFiles& sessions) {
  std::vector<Korin::OwnFile> files;
  const auto wanted = [only](const char* name) {
    const int number = LeadingSession(name);
    return number > 0 && (only == 0 || static_cast<unsigned int>(number) == only);
  };
  if (!Korin::ListOwnFiles(directory, files, wanted)) return false;
  for (Korin::OwnFile& file : files) {
    const auto number = static_cast<unsigned int>(LeadingSession(file.name.c_str()));
    sessions[number].push_back(std::move(file));
  }
  return true;
}

// Fills page from its files: what its header publishes, and whether a writer holds it.
void ReadPage(const char* prefix, TalMonPageInfo& page) {
  char path[Korin::kMaxPath];
  const std::string base = page.name;
  if (JoinPath(path, prefix, (base + ".ROW").c_str())) {
    uint32_t textBytes = 0;
    TalMonitorBase::ReadPublished(path, page.rows, textBytes);
    page.bytes = textBytes;
  }
  page.held = JoinPath(path, prefix, (base + ".TXT").c_str()) && Korin_IsHeld(path);
}

// The session's pages (markers left out, in TalMonitorSelectPage order) and start time from
// its files; its state from its markers, probed only when the listing saw one.
TalMonSessionInfo Describe(const char* directory, unsigned int session,
                           const std::vector<Korin::OwnFile>& files) {
  TalMonSessionInfo info;
  info.session = session;
  const Korin::String pattern = SessionFilePattern(session, "*");
  const Korin::ICollator& collator = Korin::CollatorFactory::getFileSystemCollator(true);
  std::vector<Korin::String> names;
  bool marker = false;
  info.startTime = files.empty() ? 0 : files.front().born;
  for (const Korin::OwnFile& file : files) {
    info.startTime = std::min(info.startTime, file.born);
    Korin::String page;
    if (!Korin::MatchWildcard(pattern, file.name.c_str(), collator) ||
        !PageNameOfFile(session, Korin::String(file.name.c_str()), page)) {
      continue;
    }
    if (IsMarkerName(page)) {
      marker = true;
    } else {
      names.push_back(page);
    }
  }
  CSortableStringArray sortable(&names);
  CombSort(sortable);
  char number[16];
  std::snprintf(number, sizeof number, "%04d", static_cast<int>(session));
  char prefix[Korin::kMaxPath];
  const bool hasPrefix = JoinPath(prefix, directory, number);
  for (const Korin::String& name : names) {
    TalMonPageInfo page;
    page.name = static_cast<const char*>(name);
    if (hasPrefix) ReadPage(prefix, page);
    info.pages.push_back(std::move(page));
  }
  if (marker) info.state = SessionState(session, info.pauseHeld);
  return info;
}

bool Collect(unsigned int only, std::vector<TalMonSessionInfo>& sessions) {
  sessions.clear();
  char directory[Korin::kMaxPath];
  SessionFiles files;
  if (!GetDataDirectoryPath(directory) || !ListSessionFiles(directory, only, files)) return false;
  for (const auto& entry : files) {
    sessions.push_back(Describe(directory, entry.first, entry.second));
  }
  return true;
}

}  // namespace

}  // namespace talmon

const char* TalMonSessionStateWord(TalMonSessionState state) {
  switch (state) {
    case TalMonSessionState::kPlaying:
      return "playing";
    case TalMonSessionState::kPaused:
      return "paused";
    case TalMonSessionState::kStopping:
      return "stopping";
    case TalMonSessionState::kFinished:
      return "finished";
    case TalMonSessionState::kCrashed:
      return "crashed";
  }
  return "finished";
}

bool TalMonGetDataDirectory(std::string& dir, std::string* why) {
  try {
    return Korin::FindDataDirectory(dir, why);
  } catch (...) {
    dir.clear();
    return false;
  }
}

bool TalMonListSessions(std::vector<TalMonSessionInfo>& sessions) {
  try {
    if (talmon::Collect(0, sessions)) return true;
  } catch (...) {
  }
  sessions.clear();
  return false;
}

bool TalMonGetSessionInfo(unsigned int session, TalMonSessionInfo& info) {
  try {
    std::vector<TalMonSessionInfo> found;
    if (session == 0 || !talmon::Collect(session, found) || found.empty()) return false;
    info = std::move(found.front());
    return true;
  } catch (...) {
    return false;
  }
}

bool TalMonGetRowSource(IMonitorReader* reader, uint32_t row, uint32_t& page) {
  if (reader == nullptr) return false;
  try {
    if (auto* order = dynamic_cast<TalMonitorReaderPageOrder*>(reader)) {
      return order->GetRowPage(row, page);
    }
    if (auto* merged = dynamic_cast<TalMonitorReaderTime*>(reader)) {
      return merged->GetRowPage(row, page);
    }
    uint32_t count = 0;
    if (!reader->GetCount(count) || row >= count) return false;
    page = 0;
    return true;
  } catch (...) {
    return false;
  }
}
