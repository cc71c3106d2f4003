// The terminal tool's one door to the operating system: terminals, the environment, files of
// the data directory, interrupt signals and child processes. The tool
// links only the public library, so its own OS needs live here and nowhere else in cli/.
// Everything is called from the tool's single thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talmon::cli::os {

// True when fd is a terminal.
bool IsTerminal(int fd);
// The terminal's size in cells; false when fd is no terminal or reports no size.
bool TerminalSize(int fd, uint32_t& columns, uint32_t& rows);
// The variable's value; false when it is not set.
bool GetEnv(const char* name, std::string& value);

// Makes the directory path (mode 0755) unless it is one already; false with error saying
// which and why ("out/pages: Permission denied").
bool MakeDirectory(const std::string& path, std::string& error);

// From now on SIGINT, SIGTERM and SIGHUP no longer end the tool: they are taken with
// TakeInterrupt, and a Poll that is waiting when one arrives returns at once.
void CatchInterrupts();
// The last signal caught since the previous call, 0 when none.
int TakeInterrupt();

// Waits until one of fds (negative entries are skipped) is readable or has hung up, or until
// timeoutMs passes (negative: no limit); an interrupt signal ends the wait early. ready[i]
// tells which. Returns the number of ready descriptors, 0 on timeout.
int Poll(const std::vector<int>& fds, int timeoutMs, std::vector<bool>& ready);
// Reads at most size bytes: the count, 0 at end of file, -1 on error.
long Read(int fd, char* buffer, size_t size);
void Close(int fd);

// A command started in a process group of its own, its standard output and error on pipes.
struct Child {
  int pid = -1;
  int out = -1;
  int err = -1;
};

// Starts argv[0] (looked up in PATH) as the leader of a new process group. Its standard input
// is the tool's, except that a terminal is replaced by /dev/null: the command runs in a
// background group and would be stopped at its first read of the terminal. The command is
// killed when the tool dies, however it dies. False when it cannot be started: error says why
// and exitStatus is the shell's code (127 not found, 126 not executable).
bool Spawn(const std::vector<std::string>& argv, Child& child, std::string& error, int& exitStatus);

// Starts argv[0] (looked up in PATH) on its own: it outlives the tool, and nobody waits for
// it (it is reaped by init once the tool has gone). False when it cannot be started.
bool StartDetached(const std::vector<std::string>& argv);

enum class GroupSignal { kStop, kContinue, kTerminate, kKill };
// Sends the signal to every process of the group led by pid.
bool SignalGroup(int pid, GroupSignal signal);
// Sends a signal number caught by CatchInterrupts on to the group.
bool ForwardToGroup(int pid, int signal);
// Reaps the child: true once it has ended, with status its exit code or 128 + the number of
// the signal that killed it. block: wait for it.
bool Reap(int pid, bool block, int& status);

}  // namespace talmon::cli::os
