// A paused GUI producer: the CPU it spends while TalMonitorDoEvents holds it, and how long
// after another process resumes the session (the marker's rename) the call returns; beside
// the floor, a thread blocked in read() on an inotify watch of the data directory, woken by
// the same rename; and the Qt pump's own paused round (pump, idle twice, then its wait hook
// on one kept-open watch of the data directory with a 100 ms safety timer), the way
// libtalmon's paused wait uses the hook. A plain program (whole-process figures): prints one
// line per measure.
//   pump_bench [rounds]   (default 20 short pauses, then one pause of 2 s for the CPU)

#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "dialogs/qt_event_pump.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
         (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The other process: for each request (the pause in ms), waits that long, notes the time and
// resumes the session. The time goes back through the pipe.
[[noreturn]] void Resumer(unsigned int session, int requests, int replies) {
  int pauseMs = 0;
  while (read(requests, &pauseMs, sizeof pauseMs) == sizeof pauseMs) {
    usleep(static_cast<useconds_t>(pauseMs) * 1000);
    const Clock::time_point at = Clock::now();
    TalMonitorSetActivity(session, 1);
    if (write(replies, &at, sizeof at) != sizeof at) break;
  }
  _exit(0);
}

struct Figures {
  std::vector<double> latencies;  // seconds
  double cpuShare = 0;            // of one core, over the long pause
};

// Pauses, asks the resumer to resume after pauseMs, waits by wait(), and measures.
template <typename Wait>
double Round(unsigned int session, int request, int reply, int pauseMs, Wait wait,
             double* cpuShare) {
  TalMonitorSetActivity(session, 2);
  const double cpu0 = CpuSeconds();
  const Clock::time_point start = Clock::now();
  if (write(request, &pauseMs, sizeof pauseMs) != sizeof pauseMs) return -1;
  wait();
  const Clock::time_point woke = Clock::now();
  if (cpuShare != nullptr) *cpuShare = (CpuSeconds() - cpu0) / Seconds(woke - start);
  Clock::time_point resumed;
  if (read(reply, &resumed, sizeof resumed) != sizeof resumed) return -1;
  return Seconds(woke - resumed);
}

template <typename Wait>
Figures Measure(unsigned int session, int request, int reply, int rounds, Wait wait) {
  Figures f;
  for (int i = 0; i < rounds; ++i)
    f.latencies.push_back(Round(session, request, reply, 100, wait, nullptr));
  Round(session, request, reply, 2000, wait, &f.cpuShare);
  return f;
}

void Print(const char* what, Figures f) {
  std::sort(f.latencies.begin(), f.latencies.end());
  const double median = f.latencies[f.latencies.size() / 2] * 1e3;
  const double worst = f.latencies.back() * 1e3;
  std::printf("%-44s resume latency median %7.3f ms, max %7.3f ms; paused CPU %6.3f%% of a core\n",
              what, median, worst, f.cpuShare * 100);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20;
  talmon_test::ScopedDataDir dir;
  unsigned int session = 0;
  if (!TalCreateMonitorSession(&session)) {
    std::fprintf(stderr, "pump_bench: cannot create a session\n");
    return 1;
  }
  int requests[2], replies[2];
  if (pipe(requests) != 0 || pipe(replies) != 0) return 1;
  const pid_t pid = fork();
  if (pid == 0) {
    close(requests[1]);
    close(replies[0]);
    Resumer(session, requests[0], replies[1]);
  }
  close(requests[0]);
  close(replies[1]);

  // The floor: a blocking read of the data directory's inotify watch.
  const int watch = inotify_init1(IN_CLOEXEC);
  inotify_add_watch(watch, dir.path().c_str(), IN_MOVED_TO | IN_CREATE | IN_DELETE);
  const Figures floor = Measure(session, requests[1], replies[0], rounds, [watch] {
    // Waits for the marker to come back as "Play.TXT"; the pause's own rename may still be
    // queued and is passed over.
    alignas(inotify_event) char events[4096];
    for (;;) {
      const ssize_t n = read(watch, events, sizeof events);
      if (n <= 0) return;
      for (ssize_t at = 0; at < n;) {
        const auto* e = reinterpret_cast<const inotify_event*>(events + at);
        if (e->len > 0 && std::string(e->name).find("Play.TXT") != std::string::npos) return;
        at += static_cast<ssize_t>(sizeof(inotify_event) + e->len);
      }
    }
  });

  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  QApplication app(argc, argv);
  QTimer ticking;  // a GUI with a timer of its own, as a producer's window has
  ticking.start(1000);
  const Figures pump =
      Measure(session, requests[1], replies[0], rounds, [session] { TalMonitorDoEvents(session); });
  const int kept = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  inotify_add_watch(kept, dir.path().c_str(), IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE);
  const TalMonEventPump& hooks = talmon::QtEventPump();
  const Figures hook = Measure(session, requests[1], replies[0], rounds, [&] {
    for (;;) {
      if (!hooks.pumpPending()) return;
      hooks.idle();
      hooks.idle();
      unsigned int activity = 0;
      TalMonitorGetActivity(session, &activity);
      if (activity != 2) return;
      hooks.waitEvents(kept, 100);
      char drained[4096];
      while (read(kept, drained, sizeof drained) > 0) {
      }
    }
  });

  close(requests[1]);
  waitpid(pid, nullptr, 0);
  Print("inotify floor (blocking read, no UI)", floor);
  Print("Qt producer in TalMonitorDoEvents", pump);
  Print("Qt pump round with its wait hook", hook);
  TalCloseMonitorSession(session);
  return 0;
}
