// Session benchmarks: the time-merged reader over large pages, and a new session in a data
// directory full of old sessions, each beside the floor it could at best reach in the same
// run (reading the row files whole and merging in memory; listing and unlinking the files).
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "talmon/readers.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr int kPages = 4;
constexpr uint32_t kRowsPerPage = 250000;
const char* const kPageNames[kPages] = {"P0", "P1", "P2", "P3"};

// Four pages of session 1, written in turns so that their stamps interleave.
class BigPages {
 public:
  BigPages() {
    IMonitorWriter* writers[kPages];
    for (int p = 0; p < kPages; ++p)
      TalOpenMonitorWriter(1, kPageNames[p], false, &writers[p]);
    char row[64];
    for (uint32_t r = 0; r < kRowsPerPage; ++r) {
      for (int p = 0; p < kPages; ++p) {
        std::snprintf(row, sizeof row, "%srow %u of page %d", r == 0 ? "" : "\n", r, p);
        writers[p]->Write(row);
      }
    }
    for (IMonitorWriter* w : writers) {
      w->Flush();
      TalCloseMonitorWriter(w);
    }
  }
  const talmon_test::ScopedDataDir& dir() const { return dir_; }

 private:
  talmon_test::ScopedDataDir dir_;
};

BigPages& Pages() {
  static BigPages* pages = new BigPages;
  return *pages;
}

TalMonitorReaderTime* OpenMerged() {
  TalMonitorReaderTime* merged = nullptr;
  TalOpenMonitorReaderTime(1, &merged);
  for (const char* page : kPageNames) {
    IMonitorReader* reader = nullptr;
    TalOpenMonitorReader(1, page, &reader);
    merged->AddReader(reader);
  }
  return merged;
}

void BM_TimeMerge_New(benchmark::State& state) {
  Pages();
  for (auto _ : state) {
    TalMonitorReaderTime* merged = OpenMerged();
    benchmark::DoNotOptimize(merged->Update());
    TalCloseMonitorReader(merged);
  }
  state.SetItemsProcessed(state.iterations() * kPages * kRowsPerPage);
}

void BM_TimeMerge_Unchanged(benchmark::State& state) {
  Pages();
  TalMonitorReaderTime* merged = OpenMerged();
  merged->Update();
  for (auto _ : state)
    benchmark::DoNotOptimize(merged->Update());
  state.SetItemsProcessed(state.iterations() * kPages * kRowsPerPage);
  TalCloseMonitorReader(merged);
}

void BM_TimeMerge_After100Rows(benchmark::State& state) {
  Pages();
  IMonitorWriter* writer = nullptr;
  TalOpenMonitorWriter(1, "Growing", true, &writer);
  TalMonitorReaderTime* merged = OpenMerged();
  IMonitorReader* growing = nullptr;
  TalOpenMonitorReader(1, "Growing", &growing);
  merged->AddReader(growing);
  merged->Update();
  for (auto _ : state) {
    state.PauseTiming();
    for (int i = 0; i < 100; ++i)
      writer->Write("one more row\n");
    writer->Flush();
    state.ResumeTiming();
    benchmark::DoNotOptimize(merged->Update());
  }
  TalCloseMonitorReader(merged);
  TalCloseMonitorWriter(writer);
}

// The floor for a merge: each row file read whole, the stamps merged in memory.
void BM_TimeMerge_Floor(benchmark::State& state) {
  const BigPages& pages = Pages();
  for (auto _ : state) {
    std::vector<std::vector<uint32_t>> stamps(kPages);
    for (int p = 0; p < kPages; ++p) {
      const std::string path = pages.dir().file(std::string("0001") + kPageNames[p] + ".ROW");
      const int fd = open(path.c_str(), O_RDONLY);
      std::vector<unsigned char> bytes(12 + 8 * (kRowsPerPage + 1));
      const ssize_t got = pread(fd, bytes.data(), bytes.size(), 0);
      close(fd);
      for (ssize_t at = 12; at + 8 <= got; at += 8) {
        uint32_t stamp;
        std::memcpy(&stamp, &bytes[static_cast<size_t>(at) + 4], 4);
        stamps[p].push_back(stamp);
      }
    }
    std::vector<uint64_t> index;
    index.reserve(kPages * kRowsPerPage);
    std::vector<size_t> next(kPages, 0);
    for (;;) {
      int best = -1;
      for (int p = 0; p < kPages; ++p) {
        if (next[p] < stamps[p].size() &&
            (best < 0 || stamps[p][next[p]] < stamps[best][next[best]])) {
          best = p;
        }
      }
      if (best < 0) break;
      index.push_back(static_cast<uint64_t>(next[best]++) << 32 | static_cast<uint32_t>(best));
    }
    benchmark::DoNotOptimize(index.data());
  }
  state.SetItemsProcessed(state.iterations() * kPages * kRowsPerPage);
}

// The floor for an Update that finds little or nothing new: each page's header read once.
void BM_TimeMerge_HeadersFloor(benchmark::State& state) {
  const BigPages& pages = Pages();
  std::vector<int> fds;
  for (const char* page : kPageNames)
    fds.push_back(open(pages.dir().file(std::string("0001") + page + ".ROW").c_str(), O_RDONLY));
  unsigned char header[12];
  for (auto _ : state) {
    for (int fd : fds)
      benchmark::DoNotOptimize(pread(fd, header, sizeof header, 0));
  }
  for (int fd : fds)
    close(fd);
}

constexpr int kOldSessions = 2500;  // four files each: 10,000 files

void FillOldSessions(const talmon_test::ScopedDataDir& dir) {
  char name[64];
  for (int s = 1; s <= kOldSessions; ++s) {
    for (const char* suffix : {"Log.TXT", "Log.ROW", "Errors.TXT", "Errors.ROW"}) {
      std::snprintf(name, sizeof name, "%04d%s", s, suffix);
      const int fd = open(dir.file(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (write(fd, "x", 1) != 1) std::perror("write");
      close(fd);
    }
  }
}

void BM_NewSession_OldFiles(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  for (auto _ : state) {
    state.PauseTiming();
    FillOldSessions(dir);
    state.ResumeTiming();
    unsigned int session = 0;
    TalMonitorDefineNewSession(&session);
    benchmark::DoNotOptimize(session);
  }
  state.SetItemsProcessed(state.iterations() * kOldSessions * 4);
}

// The floor for the clean-up: list the directory and unlink every file once.
void BM_NewSession_Floor(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  for (auto _ : state) {
    state.PauseTiming();
    FillOldSessions(dir);
    state.ResumeTiming();
    DIR* d = opendir(dir.path().c_str());
    while (dirent* e = readdir(d)) {
      if (e->d_name[0] != '.') unlink(dir.file(e->d_name).c_str());
    }
    closedir(d);
  }
  state.SetItemsProcessed(state.iterations() * kOldSessions * 4);
}

}  // namespace

BENCHMARK(BM_TimeMerge_New)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TimeMerge_Unchanged)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TimeMerge_After100Rows)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TimeMerge_Floor)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TimeMerge_HeadersFloor)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NewSession_OldFiles)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NewSession_Floor)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  return talmon_bench::RunWithGoals(
      argc, argv,
      {{"merge, 4 x 250k rows", "BM_TimeMerge_New", "BM_TimeMerge_Floor", 2},
       {"merge, 4 x 250k rows", "BM_TimeMerge_Unchanged", "BM_TimeMerge_HeadersFloor", 5},
       {"merge, 4 x 250k rows", "BM_TimeMerge_After100Rows", "BM_TimeMerge_HeadersFloor", 10},
       {"new session", "BM_NewSession_OldFiles", "BM_NewSession_Floor", 0}});
}
