// A paused producer in another process resumed by a rename of its marker: the time from the
// rename to the producer's return from TalMonitorDoEvents, beside the floor of the same
// wake-up through a bare inotify watch and poll. A plain program: each round forks nothing
// new, the two processes talk over pipes and read one monotonic clock.
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/process.h"
#include "bench/ratio.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_bench::NowNs;
using talmon_bench::Percentile;

constexpr int kRounds = 300;

bool ReadAll(int fd, void* data, size_t size) {
  return read(fd, data, size) == static_cast<ssize_t>(size);
}

// The producer's side of a round: waits for the word, then for the resume, and reports the
// moment it woke. wait() returns once resumed.
template <typename Wait>
void ChildRounds(int in, int out, Wait wait) {
  char go = 0;
  while (ReadAll(in, &go, 1) && go == 'g') {
    wait();
    const double woke = NowNs();
    if (write(out, &woke, sizeof woke) != sizeof woke) break;
  }
}

// Runs kRounds rounds of: pause (by pause()), the word to the child, a moment for it to
// fall asleep, then the rename (resume()) and the child's answer. Returns the latencies.
template <typename Child, typename Pause, typename Resume>
std::vector<double> Rounds(Child child, Pause pause, Resume resume) {
  int toChild[2], toParent[2];
  if (pipe(toChild) != 0 || pipe(toParent) != 0) return {};
  const pid_t pid = fork();
  if (pid == 0) {
    close(toChild[1]);
    close(toParent[0]);
    child(toChild[0], toParent[1]);
    _exit(0);
  }
  close(toChild[0]);
  close(toParent[1]);
  char ready = 0;
  std::vector<double> latencies;
  if (ReadAll(toParent[0], &ready, 1)) {
    for (int round = 0; round < kRounds; ++round) {
      pause();
      if (write(toChild[1], "g", 1) != 1) break;
      usleep(2000);
      const double renamed = NowNs();
      resume();
      double woke = 0;
      if (!ReadAll(toParent[0], &woke, sizeof woke)) break;
      latencies.push_back(woke - renamed);
    }
  }
  if (write(toChild[1], "q", 1) != 1) perror("write");
  close(toChild[1]);
  close(toParent[0]);
  waitpid(pid, nullptr, 0);
  return latencies;
}

}  // namespace

int main() {
  talmon_test::ScopedDataDir dir;
  const std::string play = dir.file("0001Play.TXT"), pause = dir.file("0001Pause.TXT");

  // The producer: session 1 of the fresh directory, waiting in TalMonitorDoEvents.
  const std::vector<double> producer = Rounds(
      [&](int in, int out) {
        unsigned int session = 0;
        TalCreateMonitorSession(&session);
        if (write(out, "r", 1) != 1) return;
        ChildRounds(in, out, [&] { TalMonitorDoEvents(session); });
      },
      [&] {
        while (!TalMonitorSetActivity(1, 2))
          usleep(100);
      },
      [&] { rename(pause.c_str(), play.c_str()); });

  // The floor: an inotify watch of the same directory, poll, and one look at the marker.
  const std::string floorPlay = dir.file("floorPlay"), floorPause = dir.file("floorPause");
  if (FILE* f = fopen(floorPlay.c_str(), "w")) fclose(f);
  const std::vector<double> floor = Rounds(
      [&](int in, int out) {
        const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        inotify_add_watch(fd, dir.path().c_str(), IN_MOVED_TO | IN_MOVED_FROM);
        if (write(out, "r", 1) != 1) return;
        ChildRounds(in, out, [&] {
          struct stat st;
          char events[4096];
          while (stat(floorPlay.c_str(), &st) != 0) {
            pollfd p{fd, POLLIN, 0};
            poll(&p, 1, 100);
            while (read(fd, events, sizeof events) > 0) {
            }
          }
        });
      },
      [&] { rename(floorPlay.c_str(), floorPause.c_str()); },
      [&] { rename(floorPause.c_str(), floorPlay.c_str()); });

  std::printf(
      "resume of a paused producer, %zu rounds: p50 %s p99 %s; inotify floor p50 %s p99 %s\n",
      producer.size(), talmon_bench::Time(Percentile(producer, 0.5)).c_str(),
      talmon_bench::Time(Percentile(producer, 0.99)).c_str(),
      talmon_bench::Time(Percentile(floor, 0.5)).c_str(),
      talmon_bench::Time(Percentile(floor, 0.99)).c_str());
  talmon_bench::PrintRow("resume", "rename to resumed producer, p99", Percentile(producer, 0.99),
                         "inotify wake-up p99", Percentile(floor, 0.99), 0);
  talmon_bench::PrintRow("resume", "rename to resumed producer, p50", Percentile(producer, 0.5),
                         "inotify wake-up p50", Percentile(floor, 0.5), 0);
  const bool met = Percentile(producer, 0.99) < 1e6;
  std::printf("| resume | p99 under 1 ms | %s | - | - | - | %s |\n",
              talmon_bench::Time(Percentile(producer, 0.99)).c_str(), met ? "met" : "MISSED");
  return 0;
}
