// Test support: a paint of rows held in a vector on the recording device. Header-only; used
// by this module's tests.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "talmon/textctrl.h"
#include "textctrl/recording_device.h"
#include "textctrl/vector_reader.h"

namespace talmon_test {

struct RecordedPaint {
  TalMonRecordingDevice device;
  TalMonPaintOutput output;
};

// Paints rows into a client area of width x height: rows start at x = 5, y = 5 and end at
// width - 5. With keepCalls false the device only counts its calls.
inline RecordedPaint PaintRows(const std::vector<std::string>& rows, TalMonPaintInput input = {},
                               int32_t width = 400, int32_t height = 200, bool keepCalls = true) {
  RecordedPaint paint;
  paint.device.keepCalls = keepCalls;
  VectorReader reader(rows);
  input.reader = &reader;
  input.client = {0, 0, width, height};
  EXPECT_TRUE(TalMonTextLayout().Draw(paint.device, input, paint.output));
  return paint;
}

}  // namespace talmon_test
