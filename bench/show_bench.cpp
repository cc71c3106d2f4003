// `talmon show` (and `show -f`) of a page of a million rows to /dev/null, beside `cat` of the
// page's text file: what laying out and rendering every row costs over copying its bytes. Both run
// as child processes in the same run; max_rss_mib is the largest child's resident size so far.
#include <string>

#include <benchmark/benchmark.h>

#include "bench/process.h"
#include "bench/ratio.h"

namespace {

constexpr int kRows = 1000000;

// A million rows of typical log markup.
const talmon_bench::BigPage& Page() {
  static const talmon_bench::BigPage page(kRows, [](int row) {
    return "(bold " + std::to_string(row) + ") copied file_" + std::to_string(row % 977) +
           ".dat(tab)" + std::to_string(row % 50) + " MiB(tab)(little ok)\n";
  });
  return page;
}

using talmon_bench::Shell;

void BM_CatText(benchmark::State& state) {
  Shell(state, "cat '" + Page().text() + "' > /dev/null");
}

void BM_ShowPage(benchmark::State& state) {
  Page();
  Shell(state, std::string("'") + TALMON_CLI_PATH + "' show --color=never 1 Big > /dev/null");
}

void BM_ShowPageColour(benchmark::State& state) {
  Page();
  Shell(state, std::string("'") + TALMON_CLI_PATH + "' show --color=always 1 Big > /dev/null");
}

// Following the page once nothing writes it: the follower reads each row on its own (with
// its stamp) and checks that nothing holds the session before it ends.
void BM_FollowPage(benchmark::State& state) {
  Page();
  Shell(state, std::string("'") + TALMON_CLI_PATH + "' show -f --color=never 1 Big > /dev/null");
}

// The work is in the children: wall-clock time is what counts.
BENCHMARK(BM_CatText)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_ShowPage)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_ShowPageColour)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_FollowPage)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return talmon_bench::RunWithGoals(
      argc, argv,
      {{"show", "BM_ShowPage", "BM_CatText", 10}, {"show", "BM_ShowPageColour", "BM_CatText", 0}});
}
