// `talmon run` against writing the same output to a file, both as child processes in the
// same run: `seq 1 1000000` (short lines), and 100,000 progress updates that end in a CR
// and never in a line feed, replayed by cat.
#include <stdlib.h>

#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/process.h"
#include "bench/ratio.h"
#include "tests/support/temp_dir.h"

namespace {

const std::string& Dir() {
  static talmon_test::ScopedDataDir* dir = new talmon_test::ScopedDataDir;
  return dir->path();
}

// The progress updates, written once.
const std::string& ProgressFile() {
  static const std::string path = [] {
    const std::string file = Dir() + "progress.in";
    if (FILE* f = std::fopen(file.c_str(), "w")) {
      for (int i = 0; i < 100000; ++i)
        std::fprintf(f, "copying: %d of 100000 files\r", i);
      std::fclose(f);
    }
    return file;
  }();
  return path;
}

using talmon_bench::Shell;

std::string Talmon() {
  return std::string("'") + TALMON_CLI_PATH + "' run -- ";
}

void BM_SeqToFile(benchmark::State& state) {
  Shell(state, "seq 1 1000000 > '" + Dir() + "seq.out'");
}
void BM_RunSeq(benchmark::State& state) {
  Shell(state, Talmon() + "seq 1 1000000");
}
void BM_CatProgressToFile(benchmark::State& state) {
  Shell(state, "cat '" + ProgressFile() + "' > '" + Dir() + "progress.out'");
}
void BM_RunCatProgress(benchmark::State& state) {
  Shell(state, Talmon() + "cat '" + ProgressFile() + "'");
}

BENCHMARK(BM_SeqToFile)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_RunSeq)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_CatProgressToFile)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_RunCatProgress)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return talmon_bench::RunWithGoals(
      argc, argv,
      {{"talmon run", "BM_RunSeq", "BM_SeqToFile", 6},
       {"talmon run", "BM_RunCatProgress", "BM_CatProgressToFile", 3}});
}
