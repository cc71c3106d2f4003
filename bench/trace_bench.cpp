// One traced statement per row into a real page, against one plain pwrite of the same row, in
// the same run. Every benchmark reports heap allocations per statement (counted by the
// replaced global operator new below): a traced statement must make none.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include <benchmark/benchmark.h>

#include "storage/page.h"
#include "talmon/trace.h"
#include "tests/support/temp_dir.h"

namespace {
size_t g_allocations = 0;
}  // namespace

// Not inlined: g++ would otherwise see malloc and free meet operator new and delete, and warn.
__attribute__((noinline)) void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept {
  std::free(p);
}
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace {

// Runs body once per iteration and reports the heap allocations it made per iteration.
template <typename Body>
void RunCountingAllocations(benchmark::State& state, Body body) {
  int i = 0;
  const size_t before = g_allocations;
  for (auto _ : state)
    body(i++);
  state.counters["allocs_per_statement"] =
      static_cast<double>(g_allocations - before) / static_cast<double>(state.iterations());
}

void BM_TraceBlockRowIntoPage(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  const std::string path = dir.file("0001Bench.TXT");
  TalMonitorBase page;
  page.SetPageName(path.c_str());
  page.SetWriter(true);
  if (!page.Open()) {
    state.SkipWithError("cannot open the page");
    return;
  }
  RunCountingAllocations(state, [&](int i) { trace(page, block) << "Total: " << i; });
}
BENCHMARK(BM_TraceBlockRowIntoPage);

// The floor: the same row text, formatted on the stack and written with one pwrite.
void BM_PlainPwriteRow(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  const std::string path = dir.file("plain.txt");
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    state.SkipWithError("cannot open the file");
    return;
  }
  off_t offset = 0;
  RunCountingAllocations(state, [&](int i) {
    char row[32];
    const int n = std::snprintf(row, sizeof(row), "Total: %d\n", i);
    if (pwrite(fd, row, static_cast<size_t>(n), offset) == n) offset += n;
  });
  close(fd);
}
BENCHMARK(BM_PlainPwriteRow);

// The trace's own cost, without files: the same statement into the null writer.
void BM_TraceBlockRowIntoNullWriter(benchmark::State& state) {
  IMonitorWriter& sink = MonitorWriterNull::Instance();
  RunCountingAllocations(state, [&](int i) { trace(sink, block) << "Total: " << i; });
}
BENCHMARK(BM_TraceBlockRowIntoNullWriter);

}  // namespace

BENCHMARK_MAIN();
