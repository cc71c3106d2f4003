// The terminal tool's OS calls on Linux.
#include "cli/os.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

extern char** environ;

namespace talmon::cli::os {

namespace {

volatile sig_atomic_t gInterrupt = 0;
int gInterruptPipe[2] = {-1, -1};

void OnInterrupt(int signal) {
  gInterrupt = signal;
  const int saved = errno;
  const char byte = 1;
  if (gInterruptPipe[1] >= 0) {
    [[maybe_unused]] ssize_t n = write(gInterruptPipe[1], &byte, 1);
  }
  errno = saved;
}

int SignalNumber(GroupSignal signal) {
  switch (signal) {
    case GroupSignal::kStop:
      return SIGSTOP;
    case GroupSignal::kContinue:
      return SIGCONT;
    case GroupSignal::kTerminate:
      return SIGTERM;
    case GroupSignal::kKill:
      return SIGKILL;
  }
  return SIGTERM;
}

}  // namespace

bool IsTerminal(int fd) {
  return isatty(fd) == 1;
}

bool TerminalSize(int fd, uint32_t& columns, uint32_t& rows) {
  winsize size{};
  if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return false;
  columns = size.ws_col;
  rows = size.ws_row;
  return true;
}

bool GetEnv(const char* name, std::string& value) {
  const char* v = getenv(name);
  if (v == nullptr) return false;
  value = v;
  return true;
}

bool MakeDirectory(const std::string& path, std::string& error) {
  struct stat st;
  if (mkdir(path.c_str(), 0755) == 0 ||
      (errno == EEXIST && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))) {
    return true;
  }
  error = path + ": " + (errno == EEXIST ? "exists and is not a directory" : strerror(errno));
  return false;
}

void CatchInterrupts() {
  if (gInterruptPipe[0] < 0 && pipe2(gInterruptPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
    gInterruptPipe[0] = gInterruptPipe[1] = -1;
  }
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  for (int s : {SIGINT, SIGTERM, SIGHUP})
    sigaction(s, &action, nullptr);
}

int TakeInterrupt() {
  const int signal = gInterrupt;
  gInterrupt = 0;
  return signal;
}

int Poll(const std::vector<int>& fds, int timeoutMs, std::vector<bool>& ready) {
  std::vector<pollfd> polled;
  std::vector<size_t> index;
  for (size_t i = 0; i < fds.size(); ++i) {
    if (fds[i] < 0) continue;
    polled.push_back(pollfd{fds[i], POLLIN, 0});
    index.push_back(i);
  }
  if (gInterruptPipe[0] >= 0) polled.push_back(pollfd{gInterruptPipe[0], POLLIN, 0});
  ready.assign(fds.size(), false);
  if (gInterrupt != 0) return 0;
  int r = poll(polled.data(), polled.size(), timeoutMs);
  if (gInterruptPipe[0] >= 0 && (polled.back().revents & POLLIN) != 0) {
    char bytes[64];
    while (read(gInterruptPipe[0], bytes, sizeof bytes) > 0) {
    }
  }
  if (r <= 0) return 0;
  int count = 0;
  for (size_t k = 0; k < index.size(); ++k) {
    if ((polled[k].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
      ready[index[k]] = true;
      ++count;
    }
  }
  return count;
}

long Read(int fd, char* buffer, size_t size) {
  for (;;) {
    ssize_t n = read(fd, buffer, size);
    if (n >= 0) return static_cast<long>(n);
    if (errno != EINTR) return -1;
  }
}

void Close(int fd) {
  if (fd >= 0) close(fd);
}

bool StartDetached(const std::vector<std::string>& argv) {
  if (argv.empty()) return false;
  std::vector<char*> args;
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  posix_spawnattr_t attr;
  if (posix_spawnattr_init(&attr) != 0) return false;
  // A session of its own: the terminal's interrupt, meant for the tool, spares it.
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSID);
  pid_t pid = 0;
  const bool started = posix_spawnp(&pid, args[0], nullptr, &attr, args.data(), environ) == 0;
  posix_spawnattr_destroy(&attr);
  return started;
}

bool Spawn(const std::vector<std::string>& argv, Child& child, std::string& error,
           int& exitStatus) {
  if (argv.empty()) {
    error = "no command";
    exitStatus = 127;
    return false;
  }
  int out[2], err[2], report[2];
  if (pipe2(out, O_CLOEXEC) != 0) return false;
  if (pipe2(err, O_CLOEXEC) != 0) {
    close(out[0]), close(out[1]);
    return false;
  }
  if (pipe2(report, O_CLOEXEC) != 0) {
    close(out[0]), close(out[1]), close(err[0]), close(err[1]);
    return false;
  }
  std::vector<char*> args;
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  const bool replaceInput = isatty(STDIN_FILENO) == 1;

  const pid_t parent = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    // A tool killed outright (SIGKILL) cannot stop its command: the kernel does.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);  // the tool died before the line above
    setpgid(0, 0);
    // The tool catches interrupts; the command starts with the default handlers.
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    signal(SIGHUP, SIG_DFL);
    signal(SIGPIPE, SIG_DFL);
    if (replaceInput) {
      int null = open("/dev/null", O_RDONLY);
      if (null >= 0) dup2(null, STDIN_FILENO);
    }
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    execvp(args[0], args.data());
    const int code = errno;
    [[maybe_unused]] ssize_t n = write(report[1], &code, sizeof code);
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  close(report[1]);
  if (pid < 0) {
    close(out[0]), close(err[0]), close(report[0]);
    error = strerror(errno);
    exitStatus = 126;
    return false;
  }
  // Both sides set the group, so that a signal sent right after Spawn already reaches it.
  setpgid(pid, pid);
  int code = 0;
  ssize_t n;
  do {
    n = read(report[0], &code, sizeof code);
  } while (n < 0 && errno == EINTR);
  close(report[0]);
  if (n == static_cast<ssize_t>(sizeof code)) {
    int status = 0;
    waitpid(pid, &status, 0);
    close(out[0]), close(err[0]);
    error = strerror(code);
    exitStatus = code == ENOENT ? 127 : 126;
    return false;
  }
  child.pid = pid;
  child.out = out[0];
  child.err = err[0];
  return true;
}

bool SignalGroup(int pid, GroupSignal signal) {
  return pid > 0 && kill(-pid, SignalNumber(signal)) == 0;
}

bool ForwardToGroup(int pid, int signal) {
  return pid > 0 && signal > 0 && kill(-pid, signal) == 0;
}

bool Reap(int pid, bool block, int& status) {
  int raw = 0;
  pid_t r;
  do {
    r = waitpid(pid, &raw, block ? 0 : WNOHANG);
  } while (r < 0 && errno == EINTR);
  if (r != pid) return false;
  if (WIFEXITED(raw)) {
    status = WEXITSTATUS(raw);
  } else if (WIFSIGNALED(raw)) {
    status = 128 + WTERMSIG(raw);
  } else {
    return false;
  }
  return true;
}

}  // namespace talmon::cli::os
