// `talmon sessions`, `talmon pages` and `talmon pause|resume|stop`: what the data directory
// holds, and the play/pause/stop state of a session.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/common.h"
#include "talmon/session.h"
#include "talmon/session_list.h"

namespace talmon::cli {

namespace {

const char kSessionsHelp[] =
    "Usage: talmon sessions\n"
    "\n"
    "Lists every session of the data directory: its number, when it started, its activity,\n"
    "pages, rows and size on disk. Activity is one of:\n"
    "  playing   a live producer runs (\"held by a Pause marker\": it waits all the same)\n"
    "  paused    a live producer waits to be resumed\n"
    "  stopping  a live producer was told to stop and has not ended yet\n"
    "  finished  the producer ended normally\n"
    "  crashed   the producer died without ending its session\n";

const char kPagesHelp[] =
    "Usage: talmon pages [SESSION]\n"
    "\n"
    "Lists the pages of SESSION (default: the last session) with their rows, size, and\n"
    "whether a live writer still writes them.\n";

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
  std::vector<TalMonSessionInfo> sessions;
  TalMonListSessions(sessions);
  if (sessions.empty()) {
    std::fprintf(stderr, "talmon: there are no sessions in %s\n", DataDirectory().c_str());
    return kExitOk;
  }
  size_t width = 8;
  for (const TalMonSessionInfo& info : sessions)
    width = std::max(width, StateLabel(info).size());
  const int w = static_cast<int>(width);
  std::printf("%-8s %-19s %-*s %6s %10s %10s\n", "SESSION", "STARTED", w, "ACTIVITY", "PAGES",
              "ROWS", "SIZE");
  for (const TalMonSessionInfo& info : sessions) {
    uint64_t rows = 0, size = 0;
    for (const TalMonPageInfo& page : info.pages) {
      rows += page.rows;
      size += PageSize(page);
    }
    std::printf("%04u     %-19s %-*s %6zu %10llu %10s\n", info.session,
                FormatTime(info.startTime).c_str(), w, StateLabel(info).c_str(), info.pages.size(),
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
  TalMonSessionInfo info;
  TalMonGetSessionInfo(session, info);
  std::printf("Session %04u, %s\n", session, StateLabel(info).c_str());
  if (info.pages.empty()) return kExitOk;
  size_t nameWidth = 4;
  for (const TalMonPageInfo& page : info.pages)
    nameWidth = std::max(nameWidth, page.name.size());
  const int w = static_cast<int>(nameWidth);
  std::printf("%-*s %10s %10s %s\n", w, "PAGE", "ROWS", "SIZE", "WRITER");
  for (const TalMonPageInfo& page : info.pages) {
    std::printf("%-*s %10u %10s %s\n", w, page.name.c_str(), page.rows,
                FormatSize(PageSize(page)).c_str(), page.held ? "live" : "-");
  }
  return kExitOk;
}

namespace {

TalMonSessionInfo Info(unsigned int session) {
  TalMonSessionInfo info;
  TalMonGetSessionInfo(session, info);
  return info;
}

bool Live(const TalMonSessionInfo& info) {
  return info.state == TalMonSessionState::kPlaying || info.state == TalMonSessionState::kPaused;
}

// Stops the session's producer: its marker becomes "Stop.TXT". Fails when nothing stood to be
// stopped, or the producer still plays or pauses afterwards.
int Stop(unsigned int session, const std::string& which) {
  if (!Live(Info(session))) return Fail("cannot stop " + which + ": it has no live producer");
  TalMonitorSetActivity(session, kTalMonStopped);
  if (Live(Info(session))) return Fail("the stop of " + which + " did not take");
  return kExitOk;
}

int Pause(unsigned int session, const std::string& which) {
  if (!TalMonitorSetActivity(session, kTalMonPaused)) {
    return Fail("cannot pause " + which + ": its producer has ended");
  }
  // Beside "Play.TXT", a standing Pause marker holds the producer all the same.
  const TalMonSessionInfo info = Info(session);
  if (info.state != TalMonSessionState::kPaused && !info.pauseHeld) {
    return Fail("the pause of " + which + " did not take");
  }
  return kExitOk;
}

int Resume(unsigned int session, const std::string& which) {
  if (!TalMonClearStrayPause(session)) {
    return Fail("cannot resume " + which + ": its Pause marker cannot be removed");
  }
  if (Info(session).state == TalMonSessionState::kPaused &&
      !TalMonitorSetActivity(session, kTalMonPlaying)) {
    return Fail("cannot resume " + which + ": its producer has ended");
  }
  const TalMonSessionInfo info = Info(session);
  if (info.state != TalMonSessionState::kPlaying || info.pauseHeld) {
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
  if (!Live(Info(session))) {
    return Fail("cannot " + name + " " + which + ": it has no live producer");
  }
  return name == "pause" ? Pause(session, which) : Resume(session, which);
}

}  // namespace talmon::cli
