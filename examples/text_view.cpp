// The smallest Qt program around TalMonTextCtrl: shows one page of the last session (or the
// page named as the argument) live, following new rows, until the window is closed.
#include <talmon/talmon_ui.h>

#include <QApplication>
#include <QTimer>
#include <cstdio>

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  const char* page = argc > 1 ? argv[1] : "Example";
  IMonitorReader* reader = nullptr;
  if (!TalOpenMonitorReader(0, page, &reader)) {
    std::fprintf(stderr, "text_view: cannot open page %s of the last session\n", page);
    return 1;
  }
  TalMonTextCtrl view;
  view.SetMonitor(reader);
  view.resize(640, 400);
  view.show();
  QTimer timer;  // new rows appear at the next Refresh; at the end the view follows them
  QObject::connect(&timer, &QTimer::timeout, &view, [&view] { view.Refresh(true); });
  timer.start(100);
  const int status = app.exec();
  view.SetMonitor(nullptr);
  TalCloseMonitorReader(reader);
  return status;
}
