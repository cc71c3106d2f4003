// The launcher's one door to the operating system: starting the viewer, waiting for it and
// ending it. libtalmon-ui calls libtalmon only through its exports, so these few process
// calls live here rather than in core/. Called from the producer's UI thread.
#pragma once

#include <string>
#include <vector>

namespace talmon::launcher {

// Splits a command line at every blank, keeping empty fields: "a  b " => "a", "", "b", "".
std::vector<std::string> SplitAtBlanks(const std::string& line);

// Starts args[0], looked up through PATH, with args as its arguments and this process's
// environment; $TALMON_VIEWER, when set and not empty, names the executable to start in its
// place. The pid, or 0 when it could not be started (not found, not executable).
int StartViewer(std::vector<std::string> args);

// True once pid has ended and is reaped (also for 0 and for a process that is not ours).
bool Reaped(int pid);
// A descriptor that becomes readable when pid ends, or -1 when the system gives none (the
// caller then waits in plain slices). Close it with CloseDescriptor.
int ExitDescriptor(int pid);
void CloseDescriptor(int fd);
// Asks pid to end (SIGTERM), gives it two seconds, kills it if it is still there, and reaps
// it, so that no zombie stays behind. Nothing for 0.
void EndAndReap(int pid);

}  // namespace talmon::launcher
