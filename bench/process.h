// Whole-process benchmarks: the monotonic clock shared by processes, percentiles, shell
// commands as benchmark iterations, and a big page written once. Header-only; bench/ only.
#pragma once

#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace talmon_bench {

// Nanoseconds of CLOCK_MONOTONIC: comparable between processes of the machine.
inline double NowNs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

// The value below which the fraction p of values lie (0: the least, 1: the most).
inline double Percentile(std::vector<double> values, double p) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(p * static_cast<double>(values.size() - 1))];
}

// Runs command through the shell once per iteration; the work is in the child, so callers
// measure real time. max_rss_mib is the largest child's resident size so far.
inline void Shell(benchmark::State& state, const std::string& command) {
  for (auto _ : state) {
    if (system(command.c_str()) != 0) state.SkipWithError(("failed: " + command).c_str());
  }
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  state.counters["max_rss_mib"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Session 1 of its own data directory with the page "Big" of rows rows, row(i) the text of
// row i with its line feed, written in pieces of 1 MiB. text() is the page's text file.
class BigPage {
 public:
  BigPage(int rows, const std::function<std::string(int)>& row) {
    unsigned int session = 0;
    TalCreateMonitorSession(&session);
    IMonitorWriter* writer = nullptr;
    if (!TalOpenMonitorWriter(session, "Big", false, &writer)) return;
    std::string chunk;
    for (int i = 0; i < rows; ++i) {
      chunk += row(i);
      if (chunk.size() > (1 << 20)) {
        writer->Write(chunk.c_str());
        chunk.clear();
      }
    }
    writer->Write(chunk.c_str());
    writer->Flush();
    TalCloseMonitorWriter(writer);
    TalCloseMonitorSession(session);
    text_ = dir_.file("0001Big.TXT");
  }
  const std::string& text() const { return text_; }

 private:
  talmon_test::ScopedDataDir dir_;
  std::string text_;
};

}  // namespace talmon_bench
