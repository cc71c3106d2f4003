// TalMonView's responsiveness: opening a page tab (reader opened, last screen painted) on a
// page of ten million rows beside one of a hundred rows, and the CPU an idle viewer uses
// (whole process, while a session it shows stands still) beside an idle `sleep`. Runs
// offscreen.
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include <QApplication>
#include <QPixmap>
#include <string>

#include <benchmark/benchmark.h>

#include "talmon/session.h"
#include "tests/support/temp_dir.h"
#include "viewer/page_view.h"
#include "viewer/session_readers.h"

namespace {

constexpr int kBigRows = 10000000;

// Session 1 with the pages "Small" (100 rows) and "Big" (ten million), written once.
class Pages {
 public:
  Pages() {
    TalCreateMonitorSession(&session_);
    Write("Small", 100);
    Write("Big", kBigRows);
  }
  unsigned int session() const { return session_; }

 private:
  void Write(const char* page, int rows) {
    IMonitorWriter* writer = nullptr;
    if (!TalOpenMonitorWriter(session_, page, false, &writer)) return;
    std::string chunk;
    for (int row = 0; row < rows; ++row) {
      chunk += "(bold " + std::to_string(row) + ") copied\n";
      if (chunk.size() > (1 << 16)) {
        writer->Write(chunk.c_str());
        chunk.clear();
      }
    }
    writer->Write(chunk.c_str());
    writer->Flush();
    TalCloseMonitorWriter(writer);
  }

  talmon_test::ScopedDataDir dir_;
  unsigned int session_ = 0;
};

Pages& ThePages() {
  static Pages pages;
  return pages;
}

// A page tab as the viewer opens it, painted once at its last screen.
void OpenTab(benchmark::State& state, const char* page) {
  const unsigned int session = ThePages().session();
  for (auto _ : state) {
    talmon::viewer::PageView view(talmon::viewer::PageReader(session, page), true, false);
    view.resize(900, 600);
    benchmark::DoNotOptimize(view.grab());
  }
}

void BM_OpenTabSmall(benchmark::State& state) {
  OpenTab(state, "Small");
}
void BM_OpenTabTenMillion(benchmark::State& state) {
  OpenTab(state, "Big");
}
BENCHMARK(BM_OpenTabSmall)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenTabTenMillion)->Unit(benchmark::kMillisecond);

// CPU time (user + system) of a process so far, in seconds, from /proc.
double CpuSeconds(pid_t pid) {
  FILE* f = std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "r");
  if (f == nullptr) return 0;
  char line[1024] = {};
  const size_t n = std::fread(line, 1, sizeof line - 1, f);
  std::fclose(f);
  line[n] = '\0';
  // Fields 14 and 15 (utime, stime) follow the command name in parentheses.
  const char* p = std::strrchr(line, ')');
  unsigned long utime = 0;
  unsigned long stime = 0;
  if (p == nullptr || std::sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu",
                                  &utime, &stime) != 2) {
    return 0;
  }
  return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// CPU seconds per second of argv left alone from the third to the eighth second after its
// start (its startup and first merge are done by then); then SIGTERM.
double IdleCpu(const char* const* argv) {
  const pid_t pid = fork();
  if (pid == 0) {
    execv(argv[0], const_cast<char* const*>(argv));
    _exit(127);
  }
  sleep(3);
  const double before = CpuSeconds(pid);
  sleep(5);
  const double after = CpuSeconds(pid);
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  return (after - before) / 5.0;
}

void BM_IdleSleep(benchmark::State& state) {
  const char* const argv[] = {"/bin/sleep", "60", nullptr};
  for (auto _ : state)
    state.counters["cpu_percent"] = 100.0 * IdleCpu(argv);
}

// A live producer's session of a hundred rows that stands still, shown by the viewer.
void BM_IdleViewer(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  unsigned int session = 0;
  TalCreateMonitorSession(&session);
  IMonitorWriter* writer = nullptr;
  TalOpenMonitorWriter(session, "Log", false, &writer);
  for (int row = 0; row < 100; ++row)
    writer->Write("(bold copied) a file\n");
  writer->Flush();
  const std::string number = std::to_string(session);
  const char* const argv[] = {TALMON_VIEWER_PATH, number.c_str(), nullptr};
  for (auto _ : state)
    state.counters["cpu_percent"] = 100.0 * IdleCpu(argv);
  TalCloseMonitorWriter(writer);
  TalCloseMonitorSession(session);
}
BENCHMARK(BM_IdleSleep)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IdleViewer)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
