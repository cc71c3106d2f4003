// Test support: a reader of rows with given stamps and no files behind them, as pages of
// other processes have (their stamps come from another counter) or as a user's own reader
// gives them. Used by the session module's tests.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "talmon/monitor.h"

namespace talmon_test {

// Row i reads name + i and carries the stamp stamps[i]. Twin readers may share the stamps,
// which a test changes under them as a writer would.
struct StampedPage : IMonitorReader {
  StampedPage(std::string n, std::vector<uint32_t> s)
      : name(std::move(n)), stamps(std::make_shared<std::vector<uint32_t>>(std::move(s))) {}
  StampedPage(std::string n, std::shared_ptr<std::vector<uint32_t>> s)
      : name(std::move(n)), stamps(std::move(s)) {}
  bool GetCount(uint32_t& count) override {
    count = static_cast<uint32_t>(stamps->size());
    return true;
  }
  bool GetStamp(uint32_t row, uint32_t& stamp) override {
    if (row >= stamps->size()) return false;
    stamp = (*stamps)[row];
    return true;
  }
  bool GetRow(uint32_t row, const char*& out, uint32_t& length) override {
    if (row >= stamps->size()) return false;
    text = name + std::to_string(row);
    out = text.c_str();
    length = static_cast<uint32_t>(text.size());
    return true;
  }
  std::string name, text;
  std::shared_ptr<std::vector<uint32_t>> stamps;
};

}  // namespace talmon_test
