// The forms are told apart by shape, as the launcher writes them: four or more arguments with
// a four-digit second one are a session's viewer; a number followed by anything is the wait
// display. The launcher splits its line at every blank, so empty arguments are real ones.

#include "viewer/command_line.h"

#include <cstdlib>

namespace talmon::viewer {

const char kUsage[] =
    "Usage: TalMonView [N]\n"
    "       TalMonView VIEW NNNN MODE TITLE...\n"
    "       TalMonView N TITLE...\n"
    "\n"
    "Shows the sessions of the TalMon data directory and the pages of one of them, live.\n"
    "\n"
    "  (no argument)            every session; the newest one is shown\n"
    "  N                        every session; session N (1 to 9999) is shown\n"
    "  VIEW NNNN MODE TITLE...  session NNNN (four digits), as TalMonitorViewer starts it:\n"
    "                           VIEW is the page whose tab opens first, \"*\" or empty for\n"
    "                           the merged tab; MODE is \"follow\" (or empty) to keep the\n"
    "                           views at the newest rows, \"hold\" to start at the top;\n"
    "                           TITLE (any number of words, possibly empty) names the window\n"
    "  N TITLE...               the wait display of session N, as TalMonitorWait starts it:\n"
    "                           a small window with the session's live rows, closed by\n"
    "                           itself when the session ends\n"
    "  --help, -h               this text\n"
    "\n"
    "Keys: Space pauses and resumes the session, Ctrl+F finds, F3 and Shift+F3 jump to the\n"
    "next and previous match, Ctrl+Q quits. Exit status: 0, or 2 for a bad command line.\n";

namespace {

bool AllDigits(const std::string& s) {
  if (s.empty()) return false;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// A session number 1 to 9999 written in digits only.
bool ParseSession(const std::string& s, unsigned int& session, std::string& error) {
  if (!AllDigits(s)) {
    error = "\"" + s + "\" is not a session number";
    return false;
  }
  const unsigned long n = s.size() > 5 ? 0 : std::strtoul(s.c_str(), nullptr, 10);
  if (n < 1 || n > 9999) {
    error = "session number " + s + " is out of range (1 to 9999)";
    return false;
  }
  session = static_cast<unsigned int>(n);
  return true;
}

std::string JoinFrom(const std::vector<std::string>& args, size_t first) {
  std::string out;
  for (size_t i = first; i < args.size(); ++i) {
    if (i > first) out += ' ';
    out += args[i];
  }
  return out;
}

bool ParseSessionForm(const std::vector<std::string>& args, Request& request, std::string& error) {
  request.form = Form::kSession;
  if (!ParseSession(args[1], request.session, error)) return false;
  request.view = args[0] == "*" ? "" : args[0];
  if (args[2] == "hold") {
    request.follow = false;
  } else if (!args[2].empty() && args[2] != "follow") {
    error = "mode \"" + args[2] + "\" is neither \"follow\" nor \"hold\"";
    return false;
  }
  request.title = JoinFrom(args, 3);
  return true;
}

}  // namespace

bool ParseCommandLine(const std::vector<std::string>& args, Request& request, std::string& error) {
  request = Request{};
  error.clear();
  if (args.empty()) return true;
  if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
    request.form = Form::kHelp;
    return true;
  }
  if (args.size() == 1) return ParseSession(args[0], request.session, error);
  if (args.size() >= 4 && args[1].size() == 4 && AllDigits(args[1])) {
    return ParseSessionForm(args, request, error);
  }
  if (AllDigits(args[0])) {
    request.form = Form::kWait;
    request.title = JoinFrom(args, 1);
    return ParseSession(args[0], request.session, error);
  }
  error = "unrecognised command line (see TalMonView --help)";
  return false;
}

}  // namespace talmon::viewer
