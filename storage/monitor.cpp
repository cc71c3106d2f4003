// The interface defaults and the null monitors of include/talmon/monitor.h.
#include "talmon/monitor.h"

IMonitorWriter::~IMonitorWriter() = default;

IMonitorReader::~IMonitorReader() = default;
bool IMonitorReader::Update() {
  return false;
}
bool IMonitorReader::GetStamp(uint32_t /*row*/, uint32_t& /*stamp*/) {
  return false;
}
bool IMonitorReader::GetRow(uint32_t /*row*/, const char*& /*text*/, uint32_t& /*length*/) {
  return false;
}

bool IMonitorReaderMulti::AddReader(IMonitorReader* /*reader*/) {
  return false;
}

MonitorWriterNull::~MonitorWriterNull() = default;
bool MonitorWriterNull::Delete() {
  return true;
}
bool MonitorWriterNull::Write(const char* /*text*/) {
  return true;
}
bool MonitorWriterNull::Flush() {
  return true;
}
bool MonitorWriterNull::Commit() {
  return true;
}
bool MonitorWriterNull::PushTab() {
  return true;
}
bool MonitorWriterNull::PopTab() {
  return true;
}
bool MonitorWriterNull::OpenTag(const char* /*name*/) {
  return true;
}
bool MonitorWriterNull::CloseTag() {
  return true;
}
bool MonitorWriterNull::Save() {
  return true;
}
bool MonitorWriterNull::Restore() {
  return true;
}
bool MonitorWriterNull::PushName(const char* /*name*/) {
  return true;
}
bool MonitorWriterNull::PopName() {
  return true;
}
const char* MonitorWriterNull::GetTopName() {
  return nullptr;
}
bool MonitorWriterNull::GetLastChar(char& /*out*/) {
  return false;
}

MonitorReaderNull::~MonitorReaderNull() = default;
bool MonitorReaderNull::Update() {
  return true;
}
bool MonitorReaderNull::GetCount(uint32_t& count) {
  count = 0;
  return true;
}
bool MonitorReaderNull::GetStamp(uint32_t /*row*/, uint32_t& /*stamp*/) {
  return false;
}
bool MonitorReaderNull::GetRow(uint32_t /*row*/, const char*& /*text*/, uint32_t& /*length*/) {
  return false;
}

// The null instances are never destroyed: facades and the library's own statics may hand
// them out while other statics are torn down at exit, in any order.
MonitorWriterNull& MonitorWriterNull::Instance() {
  static MonitorWriterNull* const instance = new MonitorWriterNull();
  return *instance;
}

MonitorReaderNull& MonitorReaderNull::Instance() {
  static MonitorReaderNull* const instance = new MonitorReaderNull();
  return *instance;
}

namespace {
// Made at library start, before any producer code runs.
[[maybe_unused]] const bool kNullMonitorsMade =
    (MonitorWriterNull::Instance(), MonitorReaderNull::Instance(), true);
}  // namespace
