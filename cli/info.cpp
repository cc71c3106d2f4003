// `talmon sessions`, `talmon pages` and `talmon pause|resume|stop`: what the data directory
// holds, and the play/pause/stop state of a session.
#include <algorithm>
#include <cstdio>

#include "cli/commands.h"
#include "cli/common.h"
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
    "producer waits at its next check; a stopped one ends at its next check.\n";

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
  std::printf("%-8s %-8s %6s %10s %10s\n", "SESSION", "ACTIVITY", "PAGES", "ROWS", "SIZE");
  for (unsigned int session : sessions) {
    unsigned int activity = kTalMonStopped;
    TalMonitorGetActivity(session, &activity);
    const std::vector<std::string> pages = ListPages(session);
    uint64_t rows = 0, size = 0;
    for (const std::string& page : pages) {
      rows += PageRows(session, page);
      size += PageSize(session, page);
    }
    std::printf("%04u     %-8s %6zu %10llu %10s\n", session, ActivityName(activity), pages.size(),
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
  unsigned int activity = kTalMonStopped;
  TalMonitorGetActivity(session, &activity);
  std::printf("Session %04u, %s\n", session, ActivityName(activity));
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

int CommandActivity(const std::string& name, const Args& args) {
  Arguments a;
  int code = kExitOk;
  if (!ParseCommandLine(name, args, {}, kActivityHelp, a, code)) return code;
  if (a.Positional().size() > 1) return UsageError(name, "too many arguments");
  unsigned int session = 0;
  if ((code = ChooseSession(name, a.Positional(), 0, session)) != kExitOk) return code;
  if (name == "stop") {
    TalMonitorSetActivity(session, kTalMonStopped);
    return kExitOk;
  }
  const std::string which = "session " + std::to_string(session);
  unsigned int activity = kTalMonStopped;
  TalMonitorGetActivity(session, &activity);
  // Resuming a session without a live producer changes nothing and the library reports no
  // failure for it; say so rather than pretend it runs.
  if (activity == kTalMonStopped) return Fail("cannot " + name + " " + which + ": it is stopped");
  const int wanted = name == "pause" ? kTalMonPaused : kTalMonPlaying;
  if (!TalMonitorSetActivity(session, wanted)) {
    return Fail("cannot " + name + " " + which + ": its producer has ended");
  }
  return kExitOk;
}

}  // namespace talmon::cli
