// Korin::DirectoryWatch over inotify.
#include "core/watch.h"

#include <errno.h>
#include <poll.h>
#include <sys/inotify.h>
#include <time.h>
#include <unistd.h>

#include "core/file.h"

namespace Korin {

namespace {

long long NowMs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<long long>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

}  // namespace

DirectoryWatch::~DirectoryWatch() {
  Close();
}

bool DirectoryWatch::Open(const char* dir) {
  Close();
  return Add(dir);
}

bool DirectoryWatch::Add(const char* dir) {
  if (!dir || !*dir) return false;
  const bool fresh = fd_ < 0;
  if (fresh) fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd_ < 0) return false;
  const uint32_t mask =
      IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;
  if (inotify_add_watch(fd_, dir, mask) >= 0) return true;
  if (fresh) Close();
  return false;
}

bool DirectoryWatch::Wait(int timeoutMs) {
  if (timeoutMs < 0) timeoutMs = 0;
  if (fd_ < 0) {
    Korin_Sleep(static_cast<uint32_t>(timeoutMs));
    return false;
  }
  const long long deadline = NowMs() + timeoutMs;
  for (;;) {
    const long long left = deadline - NowMs();
    pollfd p{fd_, POLLIN, 0};
    int r = poll(&p, 1, left > 0 ? static_cast<int>(left) : 0);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    break;
  }
  // Events are only a wake-up signal; their content does not matter.
  alignas(inotify_event) char buffer[4096];
  while (read(fd_, buffer, sizeof buffer) > 0) {
  }
  return true;
}

void DirectoryWatch::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
}

}  // namespace Korin
