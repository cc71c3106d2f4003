// A Qt job that keeps a box on screen while it works: TalMonThread shows the job's page live
// (on the application's own thread), and TalMonitorDoEvents keeps the box and every other
// window alive between the job's steps; pausing the session (talmon pause) holds the job there.
#include <talmon/talmon_ui.h>

#include <QApplication>
#include <QThread>
#include <cstdio>

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  unsigned int session = 0;
  IMonitorWriter* log = nullptr;
  IMonitorReader* shown = nullptr;
  if (!TalCreateMonitorSession(&session) || !TalOpenMonitorWriter(session, "Job", true, &log) ||
      !TalOpenMonitorReader(session, "Job", &shown)) {
    std::fprintf(stderr, "thread_box_job: cannot open a page\n");
    return 1;
  }
  TalMonThread box;
  box.GetDialog()->SetTitle("Working");
  box.GetDialog()->AddButton(1, 1, 1, "&Hide");
  box.GetDialog()->GetTextCtrl().SetMonitor(shown);
  box.Start();
  trace(*log, block, title) << "Checking 100 files";
  for (int i = 1; i <= 100; ++i) {
    trace(*log, temporary) << "file " << i << progress(i, 100) << flush;
    if (!TalMonitorDoEvents(session)) break;  // stopped, or the application is quitting
    QThread::msleep(30);
  }
  trace(*log, block, bold) << "Done";
  for (int i = 0; i < 20 && TalMonitorDoEvents(session); ++i)
    QThread::msleep(50);  // a last look at the result
  TalCloseMonitorReader(shown);
  TalCloseMonitorWriter(log);
  TalCloseMonitorSession(session);
  return 0;
}
