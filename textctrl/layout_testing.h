// Test support: a reader over rows held in a vector and a paint of those rows on the
// recording device. Header-only; used by this module's tests.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "talmon/scrollbar.h"
#include "talmon/textctrl.h"
#include "textctrl/recording_device.h"

namespace talmon_test {

class VectorReader : public IMonitorReader {
 public:
  explicit VectorReader(std::vector<std::string> rows) : rows_(std::move(rows)) {}
  bool GetCount(uint32_t& count) override {
    count = static_cast<uint32_t>(rows_.size());
    return true;
  }
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override {
    if (row >= rows_.size()) return false;
    text = rows_[row].c_str();
    length = static_cast<uint32_t>(rows_[row].size());
    return true;
  }

 private:
  std::vector<std::string> rows_;
};

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
