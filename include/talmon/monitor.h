// The monitor interfaces: everything that produces monitor text talks to an IMonitorWriter,
// everything that shows it to an IMonitorReader. A monitor object is used by one thread at
// a time; objects are destroyed through the interface they were handed out as.
#pragma once

#include <cstdint>

#include "talmon/export.h"

// A writer appends markup text (see doc/markup.md) and breaks it into rows at line feeds.
// Every operation returns true when done; none throws for a run-time condition.
class TALMON_EXPORT IMonitorWriter {
 public:
  // A page file writer cuts its files to their lengths and closes them here.
  virtual ~IMonitorWriter();
  // Closes the monitor and removes what it stored; true when all of it was removed.
  virtual bool Delete() = 0;
  // Appends text; each line feed ends the current row. A null text is a no-op (true).
  virtual bool Write(const char* text) = 0;
  // Makes the rows written so far visible to readers in other objects and processes.
  virtual bool Flush() = 0;
  // Marks every state saved by Save as permanent: a later Restore pops without rollback.
  virtual bool Commit() = 0;
  // Pushes a tab marker on the open-tag stack; a tab is written at each later row start.
  virtual bool PushTab() = 0;
  // Removes the top of the open-tag stack without output. Empty stack: invalid_argument.
  virtual bool PopTab() = 0;
  // Writes "(name " and pushes name on the open-tag stack.
  virtual bool OpenTag(const char* name) = 0;
  // Pops the open-tag stack and writes ")". Empty stack: std::invalid_argument.
  virtual bool CloseTag() = 0;
  // Pushes the write state: the start of temporary text.
  virtual bool Save() = 0;
  // Pops the last saved state; unless committed, what was written since is dropped.
  // False when nothing is saved.
  virtual bool Restore() = 0;
  // Pushes a copy of name on the name stack.
  virtual bool PushName(const char* name) = 0;
  // Removes the top of the name stack. Empty stack: std::invalid_argument.
  virtual bool PopName() = 0;
  // The characters of the top of the name stack; valid until the next PopName.
  virtual const char* GetTopName() = 0;
  // Stores the last character written as text (0 before any); markup of OpenTag and
  // CloseTag never counts.
  virtual bool GetLastChar(char& out) = 0;
};

// A reader presents numbered rows of markup, counted from 0, each with a stamp.
class TALMON_EXPORT IMonitorReader {
 public:
  virtual ~IMonitorReader();
  // Looks again for what changed behind the reader (new pages of a multi reader).
  // Default: false.
  virtual bool Update();
  // Stores the number of rows; re-reads the source, so a live writer's flushed rows appear.
  virtual bool GetCount(uint32_t& count) = 0;
  // Stores the stamp of row; false out of range. Default: false.
  virtual bool GetStamp(uint32_t row, uint32_t& stamp);
  // Stores the zero-terminated text of row and its length; false out of range. A page
  // reader's pointer is valid until the next GetRow of any page reader on the same thread.
  // Default: false.
  virtual bool GetRow(uint32_t row, const char*& text, uint32_t& length);
};

// A reader over several pages, to which pages are added one by one.
class TALMON_EXPORT IMonitorReaderMulti : public IMonitorReader {
 public:
  // Appends reader as the next page; ownership passes. Default: false (reader untouched).
  virtual bool AddReader(IMonitorReader* reader);
};

// Stands in where there is no monitor: accepts everything, stores nothing.
class TALMON_EXPORT MonitorWriterNull : public IMonitorWriter {
 public:
  MonitorWriterNull() = default;
  ~MonitorWriterNull() override;
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
  // Always null.
  const char* GetTopName() override;
  // Always false; out is left untouched.
  bool GetLastChar(char& out) override;

  // The process-wide instance, made at library start.
  static MonitorWriterNull& Instance();
};

// A reader of no rows.
class TALMON_EXPORT MonitorReaderNull : public IMonitorReader {
 public:
  MonitorReaderNull() = default;
  ~MonitorReaderNull() override;
  bool Update() override;                                                   // true
  bool GetCount(uint32_t& count) override;                                  // 0, true
  bool GetStamp(uint32_t row, uint32_t& stamp) override;                    // false
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;  // false

  // The process-wide instance, made at library start.
  static MonitorReaderNull& Instance();
};
