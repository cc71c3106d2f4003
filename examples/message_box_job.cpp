// A console job (no Qt of its own) that asks a question while it goes on working: the box
// shows the job's page live, its progress row growing, and the answer stops or keeps the job.
// The box runs on libtalmon-ui's own UI thread; a display is needed (DISPLAY, for instance).
#include <talmon/talmon_ui.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

int main() {
  unsigned int session = 0;
  IMonitorWriter* log = nullptr;
  IMonitorReader* shown = nullptr;
  if (!TalCreateMonitorSession(&session) || !TalOpenMonitorWriter(session, "Copy", true, &log) ||
      !TalOpenMonitorReader(session, "Copy", &shown)) {
    std::fprintf(stderr, "message_box_job: cannot open a page\n");
    return 1;
  }
  trace(*log, block, title) << "Copying the release";
  trace(*log, block) << "Stop copying?";
  std::atomic<bool> answered{false};
  std::thread work([log, &answered] {
    for (int i = 0; i <= 200 && !answered; ++i) {
      trace(*log, temporary) << progress(i, 200) << flush;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  });
  // 0x24: Yes and No with the question icon; 6 is Yes, 7 No, -1 no box could be shown.
  const int answer = TalMonitorMessageBox(shown, 0x24);
  answered = true;
  work.join();
  std::printf("answer: %d\n", answer);
  TalCloseMonitorReader(shown);
  TalCloseMonitorWriter(log);
  TalCloseMonitorSession(session);
  return 0;
}
