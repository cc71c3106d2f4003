// `talmon sessions`, `talmon pages` and `talmon pause|resume|stop`: what the data directory
// holds, and the play/pause/stop state of a session.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/common.h"
#include "cli/os.h"
#include "talmon/session.h"

namespace talmon::cli {

namespace {

const char kSessionsHelp[] =
    "Usage: talmon sessions\n"
    "\n"
    "Lists every session of the data directory: its number, activity (playing, paused,\n"
    "stopped), pages, rows and size on disk.\n";

const char kPagesHelp[] =
    "Usage: talmon pages [SESSION]\n"
    "\n"
    "Lists the pages of SESSION (default: the last session) with their rows and size.\n";

const char kActivityHelp[] =
    "Usage: talmon pause|resume|stop [SESSION]\n"
    "\n"
    "Pauses, resumes or stops the producer of SESSION (default: the last session). A paused\n"
    "producer waits at its next check; a stopped one ends at its next check. Fails (exit 1)\n"
    "when the session has no live producer or the change did not take. Resuming also removes\n"
    "a stray Pause marker of yours that holds a playing producer.\n";

}  // namespace

int CommandSessions(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("sessions", args, {}, kSessionsHelp, a, code)) return code;
  if (!a.Positional().empty()) return UsageError("sessions", "takes no arguments");
  const std::vector<unsigned int> sessions = ListSessions();
  if (sessions.empty()) {
    std::fprintf(stderr, "talmon: there are no sessions in %s\n", DataDirectory().c_str());
    return kExitOk;
  }
  std::vector<std::string> labels;
  size_t width = 8;
  for (unsigned int session : sessions) {
    labels.push_back(ActivityLabel(session));
    width = std::max(width, labels.back().size());
  }
  const int w = static_cast<int>(width);
  std::printf("%-8s %-*s %6s %10s %10s\n", "SESSION", w, "ACTIVITY", "PAGES", "ROWS", "SIZE");
  for (size_t i = 0; i < sessions.size(); ++i) {
    const unsigned int session = sessions[i];
    const std::vector<std::string> pages = ListPages(session);
    uint64_t rows = 0, size = 0;
    for (const std::string& page : pages) {
      rows += PageRows(session, page);
      size += PageSize(session, page);
    }
    std::printf("%04u     %-*s %6zu %10llu %10s\n", session, w, labels[i].c_str(), pages.size(),
                static_cast<unsigned long long>(rows), FormatSize(size).c_str());
  }
  return kExitOk;
}

int CommandPages(const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine("pages", args, {}, kPagesHelp, a, code)) return code;
  if (a.Positional().size() > 1) return UsageError("pages", "too many arguments");
  unsigned int session = 0;
  if ((code = ChooseSession("pages", a.Positional(), 0, session)) != kExitOk) return code;
  std::printf("Session %04u, %s\n", session, ActivityLabel(session).c_str());
  const std::vector<std::string> pages = ListPages(session);
  if (pages.empty()) return kExitOk;
  size_t nameWidth = 4;
  for (const std::string& page : pages)
    nameWidth = std::max(nameWidth, page.size());
  std::printf("%-*s %10s %10s\n", static_cast<int>(nameWidth), "PAGE", "ROWS", "SIZE");
  for (const std::string& page : pages) {
    std::printf("%-*s %10u %10s\n", static_cast<int>(nameWidth), page.c_str(),
                PageRows(session, page), FormatSize(PageSize(session, page)).c_str());
  }
  return kExitOk;
}

namespace {

unsigned int Activity(unsigned int session) {
  unsigned int activity = kTalMonStopped;
  TalMonitorGetActivity(session, &activity);
  return activity;
}

// Stops the session's producer: its marker becomes "Stop.TXT". False when nothing stood to be
// stopped, or the stop marker did not appear.
int Stop(unsigned int session, const std::string& which) {
  if (Activity(session) == kTalMonStopped) {
    return Fail("cannot stop " + which + ": it has no live producer");
  }
  TalMonitorSetActivity(session, kTalMonStopped);
  if (!os::IsOwnFile(SessionFile(session, "Stop.TXT"))) {
    return Fail("the stop of " + which + " did not take");
  }
  return kExitOk;
}

int Pause(unsigned int session, const std::string& which) {
  if (!TalMonitorSetActivity(session, kTalMonPaused)) {
    return Fail("cannot pause " + which + ": its producer has ended");
  }
  // Beside "Play.TXT", a standing Pause marker holds the producer all the same.
  if (Activity(session) != kTalMonPaused && !PauseStands(session)) {
    return Fail("the pause of " + which + " did not take");
  }
  return kExitOk;
}

// A Pause marker standing beside "Play.TXT" (left by hand, or by two viewers at once) reads as
// playing yet holds the producer: resuming removes it, when it is the user's own.
int Resume(unsigned int session, const std::string& which) {
  if (Activity(session) == kTalMonPlaying && PauseStands(session) &&
      !os::RemoveOwnFile(SessionFile(session, "Pause.TXT"))) {
    return Fail("cannot resume " + which + ": its Pause marker cannot be removed");
  }
  if (Activity(session) == kTalMonPaused && !TalMonitorSetActivity(session, kTalMonPlaying)) {
    return Fail("cannot resume " + which + ": its producer has ended");
  }
  if (Activity(session) != kTalMonPlaying || PauseStands(session)) {
    return Fail("the resume of " + which + " did not take");
  }
  return kExitOk;
}

}  // namespace

int CommandActivity(const std::string& name, const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine(name, args, {}, kActivityHelp, a, code)) return code;
  if (a.Positional().size() > 1) return UsageError(name, "too many arguments");
  unsigned int session = 0;
  if ((code = ChooseSession(name, a.Positional(), 0, session)) != kExitOk) return code;
  const std::string which = "session " + std::to_string(session);
  if (name == "stop") return Stop(session, which);
  // Pausing or resuming a session without a live producer changes nothing, and the library
  // reports no failure for it; say so rather than pretend it runs.
  if (Activity(session) == kTalMonStopped) {
    return Fail("cannot " + name + " " + which + ": it has no live producer");
  }
  return name == "pause" ? Pause(session, which) : Resume(session, which);
}

}  // namespace talmon::cli
