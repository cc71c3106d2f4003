// TalMonitorRowBatch: many consecutive rows of a reader read at once, for viewers that show
// or scan ranges of rows. A batch and the reader it reads are used by one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "talmon/export.h"
#include "talmon/monitor.h"

// Holds the text, length and stamp of rows [First(), First() + Size()) of a reader, as its
// GetRow and GetStamp give them row for row:
//   batch.Read(reader, 10, 50);  // rows 10 to 59, or fewer
//   for (uint32_t i = 0; i < batch.Size(); ++i) Show(batch.Text(i));
// A page reader is read with one read of its header, one of its records and one of its
// text for each block of rows (up to 8192 rows and 1 MiB of text); the page-order and
// time-merged readers read their pages the same way. Any other reader is read row by row.
class TALMON_EXPORT TalMonitorRowBatch {
 public:
  TalMonitorRowBatch();
  ~TalMonitorRowBatch();
  TalMonitorRowBatch(const TalMonitorRowBatch&) = delete;
  TalMonitorRowBatch& operator=(const TalMonitorRowBatch&) = delete;

  // Reads rows [first, first + count) of reader, up to the first row its GetRow would
  // refuse (past the count, a corrupt record, a failed read): the rows before it are kept.
  // Returns the number of rows read, which Size() tells too. A page reader's header is read
  // once per call, so all the rows come from one published state of the page. Never throws.
  uint32_t Read(IMonitorReader& reader, uint32_t first, uint32_t count);

  uint32_t First() const { return first_; }
  uint32_t Size() const { return static_cast<uint32_t>(rows_.size()); }
  // Row First() + i, for i below Size(). The text is zero-terminated, its line feed blanked
  // as GetRow blanks it, and holds at least Length(i) bytes before that zero. Valid until
  // the next Read of this batch or its destruction; GetRow calls of any reader leave it
  // alone.
  const char* Text(uint32_t i) const { return text_.data() + rows_[i].offset; }
  // The length GetRow reports (a page row counts its blanked line feed).
  uint32_t Length(uint32_t i) const { return rows_[i].length; }
  // The row's stamp; 0 for a reader whose rows carry none.
  uint32_t Stamp(uint32_t i) const { return rows_[i].stamp; }

 private:
  friend class TalMonitorRowBatchAccess;
  struct Entry {
    size_t offset;
    uint32_t length;
    uint32_t stamp;
  };

  std::vector<char> text_;  // every row's bytes and its terminating zero, end to end
  std::vector<Entry> rows_;
  uint32_t first_;
};
