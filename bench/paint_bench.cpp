// One full paint of the Qt text control's screen (50 rows of mixed markup, measuring and
// drawing pass) into a QImage through the Qt device, beside the same layout on the recording
// device in the same run; and the whole control rendered into a QImage, the way a repaint
// reaches the screen. Runs on the offscreen platform.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <cstdlib>

#include "bench/screen.h"
#include "talmon/text_ctrl.h"
#include "textctrl/qt/qt_device.h"
#include "textctrl/recording_device.h"

namespace {

// Baseline: the same two passes on the recording device (fixed metrics, every call logged).
void BM_PaintRecording(benchmark::State& state) {
  talmon_bench::Screen screen;
  TalMonRecordingDevice device;
  TalMonTextLayout layout;
  const TalMonPaintInput input = screen.Input();
  for (auto _ : state) {
    device.Clear();
    TalMonPaintOutput output;
    layout.Draw(device, input, output);
    benchmark::DoNotOptimize(output.contentWidth);
  }
}
BENCHMARK(BM_PaintRecording);

void BM_PaintQtDevice(benchmark::State& state) {
  talmon_bench::Screen screen;
  const TalMonPaintInput input = screen.Input();
  QImage image(input.client.right, input.client.bottom, QImage::Format_ARGB32_Premultiplied);
  QWidget widget;
  TalMonQtResources resources(widget.font());
  TalMonTextLayout layout;
  for (auto _ : state) {
    QPainter painter(&image);
    TalMonQtDevice device(painter, widget.palette(), resources, image.rect());
    TalMonPaintOutput output;
    layout.Draw(device, input, output);
    benchmark::DoNotOptimize(output.contentWidth);
  }
}
BENCHMARK(BM_PaintQtDevice)->Unit(benchmark::kMicrosecond);

// The control itself: its paint event, as a repaint runs it, rendered into an image.
void BM_RenderTextCtrl(benchmark::State& state) {
  talmon_bench::Screen screen;
  const TalMonPaintInput input = screen.Input();
  TalMonTextCtrl ctrl;
  ctrl.resize(input.client.right, input.client.bottom);
  ctrl.SetMonitor(&screen.reader);
  QImage image(ctrl.size(), QImage::Format_ARGB32_Premultiplied);
  for (auto _ : state) {
    ctrl.viewport()->render(&image);
    benchmark::DoNotOptimize(image.bits());
  }
}
BENCHMARK(BM_RenderTextCtrl)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
