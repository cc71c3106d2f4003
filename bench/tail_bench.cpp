// `talmon show -n 50` of a page of ten million rows, beside `tail -n 50` of the page's text
// file, both as child processes in the same run.
#include <stdlib.h>

#include <string>

#include <benchmark/benchmark.h>

#include "bench/ratio.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr int kRows = 10000000;

// One session with the page "Big", written in large pieces.
class BigPage {
 public:
  BigPage() {
    unsigned int session = 0;
    TalCreateMonitorSession(&session);
    IMonitorWriter* writer = nullptr;
    if (!TalOpenMonitorWriter(session, "Big", false, &writer)) return;
    std::string chunk;
    for (int row = 0; row < kRows; ++row) {
      chunk += "copied file_" + std::to_string(row) + ".dat\n";
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

BigPage& Page() {
  static BigPage page;
  return page;
}

void Shell(benchmark::State& state, const std::string& command) {
  for (auto _ : state) {
    if (system(command.c_str()) != 0) state.SkipWithError(("failed: " + command).c_str());
  }
}

void BM_TailText(benchmark::State& state) {
  Shell(state, "tail -n 50 '" + Page().text() + "' > /dev/null");
}

void BM_ShowTail(benchmark::State& state) {
  Page();
  Shell(state, std::string("'") + TALMON_CLI_PATH + "' show -n 50 --color=never 1 Big > /dev/null");
}

void BM_ShowTailMerged(benchmark::State& state) {
  Page();
  Shell(state, std::string("'") + TALMON_CLI_PATH + "' show -n 50 --color=never 1 > /dev/null");
}

BENCHMARK(BM_TailText)->Unit(benchmark::kMillisecond)->Iterations(20)->UseRealTime();
BENCHMARK(BM_ShowTail)->Unit(benchmark::kMillisecond)->Iterations(20)->UseRealTime();
BENCHMARK(BM_ShowTailMerged)->Unit(benchmark::kMillisecond)->Iterations(20)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return talmon_bench::RunWithGoals(
      argc, argv,
      {{"show -n 50, 10M rows", "BM_ShowTail", "BM_TailText", 2},
       {"show -n 50, 10M rows", "BM_ShowTailMerged", "BM_TailText", 0}});
}
