// `talmon show -n 50` of a page of ten million rows, beside `tail -n 50` of the page's text
// file, both as child processes in the same run.
#include <string>

#include <benchmark/benchmark.h>

#include "bench/process.h"
#include "bench/ratio.h"

namespace {

constexpr int kRows = 10000000;

const talmon_bench::BigPage& Page() {
  static const talmon_bench::BigPage page(
      kRows, [](int row) { return "copied file_" + std::to_string(row) + ".dat\n"; });
  return page;
}

using talmon_bench::Shell;

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
