// The process-wide data directory watch, behind a mutex for its opening and following.
#include "session/data_watch.h"

#include <mutex>
#include <string>

#include "core/path.h"
#include "core/watch.h"
#include "session/session_store.h"
#include "talmon/session.h"

namespace talmon {

namespace {

struct SharedWatch {
  std::mutex mutex;
  Korin::DirectoryWatch watch;
  std::string directory;  // the last directory added
};

// Never destroyed: a producer may wait in it while statics are torn down at exit.
SharedWatch& Shared() {
  static auto* const shared = new SharedWatch;
  return *shared;
}

}  // namespace

int DataWatchFd() {
  char directory[Korin::kMaxPath];
  SharedWatch& shared = Shared();
  std::lock_guard<std::mutex> lock(shared.mutex);
  if (GetDataDirectoryPath(directory) && shared.directory != directory &&
      shared.watch.Add(directory)) {
    shared.directory = directory;
  }
  return shared.watch.Fd();
}

bool WaitDataChange(int timeoutMs) {
  DataWatchFd();
  // The descriptor is never closed, so waiting on it needs no lock.
  return Shared().watch.Wait(timeoutMs);
}

}  // namespace talmon

int TalMonitorGetChangeDescriptor() {
  try {
    return talmon::DataWatchFd();
  } catch (...) {
    return -1;
  }
}

bool TalWaitMonitorChange(int timeoutMs) {
  try {
    return talmon::WaitDataChange(timeoutMs);
  } catch (...) {
    return false;
  }
}
