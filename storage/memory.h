// TalMonitorMemory: a monitor without files, its rows held in the object. Serves where a
// reader presents rows put together in the process itself (the session reader). Used by
// one thread at a time. Internal to libtalmon.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "talmon/monitor.h"

class TalMonitorMemory : public IMonitorReader, public IMonitorWriter {
 public:
  TalMonitorMemory() = default;
  ~TalMonitorMemory() override;

  // IMonitorReader; Update and GetStamp keep the interface defaults (false): rows carry
  // no stamp.
  bool GetCount(uint32_t& count) override;
  // The row's characters, valid until the monitor changes, with length always 0: callers
  // measure the zero-terminated text themselves.
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;

  // IMonitorWriter. Write breaks text into rows at line feeds, starting with one empty row
  // ("" gives one empty row; "a\nb" rows "a" and "b"). Delete removes every row. The
  // markup operations do nothing and return true; GetTopName is null; GetLastChar is false.
  bool Delete() override;
  bool Write(const char* text) override;
  bool Flush() override;
  bool Commit() override;
  bool PushTab() override;
  bool PopTab() override;
  bool OpenTag(const char* name) override;
  bool CloseTag() override;
  bool Save() override;
  bool Restore() override;
  bool PushName(const char* name) override;
  bool PopName() override;
  const char* GetTopName() override;
  bool GetLastChar(char& out) override;

 private:
  std::vector<std::string> rows_;
};
