// Korin::DirectoryWatch: wakes a waiting thread when entries of one directory are created,
// removed, renamed, written or changed. Internal to libtalmon; one thread uses an object.
#pragma once

namespace Korin {

class DirectoryWatch {
 public:
  DirectoryWatch() = default;
  ~DirectoryWatch();
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  // Starts watching dir (closing any earlier watch); false when it cannot be watched.
  bool Open(const char* dir);
  // Watches dir too, on the same descriptor (opening one when there is none): a watch that
  // must follow a directory that changes is never closed, as closing can block for
  // milliseconds. Watches of directories that are removed end by themselves. False when
  // dir cannot be watched.
  bool Add(const char* dir);
  // The descriptor that becomes readable on a change, for callers that poll it together
  // with others; -1 when not open.
  int Fd() const { return fd_; }
  // Blocks until a change arrives (true; every pending change is consumed) or timeoutMs
  // passes (false). A negative timeout counts as 0. A closed or failed watch sleeps for
  // the timeout and returns false, so a waiting loop over it still never spins.
  bool Wait(int timeoutMs);
  void Close();

 private:
  int fd_ = -1;
};

}  // namespace Korin
