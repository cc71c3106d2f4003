// `talmon write` and `talmon run`: producers that turn lines of a byte stream (standard input,
// a command's output and errors) into rows of pages, one flushed row per line.
#include <chrono>
#include <cstdio>
#include <string>

#include "cli/commands.h"
#include "cli/common.h"
#include "cli/os.h"
#include "talmon/korin_string.h"
#include "talmon/session.h"
#include "talmon/trace.h"

namespace talmon::cli {

namespace {

constexpr size_t kReadSize = 1 << 16;
// A line longer than this is written as several rows, so that a stream without line feeds
// cannot grow the tool's memory without bound.
constexpr size_t kMaxLine = 1 << 16;
// How often a producer looks at its session's activity while it waits for input.
constexpr int kActivityPollMs = 20;

// One row per line of a byte stream. A line is written when its line feed arrives (a CR before
// it is dropped) and is flushed at once, so viewers see it right away.
class LineRelay {
 public:
  LineRelay(IMonitorWriter& writer, bool errors) : writer_(writer), errors_(errors) {}

  void Append(const char* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
      if (data[i] == '\n') {
        WriteLine();
      } else {
        pending_ += data[i];
        if (pending_.size() >= kMaxLine) WriteLine();
      }
    }
  }
  // Writes what is left of a last line without its line feed.
  void Finish() {
    if (!pending_.empty()) WriteLine();
  }

 private:
  void WriteLine() {
    if (!pending_.empty() && pending_.back() == '\r') pending_.pop_back();
    if (pending_.empty()) {
      // A block never makes an empty row. An empty row is counted by a flush at the start of
      // a row, and only then ended: ended first, the next (empty) row would be counted too.
      trace(writer_, flush) << line;
    } else if (errors_) {
      trace(writer_, block, error) << pending_.c_str();
    } else {
      trace(writer_, block) << pending_.c_str();
    }
    pending_.clear();
  }

  IMonitorWriter& writer_;
  bool errors_;
  std::string pending_;
};

// Why the tool will not write page, or "" when it will. The library reads "Log.v2" as the
// page "Log" (the part from the dot on is a file extension and is replaced), so two names the
// user tells apart would land in one page; and a page named like a marker would be the
// session's marker itself.
std::string PageNameProblem(const std::string& page) {
  if (page.empty() || page.find('/') != std::string::npos || page == "." || page == "..") {
    return "'" + page + "' is not a page name";
  }
  if (page.find('.') != std::string::npos) {
    return "page names may not contain '.': '" + page + "' would be written as the page '" +
           page.substr(0, page.find('.')) + "'";
  }
  const Korin::String name(page.c_str());
  for (const char* marker : {"Play", "Pause", "Stop"}) {
    if (name.compareIgnoreCase(marker) == 0) {
      return "'" + page + "' is the name of the session's " + marker + " marker, not a page";
    }
  }
  return "";
}

// Said once when a page's rows stopped reaching its files.
std::string LostRows(unsigned int session) {
  return "rows of session " + std::to_string(session) + " could not be written to " +
         DataDirectory() + " (is the disk full?); the pages keep the rows before the first lost";
}

const char kWriteHelp[] =
    "Usage: talmon write [-s SESSION] [--temporary] PAGE\n"
    "\n"
    "Writes each line of standard input as a row of PAGE, flushed as it comes.\n"
    "Without -s a new session is made for the page, held by this command while it runs: it\n"
    "can be paused and stopped like any producer. With -s the page is added to that existing\n"
    "session; a pause or stop of that session is honoured while its producer runs.\n"
    "PAGE may not contain '.' (the library would drop the part from the dot on) nor be Play,\n"
    "Pause or Stop (the session's markers). When rows cannot be written (a full disk), the\n"
    "command says so and exits with 1.\n"
    "\n"
    "  -s, --session=N  write into session N\n"
    "  --temporary      the page vanishes when this command ends\n";

const char kRunHelp[] =
    "Usage: talmon run [--page NAME] [--] COMMAND [ARGS...]\n"
    "\n"
    "Runs COMMAND in a new session: its standard output becomes the page NAME (default\n"
    "\"Output\"), its standard error the page NAME + \"Errors\" (default \"Errors\") as error\n"
    "rows, one row per line. Pausing the session stops the command's process group, resuming\n"
    "continues it, stopping it terminates it; if talmon itself is killed, so is the command.\n"
    "The exit status is the command's, 128 + the signal when it was killed, and 1 when the\n"
    "command succeeded but rows could not be written (a full disk). A terminal on standard\n"
    "input is not passed on: the command reads /dev/null instead.\n"
    "\n"
    "  --page=NAME      name of the output page: no '.', and not Play, Pause or Stop\n";

}  // namespace

int CommandWrite(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("write", args, {{"session", 's', true}, {"temporary", 0, false}},
                        kWriteHelp, a, code)) {
    return code;
  }
  if (a.Positional().size() != 1) return UsageError("write", "give exactly one PAGE");
  const std::string page = a.Positional()[0];
  const std::string problem = PageNameProblem(page);
  if (!problem.empty()) return UsageError("write", problem);

  unsigned int session = 0;
  bool ownSession = false;
  bool honour = true;
  if (a.Has("session")) {
    if (!ParseSessionNumber(a.Value("session", ""), session)) {
      return UsageError("write", "'" + a.Value("session", "") + "' is not a session number");
    }
    if (!SessionExists(session))
      return Fail("session " + std::to_string(session) + " does not exist");
    // A session whose producer has ended reads as stopped; writing into it is still allowed.
    unsigned int activity = kTalMonStopped;
    TalMonitorGetActivity(session, &activity);
    honour = activity != kTalMonStopped;
  } else {
    if ((code = MakeSession(session)) != kExitOk) return code;
    ownSession = true;
  }
  IMonitorWriter* writer = nullptr;
  if (!TalOpenMonitorWriter(session, page.c_str(), a.Has("temporary"), &writer)) {
    if (ownSession) TalCloseMonitorSession(session);
    return Fail("cannot write page '" + page + "' of session " + std::to_string(session) +
                ": another writer holds it");
  }

  LineRelay relay(*writer, false);
  char buffer[kReadSize];
  // A row that could not be written ends the command: what follows would be lost as well.
  while (TalCheckMonitorWriter(writer)) {
    if (honour && !TalMonitorDoEvents(session)) break;
    std::vector<bool> ready;
    if (os::Poll({0}, kActivityPollMs, ready) == 0) continue;
    const long n = os::Read(0, buffer, sizeof buffer);
    if (n <= 0) break;
    relay.Append(buffer, static_cast<size_t>(n));
  }
  relay.Finish();
  const bool whole = TalCheckMonitorWriter(writer);
  TalCloseMonitorWriter(writer);
  if (ownSession) TalCloseMonitorSession(session);
  return whole ? kExitOk : Fail(LostRows(session));
}

int CommandRun(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("run", args, {{"page", 0, true}}, kRunHelp, a, code, true)) return code;
  if (a.Positional().empty()) return UsageError("run", "no command given");
  const std::string outputPage = a.Value("page", "Output");
  const std::string errorPage = a.Has("page") ? outputPage + "Errors" : "Errors";
  const std::string badName = PageNameProblem(outputPage);
  if (!badName.empty()) return UsageError("run", badName);

  unsigned int session = 0;
  if ((code = MakeSession(session)) != kExitOk) return code;
  IMonitorWriter* out = nullptr;
  IMonitorWriter* err = nullptr;
  if (!TalOpenMonitorWriter(session, outputPage.c_str(), false, &out) ||
      !TalOpenMonitorWriter(session, errorPage.c_str(), false, &err)) {
    TalCloseMonitorWriter(out);
    TalCloseMonitorSession(session);
    return Fail("cannot make the pages of session " + std::to_string(session));
  }
  LineRelay outRelay(*out, false);
  LineRelay errRelay(*err, true);

  os::CatchInterrupts();
  os::Child child;
  int status = 0;
  std::string problem;
  if (!os::Spawn(a.Positional(), child, problem, status)) {
    const std::string message = "cannot run " + a.Positional()[0] + ": " + problem;
    trace(*err, block, error) << message.c_str();
    TalCloseMonitorWriter(out);
    TalCloseMonitorWriter(err);
    TalCloseMonitorSession(session);
    Fail(message);
    return status;
  }

  using Clock = std::chrono::steady_clock;
  bool exited = false;
  bool groupStopped = false;
  bool ending = false;  // interrupted or stopped: no more pauses, the command is to end
  bool killed = false;
  Clock::time_point lastData = Clock::now();
  Clock::time_point killAt{};
  char buffer[kReadSize];
  for (;;) {
    std::vector<bool> ready;
    os::Poll({child.out, child.err}, kActivityPollMs, ready);
    int* fds[] = {&child.out, &child.err};
    LineRelay* relays[] = {&outRelay, &errRelay};
    for (size_t i = 0; i < 2; ++i) {
      if (!ready[i]) continue;
      const long n = os::Read(*fds[i], buffer, sizeof buffer);
      if (n > 0) {
        relays[i]->Append(buffer, static_cast<size_t>(n));
        lastData = Clock::now();
      } else {
        os::Close(*fds[i]);
        *fds[i] = -1;
      }
    }
    if (const int signal = os::TakeInterrupt()) {
      // The command runs in its own process group, which the terminal's Ctrl-C does not reach.
      os::ForwardToGroup(child.pid, signal);
      os::SignalGroup(child.pid, os::GroupSignal::kContinue);
      groupStopped = false;
      ending = true;
    }
    if (!exited) {
      unsigned int activity = kTalMonStopped;
      TalMonitorGetActivity(session, &activity);
      if (activity == kTalMonStopped && !killed && killAt == Clock::time_point{}) {
        // A stopped process only sees the terminate signal once it is continued.
        os::SignalGroup(child.pid, os::GroupSignal::kTerminate);
        os::SignalGroup(child.pid, os::GroupSignal::kContinue);
        groupStopped = false;
        ending = true;
        killAt = Clock::now() + std::chrono::seconds(3);
      } else if (activity == kTalMonPaused && !groupStopped && !ending) {
        os::SignalGroup(child.pid, os::GroupSignal::kStop);
        groupStopped = true;
      } else if (activity == kTalMonPlaying && groupStopped) {
        os::SignalGroup(child.pid, os::GroupSignal::kContinue);
        groupStopped = false;
      }
      if (killAt != Clock::time_point{} && !killed && Clock::now() >= killAt) {
        os::SignalGroup(child.pid, os::GroupSignal::kKill);
        killed = true;
      }
      exited = os::Reap(child.pid, false, status);
    }
    const bool open = child.out >= 0 || child.err >= 0;
    // Something the command started may hold its pipes after it ended: once it has ended,
    // a quiet moment ends the relay.
    if (exited && (!open || Clock::now() - lastData > std::chrono::milliseconds(100))) break;
  }
  os::Close(child.out);
  os::Close(child.err);
  outRelay.Finish();
  errRelay.Finish();
  const bool whole = TalCheckMonitorWriter(out) && TalCheckMonitorWriter(err);
  TalCloseMonitorWriter(out);
  TalCloseMonitorWriter(err);
  TalCloseMonitorSession(session);
  // The command's own status comes first; a command that succeeded still lost rows.
  if (!whole) Fail(LostRows(session));
  return whole || status != 0 ? status : kExitFailure;
}

}  // namespace talmon::cli
