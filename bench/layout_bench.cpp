// Layout of one screen of monitor rows (50 rows of mixed markup, measuring and drawing pass),
// on the recording device and on a device that draws nothing, and the terminal rendering of
// the same screen; each beside a baseline that only reads every byte of the rows once
// (layout) or copies them into lines (terminal).

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "bench/ratio.h"
#include "talmon/terminal.h"
#include "talmon/textctrl.h"
#include "textctrl/recording_device.h"
#include "textctrl/vector_reader.h"

namespace {

// One screen: 50 rows of mixed markup behind a reader, and the bytes they hold.
struct Screen {
  Screen() : Screen(MixedRows()) {}
  explicit Screen(const std::vector<std::string>& rows) : reader(rows) {
    for (const std::string& row : rows)
      bytes += static_cast<int64_t>(row.size());
  }
  static std::vector<std::string> MixedRows() {
    const char* kinds[] = {
        "(title Build of the release)",
        "(bold Step 3 of 9:) compiling (typewriter core/file.cpp) with -O2",
        "(tab)name(tab)size(tab)time",
        "(tab)page.cpp(tab)48213(tab)00:00:03",
        "(tab)text_layout.cpp(tab)120877(tab)00:00:11",
        "(error (bold error:) cannot open (typewriter missing.h))",
        "see (link https://example.org/build/42)the log) for details",
        "(progress 37)(total 100)",
        "(separator)",
        "(flat a flat row with (column)two(column)columns)",
        "(icon dialog-information) 14 files copied (right 12:00:01)",
        "(raw 11 f(x) = (y))",
        "\t\t(pea)a nested item with (little small print)",
        "(field 42) (true) done (false) skipped",
        "plain text of a log row that goes on for a while, as log rows do",
    };
    std::vector<std::string> rows;
    for (int i = 0; i < 50; ++i)
      rows.push_back(kinds[i % (sizeof kinds / sizeof *kinds)]);
    return rows;
  }

  talmon_test::VectorReader reader;
  int64_t bytes = 0;
};

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

TalMonPaintInput PaintInput(Screen& screen) {
  TalMonPaintInput input;
  input.reader = &screen.reader;
  input.client = {0, 0, 900, 50 * 21 + 10};
  input.mouse = {100, 140};
  return input;
}

void BM_LayoutRecording(benchmark::State& state) {
  Screen screen;
  TalMonRecordingDevice device;
  TalMonTextLayout layout;
  TalMonPaintInput input = PaintInput(screen);
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
  Screen screen;
  NullDevice device;
  TalMonTextLayout layout;
  TalMonPaintInput input = PaintInput(screen);
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
  Screen screen;
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
  Screen screen;
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
  Screen screen;
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
