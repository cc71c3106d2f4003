// TalMonitorBase: the page, the one place where monitor rows are stored, over a text file
// and a row file (format: doc/page_format.md). One process writes a page; any number of
// reader objects, in this and other processes, read it while it grows. Writer and reader
// are always separate objects. Pages, the process-wide row counter and the process-wide
// row buffer are used from one thread at a time. Internal to libtalmon.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/file.h"
#include "core/path.h"
#include "talmon/monitor.h"

class TalMonitorBase : public IMonitorWriter, public IMonitorReader {
 public:
  TalMonitorBase();
  // A writer cuts both files to their lengths, then closes them (a delete-on-close page
  // then vanishes). The header is not written: what was not flushed stays invisible.
  ~TalMonitorBase() override;

  // Sets both file paths from the page path p, its extension replaced by "TXT" and "ROW".
  // Always true.
  bool SetPageName(const char* p);
  // Sets both file paths as they stand (a facade's reader on its writer's files).
  void SetFilePaths(const char* textPath, const char* rowPath);
  const char* GetTextPath() const { return textPath_; }
  const char* GetRowPath() const { return rowPath_; }
  void SetWriter(bool writer) { writer_ = writer; }
  bool IsWriter() const { return writer_; }
  // True (the default): the page's files are temporary and vanish when the writer closes.
  void SetDeleteOnClose(bool deleteOnClose) { deleteOnClose_ = deleteOnClose; }
  // Opens the files for writing (created anew) or reading. A writer fails when the text
  // file cannot be made (a live writer holds the page: its files stay untouched); a reader
  // fails when the text file cannot be opened, and tries again on its next GetRow.
  bool Open();

  // IMonitorWriter
  bool Delete() override;
  bool Write(const char* text) override;
  bool Flush() override;
  bool Commit() override;
  bool PushTab() override;
  bool PopTab() override;
  bool OpenTag(const char* name) override;
  bool CloseTag() override;
  bool Save() override;  // false once 50 states are saved
  bool Restore() override;
  bool PushName(const char* name) override;
  bool PopName() override;
  const char* GetTopName() override;
  bool GetLastChar(char& out) override;

  // IMonitorReader
  bool GetCount(uint32_t& count) override;
  bool GetStamp(uint32_t row, uint32_t& stamp) override;
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;

 private:
  // (the storage module fills in its private members)
};
