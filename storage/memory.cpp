// The memory monitor: rows in a vector of strings.
#include "storage/memory.h"

TalMonitorMemory::~TalMonitorMemory() = default;

bool TalMonitorMemory::GetCount(uint32_t& count) {
  count = static_cast<uint32_t>(rows_.size());
  return true;
}

bool TalMonitorMemory::GetRow(uint32_t row, const char*& text, uint32_t& length) {
  if (row >= rows_.size()) return false;
  text = rows_[row].c_str();
  length = 0;
  return true;
}

bool TalMonitorMemory::Delete() {
  rows_.clear();
  return true;
}

bool TalMonitorMemory::Write(const char* text) {
  if (text == nullptr) return true;
  if (rows_.empty()) rows_.emplace_back();
  for (; *text != 0; ++text) {
    if (*text == '\n') {
      rows_.emplace_back();
    } else {
      rows_.back() += *text;
    }
  }
  return true;
}

bool TalMonitorMemory::Flush() {
  return true;
}
bool TalMonitorMemory::Commit() {
  return true;
}
bool TalMonitorMemory::PushTab() {
  return true;
}
bool TalMonitorMemory::PopTab() {
  return true;
}
bool TalMonitorMemory::OpenTag(const char* /*name*/) {
  return true;
}
bool TalMonitorMemory::CloseTag() {
  return true;
}
bool TalMonitorMemory::Save() {
  return true;
}
bool TalMonitorMemory::Restore() {
  return true;
}
bool TalMonitorMemory::PushName(const char* /*name*/) {
  return true;
}
bool TalMonitorMemory::PopName() {
  return true;
}
const char* TalMonitorMemory::GetTopName() {
  return nullptr;
}
bool TalMonitorMemory::GetLastChar(char& /*out*/) {
  return false;
}
