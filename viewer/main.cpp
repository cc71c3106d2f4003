// TalMonView: reads its command line (doc/viewer.md), then shows the main window or the wait
// display.

#include <QApplication>
#include <cstdio>
#include <string>
#include <vector>

#include "viewer/command_line.h"
#include "viewer/main_window.h"

int main(int argc, char** argv) {
  using talmon::viewer::Form;
  std::vector<std::string> args(argv + 1, argv + argc);
  talmon::viewer::Request request;
  std::string error;
  if (!talmon::viewer::ParseCommandLine(args, request, error)) {
    std::fprintf(stderr, "TalMonView: %s\n\n%s", error.c_str(), talmon::viewer::kUsage);
    return 2;
  }
  if (request.form == Form::kHelp) {
    std::fputs(talmon::viewer::kUsage, stdout);
    return 0;
  }
  // Qt's own options would be taken from argv; the command line is ours alone.
  int qtArgc = 1;
  QApplication app(qtArgc, argv);
  QApplication::setOrganizationName("TalMon");
  QApplication::setApplicationName("TalMonView");
  QApplication::setDesktopFileName("talmonview");
  if (request.form == Form::kWait) {
    talmon::viewer::WaitWindow wait(request.session, QString::fromStdString(request.title));
    wait.show();
    return QApplication::exec();
  }
  talmon::viewer::MainWindow window(request);
  window.show();
  return QApplication::exec();
}
