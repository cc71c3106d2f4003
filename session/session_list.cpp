// Sessions as viewers see them, read from one listing of the data directory.
#include "talmon/session_list.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

#include "core/app_data.h"
#include "core/file.h"
#include "core/listing.h"
#include "session/activity.h"
#include "session/session_store.h"
#include "storage/page.h"
#include "talmon/readers.h"

namespace talmon {

namespace {

// The names of each session's files, by number, as one listing found them.
using SessionFiles = std::map<unsigned int, std::vector<std::string>>;

// Lists the names of directory that belong to a session (only: that session; 0: every one),
// grouped by session. False when the directory cannot be read.
bool ListSessionFiles(const char* directory, unsigned int only, SessionFiles& sessions) {
  std::vector<std::string> names;
  const auto wanted = [only](const char* name) {
    const int number = LeadingSession(name);
    return number > 0 && (only == 0 || static_cast<unsigned int>(number) == only);
  };
  if (!Korin::ListFileNames(directory, names, wanted)) return false;
  for (std::string& name : names) {
    const auto number = static_cast<unsigned int>(LeadingSession(name.c_str()));
    sessions[number].push_back(std::move(name));
  }
  return true;
}

// The session's own files that can be pages or markers (names ending in ".TXT", any case):
// only these are looked at closely. When it has none, any one own file of it is kept, so that
// a session of other files is still found; none at all: the session is no one's of ours.
std::vector<Korin::OwnFile> OwnFiles(const char* directory, const std::vector<std::string>& names) {
  std::vector<Korin::OwnFile> files;
  Korin::OwnFile file;
  const auto isText = [](const std::string& name) {
    return name.size() >= 4 &&
           Korin::String(name.c_str() + name.size() - 4).compareIgnoreCase(".TXT") == 0;
  };
  for (const std::string& name : names) {
    if (isText(name) && Korin::StatOwnFile(directory, name, file)) files.push_back(file);
  }
  for (size_t i = 0; files.empty() && i < names.size(); ++i) {
    if (!isText(names[i]) && Korin::StatOwnFile(directory, names[i], file)) files.push_back(file);
  }
  return files;
}

// What every session of one listing shares: the directory, and the kernel's lock table read
// once, so that only a file some process locks costs an open to tell whether it is held.
struct Listing {
  char directory[Korin::kMaxPath] = {};
  bool haveLocks = false;
  std::vector<uint64_t> locked;  // inodes

  bool Held(const Korin::OwnFile& file) const {
    if (haveLocks && !std::binary_search(locked.begin(), locked.end(), file.inode)) {
      return false;
    }
    char path[Korin::kMaxPath];
    return JoinPath(path, directory, file.name.c_str()) && Korin_IsHeld(path);
  }
};

// Fills page from its files: what its header publishes, and whether a writer holds its text
// file (the one listed, whatever the case of its extension).
void ReadPage(const Listing& listing, const char* prefix, const Korin::OwnFile& text,
              TalMonPageInfo& page) {
  char path[Korin::kMaxPath];
  if (JoinPath(path, prefix, (page.name + ".ROW").c_str())) {
    uint32_t textBytes = 0;
    TalMonitorBase::ReadPublished(path, page.rows, textBytes);
    page.bytes = textBytes;
  }
  page.held = listing.Held(text);
}

// The session's pages (markers left out, in TalMonitorSelectPage order) and start time from
// its files; its state from its markers, probed only when the listing saw one.
TalMonSessionInfo Describe(const Listing& listing, unsigned int session,
                           const std::vector<Korin::OwnFile>& files) {
  TalMonSessionInfo info;
  info.session = session;
  const Korin::String pattern = SessionFilePattern(session, "*");
  const Korin::ICollator& collator = Korin::CollatorFactory::getFileSystemCollator(true);
  std::vector<Korin::String> names;
  std::map<std::string, const Korin::OwnFile*> textFiles;
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
      textFiles[static_cast<const char*>(page)] = &file;
    }
  }
  CSortableStringArray sortable(&names);
  CombSort(sortable);
  char number[16];
  std::snprintf(number, sizeof number, "%04d", static_cast<int>(session));
  char prefix[Korin::kMaxPath];
  const bool hasPrefix = JoinPath(prefix, listing.directory, number);
  for (const Korin::String& name : names) {
    TalMonPageInfo page;
    page.name = static_cast<const char*>(name);
    if (hasPrefix) ReadPage(listing, prefix, *textFiles[page.name], page);
    info.pages.push_back(std::move(page));
  }
  if (marker) info.state = SessionState(session, info.pauseHeld);
  return info;
}

bool Collect(unsigned int only, std::vector<TalMonSessionInfo>& sessions) {
  sessions.clear();
  Listing listing;
  SessionFiles files;
  if (!GetDataDirectoryPath(listing.directory) ||
      !ListSessionFiles(listing.directory, only, files)) {
    return false;
  }
  listing.haveLocks = Korin_ListLockedInodes(listing.locked);
  for (const auto& entry : files) {
    const std::vector<Korin::OwnFile> own = OwnFiles(listing.directory, entry.second);
    if (!own.empty()) sessions.push_back(Describe(listing, entry.first, own));
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

bool TalMonClearStrayPause(unsigned int session) {
  try {
    return talmon::ClearStrayPause(session);
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
