// The process's one watch of the data directory: made at first use and kept until the
// process ends (closing an inotify descriptor can block for milliseconds), so that the
// paused producer, followers and viewers wait on it without opening one per wait. Internal
// to libtalmon; any thread.
#pragma once

namespace talmon {

// The watch's descriptor, readable while changes are pending; it watches the data
// directory as it is now (a new data directory is added to the same descriptor). -1 when
// the directory cannot be watched.
int DataWatchFd();

// Waits until an entry of the data directory is created, removed, renamed or written, or
// timeoutMs pass (negative: 0); consumes the pending changes. True when something changed.
// Without a watch it sleeps for the timeout and answers false, so a loop over it never spins.
bool WaitDataChange(int timeoutMs);

}  // namespace talmon
