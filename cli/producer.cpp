// `talmon write` and `talmon run`: producers that turn lines of a byte stream (standard input,
// a command's output and errors) into rows of pages, published read by read.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <initializer_list>
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

using Clock = std::chrono::steady_clock;
// How long a line without its line feed waits for the rest before it is shown as it is.
constexpr auto kPartialWait = std::chrono::milliseconds(50);

// One row per line of a byte stream (a CR before the line feed is dropped), an error row
// per line on the error page. The complete lines of one read go out together, one Write
// for each run of them, and the read is published with one Flush. A blank line is a Write
// of its own: in one Write, "\n\n" makes a single row. The line feed that ends the last
// row written is held back until more text follows (or the end), so that no empty row is
// published after it. A line still without its line feed is kept until the rest arrives
// or kPartialWait passes; then what came is shown as the start of its row.
class LineRelay {
 public:
  LineRelay(IMonitorWriter& writer, bool errors) : writer_(writer), errors_(errors) {}

  // Takes one read: writes its complete lines, keeps what follows the last line feed, and
  // publishes what it wrote.
  void Append(const char* data, size_t size) {
    const char* at = data;
    const char* end = data + size;
    while (at < end) {
      // A line longer than kMaxLine becomes several rows, so that a stream without line
      // feeds cannot grow the tool's memory without bound.
      const size_t room = kMaxLine - pending_.size() - rowBytes_;
      const size_t span = std::min<size_t>(end - at, room + 1);
      const char* feed = static_cast<const char*>(std::memchr(at, '\n', span));
      const size_t take = feed != nullptr ? static_cast<size_t>(feed - at) : span;
      if (pending_.empty()) since_ = Clock::now();
      pending_.append(at, std::min(take, room));
      at += std::min(take, room);
      if (take >= room) {
        EndLine();
      } else if (feed != nullptr) {
        ++at;
        EndLine();
      }
    }
    Publish();
  }

  // Shows a line that has waited kPartialWait for its end as the start of its row. A CR at
  // its end waits on: it may be the CR of a CR LF.
  void ShowPartial() {
    if (WaitMs() != 0) return;
    const bool cr = pending_.back() == '\r';
    const std::string shown = pending_.substr(0, pending_.size() - (cr ? 1 : 0));
    AddSegment(shown, false);
    rowBytes_ += shown.size();
    pending_ = cr ? "\r" : "";
    Publish();
  }

  // Milliseconds until ShowPartial has something to show; -1 when nothing waits.
  int WaitMs() const {
    if (pending_.empty() || pending_ == "\r") return -1;
    const auto left = since_ + kPartialWait - Clock::now();
    return static_cast<int>(std::max<long long>(
        0, std::chrono::duration_cast<std::chrono::milliseconds>(left).count()));
  }

  // Writes a last line without its line feed, publishes, and ends the last row.
  void Finish() {
    if (!pending_.empty()) EndLine();
    Publish();
    if (owed_) writer_.Write("\n");
    owed_ = false;
  }

 private:
  void EndLine() {
    if (!pending_.empty() && pending_.back() == '\r') pending_.pop_back();
    AddSegment(pending_, true);
    pending_.clear();
    rowBytes_ = 0;
  }

  // Adds the markup of a part of a row, up to its first zero byte: a raw span when it holds
  // parentheses, inside an error tag on the error page. ends: the part ends its row.
  void AddSegment(const std::string& part, bool ends) {
    const size_t n = strnlen(part.data(), part.size());
    // A line of zero bytes only shows on the error page, as an empty error row.
    const bool shown = n > 0 || (errors_ && !part.empty() && rowBytes_ == 0);
    if (shown) {
      if (owed_) batch_ += '\n';
      if (errors_) batch_ += "(error ";
      if (part.find_first_of("()", 0) < n) {
        batch_ += "(raw " + std::to_string(n) + " ";
        batch_.append(part, 0, n);
        batch_ += ')';
      } else {
        batch_.append(part, 0, n);
      }
      if (errors_) batch_ += ')';
      owed_ = ends;
    } else if (ends && (part.empty() || rowBytes_ > 0)) {
      // A blank line, or the end of a row shown early: its line feed, held back like any.
      if (owed_) batch_ += '\n';
      WriteBatch();
      owed_ = true;
    }
  }

  void WriteBatch() {
    if (batch_.empty()) return;
    writer_.Write(batch_.c_str());
    batch_.clear();
    unpublished_ = true;
  }

  void Publish() {
    WriteBatch();
    if (unpublished_) writer_.Flush();
    unpublished_ = false;
  }

  IMonitorWriter& writer_;
  bool errors_;
  std::string pending_;       // the line so far, not yet written
  Clock::time_point since_;   // when pending_ began
  size_t rowBytes_ = 0;       // bytes of the current row shown early
  std::string batch_;         // markup not yet written
  bool owed_ = false;         // the line feed ending the last row is not written yet
  bool unpublished_ = false;  // written since the last Flush
};

// The poll timeout of a producer loop: its usual look at the activity, sooner when a
// partial line is due.
int PollMs(std::initializer_list<const LineRelay*> relays) {
  int ms = kActivityPollMs;
  for (const LineRelay* relay : relays) {
    const int wait = relay->WaitMs();
    if (wait >= 0) ms = std::min(ms, wait);
  }
  return ms;
}

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
    const int polled = os::Poll({0}, PollMs({&relay}), ready);
    relay.ShowPartial();
    if (polled == 0) continue;
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

  bool exited = false;
  bool groupStopped = false;
  bool ending = false;  // interrupted or stopped: no more pauses, the command is to end
  bool killed = false;
  Clock::time_point lastData = Clock::now();
  Clock::time_point killAt{};
  char buffer[kReadSize];
  for (;;) {
    std::vector<bool> ready;
    // With both pipes closed only the command's end is awaited: look for it often.
    const bool piped = child.out >= 0 || child.err >= 0;
    os::Poll({child.out, child.err}, piped ? PollMs({&outRelay, &errRelay}) : 1, ready);
    outRelay.ShowPartial();
    errRelay.ShowPartial();
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
