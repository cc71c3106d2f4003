// A Qt program that links libtalmon-ui only for its event pump and calls nothing of it by
// name: TalMonitorDoEvents must still run the program's queued calls. Built with --as-needed,
// which drops libraries a program never calls unless the package keeps them. Exits 0 when
// the queued call ran.
#include <talmon/talmon.h>

#include <QApplication>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QApplication app(argc, argv);
  unsigned int session = 0;
  if (!TalCreateMonitorSession(&session)) {
    std::fprintf(stderr, "consumer_pump: cannot create a session\n");
    return 1;
  }
  bool ran = false;
  QMetaObject::invokeMethod(
      &app, [&ran] { ran = true; }, Qt::QueuedConnection);
  const bool goOn = TalMonitorDoEvents(session);
  TalCloseMonitorSession(session);
  std::printf("consumer_pump: %s\n", ran && goOn ? "pumped" : "not pumped");
  return ran && goOn ? 0 : 1;
}
