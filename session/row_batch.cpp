// The batch read: rows of a page located with one read of its records and fetched with one
// read of its text; page-order and time-merged readers split a range into runs of their
// pages; any other reader goes row by row.
#include "talmon/row_batch.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "core/file.h"
#include "core/little_endian.h"
#include "storage/page.h"
#include "talmon/readers.h"

namespace {

// The largest text read of one block of rows; a longer row is read by GetRow itself, which
// grows its buffer only as the bytes arrive.
constexpr uint32_t kTextBlock = 1u << 20;
constexpr uint32_t kIndexRecord = 8;

}  // namespace

// Reads into a batch; a friend of the batch and of the multi-page readers.
class TalMonitorRowBatchAccess {
 public:
  static uint32_t Append(TalMonitorRowBatch& batch, IMonitorReader& reader, uint32_t first,
                         uint32_t count) {
    if (auto* page = dynamic_cast<TalMonitorBase*>(&reader)) {
      return AppendPage(batch, *page, first, count);
    }
    if (auto* pages = dynamic_cast<TalMonitorReaderPageOrder*>(&reader)) {
      return AppendPageOrder(batch, *pages, first, count);
    }
    if (auto* merged = dynamic_cast<TalMonitorReaderTime*>(&reader)) {
      return AppendMerged(batch, *merged, first, count);
    }
    return AppendEach(batch, reader, first, count);
  }

 private:
  // Adds a row of size bytes (a zero follows them) with GetRow's length.
  static void Add(TalMonitorRowBatch& batch, const char* bytes, size_t size, uint32_t length,
                  uint32_t stamp) {
    const size_t offset = batch.text_.size();
    batch.text_.insert(batch.text_.end(), bytes, bytes + size);
    batch.text_.push_back('\0');
    batch.rows_.push_back({offset, length, stamp});
  }

  // Adds got bytes read from a page as GetRow gives them: an empty text when nothing came
  // or the first byte is zero; else the bytes with a trailing line feed blanked.
  static void AddPageRow(TalMonitorRowBatch& batch, const char* bytes, uint32_t got,
                         uint32_t stamp) {
    if (got == 0 || bytes[0] == '\0') {
      Add(batch, "", 0, 0, stamp);
      return;
    }
    Add(batch, bytes, got, got, stamp);
    if (bytes[got - 1] == '\n') batch.text_[batch.text_.size() - 2] = '\0';
  }

  // Adds a row as a reader's GetRow handed it out.
  static void AddCopy(TalMonitorRowBatch& batch, const char* text, uint32_t length,
                      uint32_t stamp) {
    Add(batch, text, std::max<size_t>(length, std::strlen(text)), length, stamp);
  }

  static uint32_t AppendEach(TalMonitorRowBatch& batch, IMonitorReader& reader, uint32_t first,
                             uint32_t count) {
    uint32_t done = 0;
    for (; done < count && first + done >= first; ++done) {
      const char* text = nullptr;
      uint32_t length = 0;
      if (!reader.GetRow(first + done, text, length) || text == nullptr) break;
      uint32_t stamp = 0;
      if (!reader.GetStamp(first + done, stamp)) stamp = 0;
      AddCopy(batch, text, length, stamp);
    }
    return done;
  }

  static uint32_t AppendPage(TalMonitorRowBatch& batch, TalMonitorBase& page, uint32_t first,
                             uint32_t count) {
    std::vector<TalMonitorBase::RowSpan> spans;
    page.LocateRows(first, count, true, spans);
    std::vector<char> staging;
    size_t i = 0;
    while (i < spans.size()) {
      if (spans[i].length > kTextBlock) {
        const char* text = nullptr;
        uint32_t length = 0;
        if (!page.GetRow(first + static_cast<uint32_t>(i), text, length)) break;
        AddCopy(batch, text, length, spans[i].stamp);
        ++i;
        continue;
      }
      // The run of rows that follow each other in the text file and fit one read.
      const uint64_t start = spans[i].textOffset;
      uint64_t end = start;
      size_t j = i;
      while (j < spans.size() && spans[j].textOffset == end &&
             end + spans[j].length - start <= kTextBlock) {
        end += spans[j].length;
        ++j;
      }
      staging.resize(end - start);
      uint32_t got = 0;
      if (!page.ReadText(start, staging.data(), static_cast<uint32_t>(end - start), got)) break;
      for (; i < j; ++i) {
        const uint64_t at = spans[i].textOffset - start;
        const uint32_t have =
            got > at ? std::min<uint32_t>(got - static_cast<uint32_t>(at), spans[i].length) : 0;
        AddPageRow(batch, staging.data() + at, have, spans[i].stamp);
      }
    }
    return static_cast<uint32_t>(i);
  }

  static uint32_t AppendPageOrder(TalMonitorRowBatch& batch, TalMonitorReaderPageOrder& reader,
                                  uint32_t first, uint32_t count) {
    uint32_t done = 0;
    while (done < count && first + done >= first) {
      size_t page = 0;
      uint32_t local = 0;
      if (!reader.MapRow(first + done, page, local)) break;
      if (reader.HasSeparator(page) && local == 0) {
        if (AppendEach(batch, reader, first + done, 1) == 0) break;
        ++done;
        continue;
      }
      if (reader.HasSeparator(page)) --local;
      const uint32_t want = std::min(count - done, reader.counts_[page] - local);
      const uint32_t got = Append(batch, *reader.readers_[page], local, want);
      done += got;
      if (got < want) break;
    }
    return done;
  }

  // Reads the merge records of one block and each page's rows for them with one batch per
  // page; rows of a page stand in the index in rising order, so each page's share of the
  // block is one run of its rows.
  static uint32_t AppendMerged(TalMonitorRowBatch& batch, TalMonitorReaderTime& reader,
                               uint32_t first, uint32_t count) {
    if (!KorinIsOpen(reader.index_)) return 0;
    const size_t pages = reader.readers_.size();
    std::vector<std::unique_ptr<TalMonitorRowBatch>> runs(pages);
    std::vector<unsigned char> records;
    uint32_t done = 0;
    while (done < count && first + done >= first) {
      const uint32_t n = std::min(count - done, TalMonitorBase::kRecordBlock);
      records.resize(size_t{n} * kIndexRecord);
      uint32_t got = 0;
      if (!Korin_ReadFileAt(reader.index_, (uint64_t{first} + done) * kIndexRecord, records.data(),
                            n * kIndexRecord, &got)) {
        break;
      }
      const uint32_t have = got / kIndexRecord;
      const uint32_t added = AppendMergedBlock(batch, reader, records.data(), have, runs);
      done += added;
      if (added < n) break;
    }
    return done;
  }

  static uint32_t AppendMergedBlock(TalMonitorRowBatch& batch, TalMonitorReaderTime& reader,
                                    const unsigned char* records, uint32_t n,
                                    std::vector<std::unique_ptr<TalMonitorRowBatch>>& runs) {
    const size_t pages = reader.readers_.size();
    std::vector<uint32_t> low(pages, 0xFFFFFFFFu), high(pages, 0);
    uint32_t valid = 0;
    for (; valid < n; ++valid) {
      const uint32_t page = Korin::GetU32(records + valid * kIndexRecord);
      const uint32_t row = Korin::GetU32(records + valid * kIndexRecord + 4);
      if (page >= pages) break;  // never written by the merge; GetRow would throw
      low[page] = std::min(low[page], row);
      high[page] = std::max(high[page], row);
    }
    for (size_t p = 0; p < pages; ++p) {
      if (low[p] > high[p]) continue;
      if (!runs[p]) runs[p] = std::make_unique<TalMonitorRowBatch>();
      runs[p]->Read(*reader.readers_[p], low[p], high[p] - low[p] + 1);
    }
    for (uint32_t k = 0; k < valid; ++k) {
      const uint32_t page = Korin::GetU32(records + k * kIndexRecord);
      const uint32_t at = Korin::GetU32(records + k * kIndexRecord + 4) - low[page];
      const TalMonitorRowBatch& run = *runs[page];
      if (at >= run.Size()) return k;
      const size_t end = at + 1 < run.Size() ? run.rows_[at + 1].offset : run.text_.size();
      const TalMonitorRowBatch::Entry& e = run.rows_[at];
      Add(batch, run.text_.data() + e.offset, end - e.offset - 1, e.length, e.stamp);
    }
    return valid;
  }
};

TalMonitorRowBatch::TalMonitorRowBatch() : first_(0) {}

TalMonitorRowBatch::~TalMonitorRowBatch() = default;

uint32_t TalMonitorRowBatch::Read(IMonitorReader& reader, uint32_t first, uint32_t count) {
  text_.clear();
  rows_.clear();
  first_ = first;
  try {
    TalMonitorRowBatchAccess::Append(*this, reader, first, count);
  } catch (...) {
    // What was read before the failure stays; the rest is as if the reader refused it.
  }
  return Size();
}
