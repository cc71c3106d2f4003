// Checks an installed libtalmon-ui: a text control shows the rows of a page written through
// the trace stream, on the offscreen platform. Exits 0 when it counted and painted them.
#include <talmon/talmon_ui.h>

#include <QApplication>
#include <QImage>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication app(argc, argv);
  unsigned int session = 0;
  IMonitorWriter* writer = nullptr;
  IMonitorReader* reader = nullptr;
  if (!TalCreateMonitorSession(&session) || !TalOpenMonitorWriter(session, "Log", true, &writer) ||
      !TalOpenMonitorReader(session, "Log", &reader)) {
    std::fprintf(stderr, "consumer_ui: cannot open a page\n");
    return 1;
  }
  trace(*writer, block, error) << "installed";
  TalMonTextCtrl ctrl;
  ctrl.resize(300, 100);
  ctrl.SetMonitor(reader);
  ctrl.Refresh(true);
  const QImage image = ctrl.viewport()->grab().toImage();
  const bool ok = ctrl.GetContentHeight() == 21 && image.pixel(7, 6) == qRgb(255, 50, 50);
  ctrl.SetMonitor(nullptr);
  TalCloseMonitorReader(reader);
  TalCloseMonitorWriter(writer);
  TalCloseMonitorSession(session);
  std::printf("consumer_ui: %s\n", ok ? "row shown" : "row not shown");
  return ok ? 0 : 1;
}
