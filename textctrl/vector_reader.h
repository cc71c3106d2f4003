// Test support: a reader over rows held in a vector, for the tests of the text control and
// the message box and the layout benchmarks; rows may be added while a control shows them.
// Header-only; one thread.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "talmon/monitor.h"

namespace talmon_test {

class VectorReader : public IMonitorReader {
 public:
  explicit VectorReader(std::vector<std::string> rows = {}) : rows_(std::move(rows)) {}
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
  // The rows, to change between reads.
  std::vector<std::string>& rows() { return rows_; }

 private:
  std::vector<std::string> rows_;
};

}  // namespace talmon_test
