// The page file monitor against the plain system calls it is built on: publishing rows
// (Write a row + Flush) against one pwrite per row; random GetRow on a page of a million
// rows against one pread per row; and 256 consecutive rows read by GetRow, by the batch
// read, and by one pread per row.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "storage/page.h"
#include "talmon/row_batch.h"

namespace {

constexpr uint32_t kRows = 1000000;
// 31 characters and a line feed: every row of the read benchmarks is 32 bytes.
constexpr char kRow[] = "progress 0042 of 1000: file.dat\n";
constexpr size_t kRowBytes = sizeof kRow - 1;
static_assert(kRowBytes == 32, "row size");

std::string TempDir() {
  const char* tmp = getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/talmon-bench-XXXXXX";
  std::vector<char> buf(pattern.begin(), pattern.end());
  buf.push_back('\0');
  return mkdtemp(buf.data()) != nullptr ? std::string(buf.data()) + "/" : "/tmp/";
}

const std::string& Dir() {
  static const std::string dir = TempDir();
  return dir;
}

std::unique_ptr<TalMonitorBase> OpenPage(const std::string& name, bool writer) {
  auto page = std::make_unique<TalMonitorBase>();
  page->SetPageName((Dir() + name).c_str());
  page->SetWriter(writer);
  page->SetDeleteOnClose(true);
  page->Open();
  return page;
}

void BM_PageWriteRowAndFlush(benchmark::State& state) {
  auto writer = OpenPage("0001Write", true);
  for (auto _ : state) {
    writer->Write(kRow);
    writer->Flush();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PageWriteRowAndFlush);

void BM_PlainPwritePerRow(benchmark::State& state) {
  const std::string path = Dir() + "plain-write";
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  uint64_t offset = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pwrite(fd, kRow, kRowBytes, static_cast<off_t>(offset)));
    offset += kRowBytes;
  }
  close(fd);
  unlink(path.c_str());
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PlainPwritePerRow);

// A published page of a million 32-byte rows, made once, with the plain file of the same
// text beside it; removed at exit by the writer's delete-on-close and by hand.
struct BigPage {
  BigPage() {
    writer = OpenPage("0001Big", true);
    for (uint32_t i = 0; i < kRows; ++i)
      writer->Write(kRow);
    writer->Flush();
    text = Dir() + "0001Big.TXT";
    std::mt19937 random(42);
    std::uniform_int_distribution<uint32_t> pick(0, kRows - 1);
    order.resize(1 << 16);
    for (uint32_t& row : order)
      row = pick(random);
  }
  std::unique_ptr<TalMonitorBase> writer;
  std::string text;
  std::vector<uint32_t> order;
};

std::unique_ptr<BigPage> gBig;

BigPage& Big() {
  if (!gBig) gBig = std::make_unique<BigPage>();
  return *gBig;
}

void BM_PageGetRowRandom(benchmark::State& state) {
  BigPage& big = Big();
  auto reader = OpenPage("0001Big", false);
  size_t i = 0;
  for (auto _ : state) {
    const char* text = nullptr;
    uint32_t length = 0;
    benchmark::DoNotOptimize(reader->GetRow(big.order[i++ & 0xFFFF], text, length));
    benchmark::DoNotOptimize(text);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PageGetRowRandom);

void BM_PlainPreadPerRow(benchmark::State& state) {
  BigPage& big = Big();
  int fd = open(big.text.c_str(), O_RDONLY | O_CLOEXEC);
  char buffer[kRowBytes + 1];
  size_t i = 0;
  for (auto _ : state) {
    const uint64_t row = big.order[i++ & 0xFFFF];
    benchmark::DoNotOptimize(pread(fd, buffer, kRowBytes, static_cast<off_t>(row * kRowBytes)));
    benchmark::DoNotOptimize(buffer);
  }
  close(fd);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PlainPreadPerRow);

constexpr uint32_t kRun = 256;  // rows read per iteration by the sequential benchmarks

void BM_PageGetRowSequential(benchmark::State& state) {
  Big();
  auto reader = OpenPage("0001Big", false);
  uint32_t first = 0;
  for (auto _ : state) {
    for (uint32_t row = first; row < first + kRun; ++row) {
      const char* text = nullptr;
      uint32_t length = 0;
      benchmark::DoNotOptimize(reader->GetRow(row, text, length));
    }
    first = (first + kRun) % (kRows - kRun);
  }
  state.SetItemsProcessed(state.iterations() * kRun);
}
BENCHMARK(BM_PageGetRowSequential);

void BM_PageBatchSequential(benchmark::State& state) {
  Big();
  auto reader = OpenPage("0001Big", false);
  TalMonitorRowBatch batch;
  uint32_t first = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(batch.Read(*reader, first, kRun));
    first = (first + kRun) % (kRows - kRun);
  }
  state.SetItemsProcessed(state.iterations() * kRun);
}
BENCHMARK(BM_PageBatchSequential);

void BM_PlainPreadSequential(benchmark::State& state) {
  BigPage& big = Big();
  int fd = open(big.text.c_str(), O_RDONLY | O_CLOEXEC);
  char buffer[kRowBytes + 1];
  uint64_t first = 0;
  for (auto _ : state) {
    for (uint64_t row = first; row < first + kRun; ++row) {
      benchmark::DoNotOptimize(pread(fd, buffer, kRowBytes, static_cast<off_t>(row * kRowBytes)));
    }
    first = (first + kRun) % (kRows - kRun);
  }
  close(fd);
  state.SetItemsProcessed(state.iterations() * kRun);
}
BENCHMARK(BM_PlainPreadSequential);

}  // namespace

int main(int argc, char** argv) {
  const int status = talmon_bench::RunWithGoals(
      argc, argv,
      {{"page", "BM_PageWriteRowAndFlush", "BM_PlainPwritePerRow", 0},
       {"page", "BM_PageGetRowRandom", "BM_PlainPreadPerRow", 0},
       {"page, 256 rows", "BM_PageGetRowSequential", "BM_PlainPreadSequential", 0},
       {"page, 256 rows", "BM_PageBatchSequential", "BM_PlainPreadSequential", 0}});
  gBig.reset();
  rmdir(Dir().c_str());
  return status;
}
