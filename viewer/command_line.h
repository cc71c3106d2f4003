// TalMonView's command line: the forms the launcher of libtalmon-ui writes and the short
// forms for people. Qt-free, so it is tested on its own.
#pragma once

#include <string>
#include <vector>

namespace talmon::viewer {

enum class Form {
  kHelp,     // --help, -h
  kBrowse,   // no argument (the newest session) or N (session N)
  kSession,  // VIEW NNNN MODE TITLE...: a session's viewer, started by TalMonitorViewer
  kWait,     // N TITLE...: the wait display, started by TalMonitorWait
};

struct Request {
  Form form = Form::kBrowse;
  unsigned int session = 0;  // 0: the newest session
  std::string view;          // the page whose tab opens first; "": the merged tab
  bool follow = true;        // views keep to the newest rows ("follow") or start at the top
  std::string title;         // the trailing arguments joined by blanks
};

// The arguments after the program name. False with error set to one line that says what is
// wrong; the program then prints it with the usage and exits with code 2.
//   {}                         => browse, newest session
//   {"12"}                     => browse, session 12
//   {"*", "0007", "", "Job"}   => session 7, merged tab, following, title "Job"
//   {"Log", "0007", "hold", "My", "Job"} => session 7, tab "Log", from the top, "My Job"
//   {"7", "Job"}, {"7", ""}    => wait display of session 7
//   {"x"}, {"0"}, {"10000"}    => false
bool ParseCommandLine(const std::vector<std::string>& args, Request& request, std::string& error);

// The text of TalMonView --help.
extern const char kUsage[];

}  // namespace talmon::viewer
