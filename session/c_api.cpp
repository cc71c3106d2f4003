// The exported C functions of sessions, page writers and page readers (the activity
// functions are in activity.cpp). Each is a thin shell over ResolveSession and the
// monitor classes; no exception leaves any of them.
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "core/app_data.h"
#include "core/path.h"
#include "session/activity.h"
#include "session/session_store.h"
#include "storage/page.h"
#include "talmon/readers.h"
#include "talmon/session.h"

namespace {

// Objects whose opening failed half-way are given up on purpose, not destroyed: a page
// writer whose text file could not be made may still hold its row file, and closing it
// would cut and remove a file that another writer may be using. They are kept reachable
// here for the life of the process.
void Abandon(IMonitorWriter* writer, IMonitorReader* reader) {
  static auto* mutex = new std::mutex;
  static auto* writers = new std::vector<IMonitorWriter*>;
  static auto* readers = new std::vector<IMonitorReader*>;
  std::lock_guard<std::mutex> lock(*mutex);
  if (writer != nullptr) writers->push_back(writer);
  if (reader != nullptr) readers->push_back(reader);
}

// The path of page in session (0: the last session); false when the session has no prefix
// or the page name is refused.
bool PagePath(unsigned int session, const char* page, char* path) {
  if (!talmon::IsSafePageName(page)) return false;
  char prefix[Korin::kMaxPath];
  if (!talmon::ResolveSession(false, &session, prefix)) return false;
  return talmon::JoinPath(path, prefix, page);
}

// A page file monitor on path, not yet opened; null when the page's files (path with the
// extensions "TXT" and "ROW") would not fit in 259 bytes: such a monitor would open nothing.
TalMonitorBase* NewPage(const char* path, bool writer) {
  auto* monitor = new TalMonitorBase;
  monitor->SetPageName(path);
  if (monitor->GetTextPath()[0] == '\0' || monitor->GetRowPath()[0] == '\0') {
    delete monitor;
    return nullptr;
  }
  monitor->SetWriter(writer);
  return monitor;
}

bool ResolveNew(unsigned int* session, char* prefix) {
  *session = 0;
  return talmon::ResolveSession(true, session, prefix);
}

}  // namespace

bool TalCreateMonitorSession(unsigned int* session) {
  if (session == nullptr) return false;
  try {
    char prefix[Korin::kMaxPath];
    if (!ResolveNew(session, prefix)) {
      *session = 0;
      return false;
    }
    talmon::SessionStep("numbered");
    char path[Korin::kMaxPath];
    if (talmon::JoinPath(path, prefix, talmon::kPauseMarker)) talmon::RemoveOwnFile(path);
    if (talmon::JoinPath(path, prefix, talmon::kStopMarker)) talmon::RemoveOwnFile(path);
    talmon::SessionStep("cleared");
    if (talmon::JoinPath(path, prefix, talmon::kPlayMarker)) {
      talmon::CreateMarkerFile(path, true);
    }
    return true;
  } catch (...) {
    return false;
  }
}

bool TalCloseMonitorSession(unsigned int session) {
  try {
    char prefix[Korin::kMaxPath];
    if (!talmon::ResolveSession(false, &session, prefix)) return true;
    char path[Korin::kMaxPath];
    if (talmon::JoinPath(path, prefix, talmon::kPauseMarker)) talmon::RemoveOwnFile(path);
    if (talmon::JoinPath(path, prefix, talmon::kPlayMarker)) talmon::RemoveOwnFile(path);
    return true;
  } catch (...) {
    return true;
  }
}

bool TalMonitorDefineNewSession(unsigned int* session) {
  if (session == nullptr) return false;
  try {
    char prefix[Korin::kMaxPath];
    return ResolveNew(session, prefix);
  } catch (...) {
    return false;
  }
}

bool TalMonitorDefineSession(unsigned int session, char* path) {
  if (path == nullptr) return false;
  try {
    return talmon::ResolveSession(false, &session, path);
  } catch (...) {
    return false;
  }
}

bool TalMonitorGetLastSession(unsigned int* session) {
  if (session == nullptr) return false;
  try {
    *session = 0;
    char prefix[Korin::kMaxPath];
    return talmon::ResolveSession(false, session, prefix);
  } catch (...) {
    return false;
  }
}

bool TalOpenMonitorWriter(unsigned int session, const char* page, bool temporary,
                          IMonitorWriter** writer) {
  if (writer == nullptr) return false;
  try {
    // A page named like a marker would be the session's marker itself: a writer there would
    // pause or stop its own session.
    if (talmon::IsMarkerName(page)) return false;
    char path[Korin::kMaxPath];
    if (!PagePath(session, page, path)) return false;
    TalMonitorBase* monitor = NewPage(path, true);
    if (monitor == nullptr) return false;
    monitor->SetDeleteOnClose(temporary);
    if (!monitor->Open()) {
      Abandon(monitor, nullptr);
      return false;
    }
    *writer = monitor;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalOpenMonitorReader(unsigned int session, const char* page, IMonitorReader** reader) {
  if (reader == nullptr) return false;
  try {
    char path[Korin::kMaxPath];
    if (!PagePath(session, page, path)) return false;
    TalMonitorBase* monitor = NewPage(path, false);
    if (monitor == nullptr) return false;
    // A page that is not there yet is opened again at its reader's next GetRow.
    monitor->Open();
    *reader = monitor;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalOpenMonitorReaderPageOrder(unsigned int session, const char* pattern,
                                   TalMonitorReaderPageOrder** reader) {
  if (reader == nullptr) return false;
  try {
    auto* multi = new TalMonitorReaderPageOrder;
    multi->SetSession(session);
    multi->SetPattern(pattern != nullptr ? pattern : "*");
    *reader = multi;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalOpenMonitorReaderSession(TalMonitorReaderSession** reader) {
  if (reader == nullptr) return false;
  try {
    *reader = new TalMonitorReaderSession;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalOpenMonitorReaderTime(unsigned int session, TalMonitorReaderTime** reader) {
  if (reader == nullptr) return false;
  try {
    auto* merged = new TalMonitorReaderTime;
    char path[Korin::kMaxPath];
    if (!talmon::ResolveSession(false, &session, path) || !talmon::JoinPath(path, path, "Time") ||
        !merged->SetPageName(path)) {
      Abandon(nullptr, merged);
      return false;
    }
    *reader = merged;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalMonitorExecute(const char* name, IMonitorReader** reader) {
  if (reader == nullptr) return false;
  try {
    // A prefix test: "session", "sessions" and "session2" all name the session reader.
    if (name != nullptr && std::strncmp(name, "session", 7) == 0) {
      *reader = new (std::nothrow) TalMonitorReaderSession;
      return true;
    }
    if (!talmon::IsSafePageName(name)) return false;
    Korin::IAppDataManager* manager = LoadAppDataManager();
    Korin::IAppData* data = manager != nullptr ? manager->GetAppData() : nullptr;
    char path[Korin::kMaxPath];
    if (data == nullptr || !data->GetDataFilePath(path, 0, Korin::kMaxPath, name)) return false;
    TalMonitorBase* monitor = NewPage(path, false);
    if (monitor == nullptr) return false;
    if (!monitor->Open()) {
      delete monitor;
      return false;
    }
    *reader = monitor;
    return true;
  } catch (...) {
    return false;
  }
}

bool TalCheckMonitorWriter(IMonitorWriter* writer) {
  if (writer == nullptr) return false;
  // Writers of other kinds keep their rows in memory, where nothing falls short.
  const auto* page = dynamic_cast<const TalMonitorBase*>(writer);
  return page == nullptr || page->CheckWrites();
}

bool TalCloseMonitorWriter(IMonitorWriter* writer) {
  delete writer;
  return true;
}

bool TalCloseMonitorReader(IMonitorReader* reader) {
  delete reader;
  return true;
}
