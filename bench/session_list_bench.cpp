// The viewer's list of sessions over a data directory of 800 finished sessions, beside a
// plain listing of the same directory in the same run: names alone (readdir), and names with
// each file's type, owner and size (readdir and lstat, as `ls -l` reads them).
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "talmon/session.h"
#include "talmon/session_list.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr unsigned int kSessions = 800;

// 800 sessions of two pages each (3,200 files), as a day of runs leaves them when nothing
// starts a new session in between.
const talmon_test::ScopedDataDir& Sessions() {
  static auto* dir = [] {
    auto* made = new talmon_test::ScopedDataDir;
    for (unsigned int s = 1; s <= kSessions; ++s) {
      for (const char* page : {"Output", "Errors"}) {
        IMonitorWriter* writer = nullptr;
        TalOpenMonitorWriter(s, page, false, &writer);
        writer->Write("a row\r\nanother row");
        writer->Flush();
        TalCloseMonitorWriter(writer);
      }
    }
    return made;
  }();
  return *dir;
}

void BM_ListSessions(benchmark::State& state) {
  Sessions();
  for (auto _ : state) {
    std::vector<TalMonSessionInfo> sessions;
    TalMonListSessions(sessions);
    if (sessions.size() != kSessions) state.SkipWithError("sessions missing");
    benchmark::DoNotOptimize(sessions.data());
  }
}

void BM_Readdir(benchmark::State& state) {
  const std::string path = Sessions().path();
  for (auto _ : state) {
    std::vector<std::string> names;
    DIR* d = opendir(path.c_str());
    while (dirent* e = readdir(d))
      names.emplace_back(e->d_name);
    closedir(d);
    benchmark::DoNotOptimize(names.data());
  }
}

void BM_ReaddirAndStat(benchmark::State& state) {
  const std::string path = Sessions().path();
  for (auto _ : state) {
    std::vector<std::string> names;
    DIR* d = opendir(path.c_str());
    while (dirent* e = readdir(d)) {
      struct stat st;
      if (fstatat(dirfd(d), e->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0)
        names.emplace_back(e->d_name);
    }
    closedir(d);
    benchmark::DoNotOptimize(names.data());
  }
}

}  // namespace

BENCHMARK(BM_ListSessions)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Readdir)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReaddirAndStat)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
