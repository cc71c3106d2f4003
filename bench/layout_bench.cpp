// Layout of one screen of monitor rows (50 rows of mixed markup, measuring and drawing pass),
// on the recording device and on a device that draws nothing, and the terminal rendering of
// the same screen; each beside a baseline that only reads every byte of the rows once
// (layout) or copies them into lines (terminal).

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "bench/screen.h"
#include "talmon/terminal.h"
#include "talmon/textctrl.h"
#include "textctrl/recording_device.h"

namespace {

class NullDevice : public TalMonDevice {
 public:
  TalMonFont SelectFont(TalMonFont font) override { return font; }
  void SetTextColor(TalMonColor) override {}
  void SetBkColor(TalMonColor) override {}
  void SetBkMode(TalMonBkMode) override {}
  int32_t DrawText(const char*, int32_t length, const TalMonRect&, TalMonPoint origin,
                   uint32_t) override {
    return origin.x + 7 * length;
  }
  void FillSolidRect(const TalMonRect&, TalMonColor) override {}
  void Draw3dRect(const TalMonRect&, TalMonColor, TalMonColor) override {}
  void Line(int32_t, int32_t, int32_t, int32_t, TalMonColor) override {}
  void GradientH(const TalMonRect&, TalMonColor, TalMonColor) override {}
  void GradientV(const TalMonRect&, TalMonColor, TalMonColor) override {}
  bool BlendImage(const char*, int32_t, int32_t, TalMonPoint, uint8_t) override { return false; }
};

void BM_LayoutRecording(benchmark::State& state) {
  talmon_bench::Screen screen;
  TalMonRecordingDevice device;
  TalMonTextLayout layout;
  TalMonPaintInput input = screen.Input();
  for (auto _ : state) {
    device.Clear();
    TalMonPaintOutput output;
    layout.Draw(device, input, output);
    benchmark::DoNotOptimize(output.contentWidth);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * screen.bytes);
}
BENCHMARK(BM_LayoutRecording);

void BM_LayoutNullDevice(benchmark::State& state) {
  talmon_bench::Screen screen;
  NullDevice device;
  TalMonTextLayout layout;
  TalMonPaintInput input = screen.Input();
  for (auto _ : state) {
    TalMonPaintOutput output;
    layout.Draw(device, input, output);
    benchmark::DoNotOptimize(output.contentWidth);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * screen.bytes);
}
BENCHMARK(BM_LayoutNullDevice);

// Baseline: fetch every row twice (two passes) and find its markup characters.
void BM_BaselineScanRows(benchmark::State& state) {
  talmon_bench::Screen screen;
  for (auto _ : state) {
    size_t tokens = 0;
    for (int pass = 0; pass < 2; ++pass) {
      for (uint32_t r = 0;; ++r) {
        const char* text = nullptr;
        uint32_t length = 0;
        if (!screen.reader.GetRow(r, text, length)) break;
        for (const char* p = text; *p;) {
          p += std::strcspn(p, "\t()");
          if (*p) ++p;
          ++tokens;
        }
      }
    }
    benchmark::DoNotOptimize(tokens);
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * screen.bytes);
}
BENCHMARK(BM_BaselineScanRows);

void BM_Terminal(benchmark::State& state) {
  talmon_bench::Screen screen;
  TalMonTerminalOptions options;
  options.columns = 120;
  std::vector<std::string> lines;
  for (auto _ : state) {
    TalMonRenderTerminal(screen.reader, 0, 50, options, lines);
    benchmark::DoNotOptimize(lines.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * screen.bytes);
}
BENCHMARK(BM_Terminal);

// Baseline: copy each row into a line as it stands, markup and all.
void BM_BaselineCopyLines(benchmark::State& state) {
  talmon_bench::Screen screen;
  std::vector<std::string> lines;
  for (auto _ : state) {
    lines.clear();
    for (uint32_t r = 0; r < 50; ++r) {
      const char* text = nullptr;
      uint32_t length = 0;
      if (!screen.reader.GetRow(r, text, length)) break;
      lines.emplace_back(text, length);
    }
    benchmark::DoNotOptimize(lines.data());
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * screen.bytes);
}
BENCHMARK(BM_BaselineCopyLines);

}  // namespace

int main(int argc, char** argv) {
  return talmon_bench::RunWithGoals(
      argc, argv,
      {{"layout, 50 rows", "BM_LayoutNullDevice", "BM_BaselineScanRows", 0},
       {"terminal, 50 rows", "BM_Terminal", "BM_BaselineCopyLines", 0}});
}
