// One traced statement per row into a real page, against one plain pwrite of the same row
// and spdlog flushing every line, in the same run. Every benchmark reports heap allocations
// per statement (counted by the replaced global operator new below): a traced statement must
// make none. Two ways to publish a row with fewer system calls are measured beside them as
// plain system calls (not built into the library): the statement's text in one pwrite with
// the record and the header in two more; and the row file mapped, so that the record and
// the header are stores to memory and the text one pwrite.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include <benchmark/benchmark.h>
#if TALMON_BENCH_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include "bench/ratio.h"
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

#if TALMON_BENCH_SPDLOG
// A logger that writes the message alone and flushes it at once, as a page publishes a row.
void BM_SpdlogFlushEachLine(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_st>(dir.file("spdlog.txt"), true);
  spdlog::logger logger("bench", sink);
  logger.set_pattern("%v");
  logger.flush_on(spdlog::level::trace);
  RunCountingAllocations(state, [&](int i) { logger.info("Total: {}", i); });
}
BENCHMARK(BM_SpdlogFlushEachLine);
#endif

// The row published with three system calls: its text in one pwrite, then the next row's
// record and the page header.
void BM_DesignThreeWrites(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  const int text = open(dir.file("0001D.TXT").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const int rows = open(dir.file("0001D.ROW").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  uint32_t textLength = 0, rowLength = 20;
  RunCountingAllocations(state, [&](int i) {
    char row[32];
    const int n = std::snprintf(row, sizeof row, "Total: %d\n", i);
    if (pwrite(text, row, static_cast<size_t>(n), textLength) == n) textLength += n;
    const uint32_t record[2] = {textLength, static_cast<uint32_t>(i)};
    if (pwrite(rows, record, sizeof record, rowLength) == sizeof record) rowLength += 8;
    const uint32_t header[3] = {textLength, rowLength, 0x10A};
    benchmark::DoNotOptimize(pwrite(rows, header, sizeof header, 0));
  });
  close(text);
  close(rows);
}
BENCHMARK(BM_DesignThreeWrites);

// The row file mapped: the record and the header are stores; only the text is a pwrite.
void BM_DesignMappedRowFile(benchmark::State& state) {
  talmon_test::ScopedDataDir dir;
  const int text = open(dir.file("0001M.TXT").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const int rows = open(dir.file("0001M.ROW").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  constexpr size_t kMapped = size_t{64} << 20;
  void* map = ftruncate(rows, kMapped) == 0
                  ? mmap(nullptr, kMapped, PROT_READ | PROT_WRITE, MAP_SHARED, rows, 0)
                  : MAP_FAILED;
  if (map == MAP_FAILED) {
    state.SkipWithError("cannot map the row file");
    return;
  }
  auto* words = static_cast<uint32_t*>(map);
  uint32_t textLength = 0, rowLength = 20;
  RunCountingAllocations(state, [&](int i) {
    char row[32];
    const int n = std::snprintf(row, sizeof row, "Total: %d\n", i);
    if (pwrite(text, row, static_cast<size_t>(n), textLength) == n) textLength += n;
    if (rowLength + 8 > kMapped) rowLength = 20;
    words[rowLength / 4] = textLength;
    words[rowLength / 4 + 1] = static_cast<uint32_t>(i);
    rowLength += 8;
    __atomic_store_n(&words[1], rowLength, __ATOMIC_RELEASE);
    __atomic_store_n(&words[0], textLength, __ATOMIC_RELEASE);
  });
  munmap(map, kMapped);
  close(text);
  close(rows);
}
BENCHMARK(BM_DesignMappedRowFile);

}  // namespace

int main(int argc, char** argv) {
  return talmon_bench::RunWithGoals(
      argc, argv,
      {{"producer", "BM_TraceBlockRowIntoPage", "BM_PlainPwriteRow", 0},
       {"producer", "BM_TraceBlockRowIntoPage", "BM_SpdlogFlushEachLine", 0},
       {"producer", "BM_SpdlogFlushEachLine", "BM_PlainPwriteRow", 0},
       {"producer design", "BM_DesignThreeWrites", "BM_PlainPwriteRow", 0},
       {"producer design", "BM_DesignMappedRowFile", "BM_PlainPwriteRow", 0}});
}
