// Processes of the launcher: posix_spawnp, waitpid and signals.

#include "launcher/process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

extern char** environ;

namespace talmon::launcher {

namespace {

// How long a viewer asked to end may take before it is killed.
constexpr int kGraceMs = 2000;
constexpr int kGraceSliceMs = 10;

}  // namespace

std::vector<std::string> SplitAtBlanks(const std::string& line) {
  std::vector<std::string> fields(1);
  for (char c : line) {
    if (c == ' ') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

int StartViewer(std::vector<std::string> args) {
  if (args.empty()) return 0;
  const char* other = getenv("TALMON_VIEWER");
  if (other != nullptr && *other != '\0') args[0] = other;
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return 0;
  return static_cast<int>(pid);
}

bool Reaped(int pid) {
  if (pid <= 0) return true;
  int status = 0;
  pid_t r;
  do {
    r = waitpid(pid, &status, WNOHANG);
  } while (r < 0 && errno == EINTR);
  return r != 0;  // ended (pid), or not our child any more (-1)
}

int ExitDescriptor(int pid) {
#ifdef SYS_pidfd_open
  if (pid > 0) return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#endif
  (void)pid;
  return -1;
}

void CloseDescriptor(int fd) {
  if (fd >= 0) close(fd);
}

void EndAndReap(int pid) {
  if (pid <= 0 || Reaped(pid)) return;
  kill(pid, SIGTERM);
  const timespec slice{0, kGraceSliceMs * 1000000L};
  for (int waited = 0; waited < kGraceMs; waited += kGraceSliceMs) {
    if (Reaped(pid)) return;
    nanosleep(&slice, nullptr);
  }
  kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace talmon::launcher
