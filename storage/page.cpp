// The page file monitor: a text file and a row file, written through positioned writes and
// published by the page header (doc/page_format.md).
#include "storage/page.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "core/little_endian.h"

namespace {

// Flags of a page's files: random access, not content-indexed, normal; a temporary page
// adds delete-on-close and the temporary attribute.
constexpr uint32_t kPageFlags =
    kFileFlagRandomAccess | kFileAttributeNotContentIndexed | kFileAttributeNormal;
constexpr uint32_t kTemporaryPageFlags =
    kPageFlags | kFileFlagDeleteOnClose | kFileAttributeTemporary;
static_assert(kPageFlags == 0x10002080u, "page flags");
static_assert(kTemporaryPageFlags == 0x14002180u, "temporary page flags");

constexpr uint32_t kCreateAttempts = 2;
constexpr uint32_t kCreateRetryMs = 10;
// The first read of a row's text; longer rows grow the buffer as their bytes arrive, so a
// corrupt length never allocates more than the text file holds.
constexpr uint32_t kFirstRead = 64 * 1024;

// Stamps come from one counter for every page of the process, so that rows of different
// pages of one producer can be merged in the order they were written.
uint32_t gRowCounter = 1;
const uint32_t gRowBase = 0;

// Every page reader of a thread reads row text into that thread's buffer, so a viewer may
// scan pages on a worker while its UI thread paints. The first thread to read keeps a buffer
// that is never destroyed: a reader may still be used while statics are torn down at exit.
// Any other thread's buffer goes when the thread ends.
std::vector<char>& RowBuffer() {
  static std::vector<char>* const first = new std::vector<char>(kFirstRead + 1);
  static const std::thread::id firstThread = std::this_thread::get_id();
  if (std::this_thread::get_id() == firstThread) return *first;
  thread_local std::vector<char> own(kFirstRead + 1);
  return own;
}

KorinHandle OpenForReading(const char* path) {
  KorinHandle h =
      Korin_CreateFile(path, kGenericRead, kFileShareRead | kFileShareWrite | kFileShareDelete,
                       nullptr, kOpenExisting, kPageFlags, nullptr);
  return KorinIsOpen(h) ? h : nullptr;
}

// Creates path anew for writing. Access denied may pass in a moment, so it is tried once
// more after a short wait; when it is denied again the invalid handle is kept and the open
// counts as done: the producer keeps running and the page silently stores nothing. Any
// other failure, such as a live writer holding the page, gives a null handle.
KorinHandle CreateForWriting(const char* path, bool deleteOnClose) {
  char drive[Korin::kMaxDrive];
  char dir[Korin::kMaxDir];
  Korin::SplitPath(path, drive, dir, nullptr, nullptr);
  char folder[Korin::kMaxPath];
  if (Korin_makepath(folder, drive, dir, nullptr, nullptr) && folder[0] != 0) {
    Korin_CreateDirectory(folder);  // one level; an existing directory is fine
  }
  const uint32_t flags = deleteOnClose ? kTemporaryPageFlags : kPageFlags;
  KorinHandle h = nullptr;
  for (uint32_t attempt = 1; attempt <= kCreateAttempts; ++attempt) {
    h = Korin_CreateFile(path, kGenericWrite, kFileShareRead, nullptr, kCreateAlways, flags,
                         nullptr);
    if (KorinIsOpen(h)) break;
    if (Korin_GetLastError() != kErrorAccessDenied) return nullptr;
    if (attempt < kCreateAttempts) Korin_Sleep(kCreateRetryMs);
  }
  return h;
}

}  // namespace

using Korin::GetU32;
using Korin::PutU32;

TalMonitorBase::TalMonitorBase() = default;

TalMonitorBase::~TalMonitorBase() {
  if (writer_) {
    Korin_SetEndOfFileAt(textFile_, header_.textLength);
    Korin_SetEndOfFileAt(rowFile_, header_.rowLength);
  }
  CloseHandles();
}

void TalMonitorBase::CloseHandles() {
  if (textFile_ != nullptr) Korin_CloseHandle(textFile_);
  if (rowFile_ != nullptr) Korin_CloseHandle(rowFile_);
  textFile_ = nullptr;
  rowFile_ = nullptr;
}

bool TalMonitorBase::SetPageName(const char* p) {
  char drive[Korin::kMaxDrive];
  char dir[Korin::kMaxDir];
  char name[Korin::kMaxFName];
  Korin::SplitPath(p != nullptr ? p : "", drive, dir, name, nullptr);
  // A path that does not fit is left empty, and the open of "" fails.
  Korin_makepath(textPath_, drive, dir, name, "TXT");
  Korin_makepath(rowPath_, drive, dir, name, "ROW");
  return true;
}

void TalMonitorBase::SetFilePaths(const char* textPath, const char* rowPath) {
  auto copy = [](char* out, const char* in) {
    size_t n = in != nullptr ? strlen(in) : 0;
    if (n >= Korin::kMaxPath) n = 0;  // too long: no path rather than a different file
    if (n > 0) memcpy(out, in, n);
    out[n] = 0;
  };
  copy(textPath_, textPath);
  copy(rowPath_, rowPath);
}

bool TalMonitorBase::Open() {
  CloseHandles();
  if (!writer_) {
    textFile_ = OpenForReading(textPath_);
    rowFile_ = OpenForReading(rowPath_);
    return textFile_ != nullptr;
  }
  textFile_ = CreateForWriting(textPath_, deleteOnClose_);
  rowFile_ = CreateForWriting(rowPath_, deleteOnClose_);
  if (textFile_ == nullptr) return false;
  // A new page has one empty row from the start: record 0 at text offset 0.
  if (header_.textLength == 0) BeginRow();
  return true;
}

void TalMonitorBase::BeginRow() {
  record_.textOffset = header_.textLength;
  record_.stamp = gRowCounter - gRowBase;
  ++gRowCounter;
  AppendRecord();
}

bool TalMonitorBase::AppendRecord() {
  if (rowFile_ == nullptr) {
    failed_ = true;
    return false;
  }
  unsigned char bytes[kRecordSize];
  PutU32(bytes, record_.textOffset);
  PutU32(bytes + 4, record_.stamp);
  uint32_t done = 0;
  if (!Korin_WriteFileAt(rowFile_, header_.rowLength, bytes, kRecordSize, &done)) {
    failed_ = true;
    return false;
  }
  header_.rowLength += done;
  return true;
}

void TalMonitorBase::WritePiece(const char* bytes, uint32_t count) {
  if (count == 0 || bytes[0] == 0) return;
  uint32_t done = 0;
  const bool ok = Korin_WriteFileAt(textFile_, textPos_, bytes, count, &done);
  textPos_ += done;
  if (!ok || done != count) {
    failed_ = true;
    return;
  }
  // A trailing zero byte goes to the file but is not text: the next piece overwrites it.
  const uint32_t counted = bytes[count - 1] == 0 ? count - 1 : count;
  header_.textLength += counted;
  header_.lastChar = bytes[counted - 1];
  if (header_.lastChar == '\n') header_.lineStart = true;
}

void TalMonitorBase::WriteMarkupChar(char c) {
  uint32_t done = 0;
  if (!Korin_WriteFileAt(textFile_, textPos_, &c, 1, &done) || done != 1) {
    failed_ = true;
    return;
  }
  ++textPos_;
  ++header_.textLength;
}

void TalMonitorBase::RepeatOpenTags() {
  if (!header_.lineStart) return;
  header_.lineStart = false;
  const char last = header_.lastChar;
  for (const std::string& tag : openTags_) {
    if (tag == kTabMarker) {
      WritePiece(kTabMarker, 1);
    } else {
      WriteMarkupChar('(');
      WritePiece(tag.data(), static_cast<uint32_t>(tag.size()));
      WriteMarkupChar(' ');
    }
  }
  header_.lastChar = last;
}

void TalMonitorBase::PutOut(const char* bytes, uint32_t count) {
  RepeatOpenTags();
  WritePiece(bytes, count);
}

bool TalMonitorBase::Write(const char* text) {
  if (text == nullptr) return true;
  // The text file never begins with an empty row.
  if (header_.textLength == 0) {
    while (*text == '\n')
      ++text;
  }
  if (textFile_ == nullptr) return false;
  if (*text == 0) return true;
  if (WriteAtOnce(text)) return true;
  textPos_ = header_.textLength;
  const char* start = text;
  const char* scan = text;
  while (*scan != 0) {
    if (*scan != '\n') {
      ++scan;
      continue;
    }
    ++scan;
    PutOut(start, static_cast<uint32_t>(scan - start));
    BeginRow();
    start = scan;
    if (*scan == 0) break;
    // The byte after a line feed is never tested, so within one Write a second line feed
    // in a row does not end a row: it becomes the first character of the next one
    // ("a\n\nb" is two rows, "a" and "\nb"). Pages already written and the readers of
    // them rely on this row split; keep it.
    ++scan;
  }
  if (*start != 0) PutOut(start, static_cast<uint32_t>(strlen(start)));
  return true;
}

void TalMonitorBase::LayOut(const char* text, PageHeader& h, uint32_t& rows) {
  outText_.clear();
  outRecords_.clear();
  rows = 0;
  // WritePiece, WriteMarkupChar and RepeatOpenTags as they act on the lengths when every
  // write succeeds.
  auto piece = [&](const char* bytes, size_t count) {
    if (count == 0 || bytes[0] == 0) return;
    outText_.insert(outText_.end(), bytes, bytes + count);
    h.textLength += static_cast<uint32_t>(count);
    h.lastChar = bytes[count - 1];
    if (h.lastChar == '\n') h.lineStart = true;
  };
  auto putOut = [&](const char* bytes, size_t count) {
    if (h.lineStart) {
      h.lineStart = false;
      const char last = h.lastChar;
      for (const std::string& tag : openTags_) {
        if (tag == kTabMarker) {
          piece(kTabMarker, 1);
          continue;
        }
        outText_.push_back('(');
        piece(tag.data(), tag.size());
        outText_.push_back(' ');
        h.textLength += 2;
      }
      h.lastChar = last;
    }
    piece(bytes, count);
  };
  const char* start = text;
  const char* scan = text;
  while (*scan != 0) {
    const char* feed = strchr(scan, '\n');
    if (feed == nullptr) break;
    scan = feed + 1;
    putOut(start, static_cast<size_t>(scan - start));
    unsigned char record[kRecordSize];
    PutU32(record, h.textLength);
    PutU32(record + 4, gRowCounter + rows++ - gRowBase);
    outRecords_.insert(outRecords_.end(), record, record + kRecordSize);
    start = scan;
    if (*scan == 0) break;
    ++scan;  // never tested: see Write
  }
  if (*start != 0) putOut(start, strlen(start));
}

bool TalMonitorBase::WriteAtOnce(const char* text) {
  PageHeader h = header_;
  uint32_t rows = 0;
  LayOut(text, h, rows);
  uint32_t done = 0;
  if (!Korin_WriteFileAt(textFile_, header_.textLength, outText_.data(),
                         static_cast<uint32_t>(outText_.size()), &done) ||
      done != outText_.size()) {
    return false;  // written again piece by piece, each failure taken as it comes
  }
  const uint32_t rowLength = header_.rowLength;
  header_ = h;
  header_.rowLength = rowLength;
  if (rows == 0) return true;
  const size_t last = outRecords_.size() - kRecordSize;
  record_.textOffset = GetU32(&outRecords_[last]);
  record_.stamp = GetU32(&outRecords_[last + 4]);
  gRowCounter += rows;
  if (rowFile_ == nullptr) {
    failed_ = true;  // as AppendRecord finds it
    return true;
  }
  done = 0;
  Korin_WriteFileAt(rowFile_, header_.rowLength, outRecords_.data(),
                    static_cast<uint32_t>(outRecords_.size()), &done);
  const uint32_t whole = done / kRecordSize;
  header_.rowLength += whole * kRecordSize;
  // The records after a failed one are appended one by one, as BeginRow appends them.
  RowRecord kept = record_;
  for (uint32_t i = whole; i < rows; ++i) {
    record_.textOffset = GetU32(&outRecords_[size_t{i} * kRecordSize]);
    record_.stamp = GetU32(&outRecords_[size_t{i} * kRecordSize + 4]);
    AppendRecord();
  }
  record_ = kept;
  return true;
}

bool TalMonitorBase::Flush() {
  // After a failed write the lengths may count text without its record or a record without
  // its text; the last header that was whole stays the page's.
  if (failed_) return true;
  unsigned char bytes[kHeaderSize] = {};
  PutU32(bytes, header_.textLength);
  PutU32(bytes + 4, header_.rowLength);
  bytes[8] = static_cast<unsigned char>(header_.lastChar);
  bytes[9] = header_.lineStart ? 1 : 0;
  uint32_t done = 0;
  if (!Korin_WriteFileAt(rowFile_, 0, bytes, kHeaderSize, &done)) failed_ = true;
  return true;
}

bool TalMonitorBase::Commit() {
  for (uint32_t i = 0; i < saveCount_; ++i)
    saves_[i].committed = true;
  return true;
}

bool TalMonitorBase::PushTab() {
  openTags_.emplace_back(kTabMarker);
  return true;
}

bool TalMonitorBase::PopTab() {
  if (openTags_.empty()) throw std::invalid_argument("PopTab: open-tag stack is empty");
  openTags_.pop_back();
  return true;
}

bool TalMonitorBase::OpenTag(const char* name) {
  if (name == nullptr) return false;
  const char last = header_.lastChar;
  // "(name " in one Write, formatted on the stack for the names tags use.
  char small[64];
  const size_t length = strlen(name);
  std::string large;
  char* markup = small;
  if (length + 3 > sizeof small) {
    large.resize(length + 3);
    markup = &large[0];
  }
  markup[0] = '(';
  memcpy(markup + 1, name, length);
  markup[length + 1] = ' ';
  markup[length + 2] = '\0';
  Write(markup);
  header_.lastChar = last;
  openTags_.emplace_back(name);
  return true;
}

bool TalMonitorBase::CloseTag() {
  if (openTags_.empty()) throw std::invalid_argument("CloseTag: open-tag stack is empty");
  // Popped before the ")" is written: at a row start the tags still open below are
  // restated first, then the lone ")" follows, which the markup reader tolerates.
  openTags_.pop_back();
  const char last = header_.lastChar;
  Write(")");
  header_.lastChar = last;
  return true;
}

bool TalMonitorBase::Save() {
  if (saveCount_ == kSaveDepth) return false;
  SavedState& s = saves_[saveCount_++];
  s.textLength = header_.textLength;
  s.rowLength = header_.rowLength;
  s.lastChar = header_.lastChar;
  s.lineStart = header_.lineStart;
  s.committed = false;
  return true;
}

// Only the lengths go back: the dropped bytes stay in the files until later writes cover
// them or the destructor cuts the files, and readers never see them because of the header.
// The open-tag stack is not restored.
bool TalMonitorBase::Restore() {
  if (saveCount_ == 0) return false;
  const SavedState& s = saves_[--saveCount_];
  if (!s.committed) {
    header_.textLength = s.textLength;
    header_.rowLength = s.rowLength;
    header_.lastChar = s.lastChar;
    header_.lineStart = s.lineStart;
  }
  return true;
}

bool TalMonitorBase::PushName(const char* name) {
  if (name == nullptr) return false;
  names_.emplace_back(name);
  return true;
}

bool TalMonitorBase::PopName() {
  if (names_.empty()) throw std::invalid_argument("PopName: name stack is empty");
  names_.pop_back();
  return true;
}

const char* TalMonitorBase::GetTopName() {
  if (names_.empty()) throw std::invalid_argument("GetTopName: name stack is empty");
  return names_.back().c_str();
}

bool TalMonitorBase::GetLastChar(char& out) {
  out = header_.lastChar;
  return true;
}

bool TalMonitorBase::Delete() {
  CloseHandles();
  if (Korin_DeleteFile(textPath_) == 0) return false;
  return Korin_DeleteFile(rowPath_) != 0;
}

void TalMonitorBase::ReadHeader() {
  // A reader made before its page existed picks the page up as soon as it appears.
  if (rowFile_ == nullptr && !writer_) rowFile_ = OpenForReading(rowPath_);
  unsigned char bytes[kHeaderSize];
  uint32_t done = 0;
  // A short read (a page being created this moment) keeps the header already known.
  if (!Korin_ReadFileAt(rowFile_, 0, bytes, kHeaderSize, &done) || done != kHeaderSize) return;
  header_.textLength = GetU32(bytes);
  header_.rowLength = GetU32(bytes + 4);
  header_.lastChar = static_cast<char>(bytes[8]);
  header_.lineStart = bytes[9] != 0;
}

namespace {

// The rows a header's row length publishes: whole records after the header.
uint32_t RowsIn(uint32_t rowLength) {
  using Page = TalMonitorBase;
  return rowLength >= Page::kHeaderSize ? (rowLength - Page::kHeaderSize) / Page::kRecordSize : 0;
}

}  // namespace

bool TalMonitorBase::GetCount(uint32_t& count) {
  ReadHeader();
  count = RowsIn(header_.rowLength);
  return true;
}

bool TalMonitorBase::ReadPublished(const char* rowPath, uint32_t& rows, uint32_t& textBytes) {
  rows = 0;
  textBytes = 0;
  KorinHandle file = OpenForReading(rowPath);
  if (file == nullptr) return false;
  unsigned char bytes[kHeaderSize];
  uint32_t done = 0;
  const bool read = Korin_ReadFileAt(file, 0, bytes, kHeaderSize, &done) && done == kHeaderSize;
  Korin_CloseHandle(file);
  if (!read) return false;
  textBytes = GetU32(bytes);
  rows = RowsIn(GetU32(bytes + 4));
  return true;
}

bool TalMonitorBase::SpanOf(uint64_t pos, const unsigned char* bytes, uint32_t got,
                            RowSpan& span) const {
  if (got < kRecordSize) return false;
  span.textOffset = GetU32(bytes);
  span.stamp = GetU32(bytes + 4);
  // Until the writer closes, the text file may hold bytes past the header's text length
  // (unflushed text, or temporary text a Restore dropped): the last row never shows them.
  const uint32_t valid =
      header_.textLength > span.textOffset ? header_.textLength - span.textOffset : 0;
  if (got < 2 * kRecordSize) {
    // The last record in the file: the length is the whole text length, not less the
    // offset, cut to what is valid past the offset.
    span.length = std::min(header_.textLength, valid);
    return true;
  }
  const bool last = pos + kRecordSize == header_.rowLength;
  const uint32_t end = last ? header_.textLength : GetU32(bytes + kRecordSize);
  if (end < span.textOffset) return false;  // a corrupt page
  span.length = last ? std::min(end - span.textOffset, valid) : end - span.textOffset;
  return true;
}

bool TalMonitorBase::LocateRow(uint32_t row, RowSpan& span) {
  if (rowFile_ == nullptr) rowFile_ = OpenForReading(rowPath_);
  if (rowFile_ == nullptr) return false;
  const uint64_t pos = kHeaderSize + uint64_t{kRecordSize} * row;
  if (pos >= header_.rowLength) return false;
  unsigned char bytes[2 * kRecordSize];
  uint32_t done = 0;
  if (!Korin_ReadFileAt(rowFile_, pos, bytes, sizeof bytes, &done)) return false;
  return SpanOf(pos, bytes, done, span);
}

uint32_t TalMonitorBase::LocateRows(uint32_t first, uint32_t count, bool refresh,
                                    std::vector<RowSpan>& spans) {
  spans.reserve(spans.size() + std::min(count, kRecordBlock));
  return LocateEach(first, count, refresh,
                    [&spans](const RowSpan& span) { spans.push_back(span); });
}

uint32_t TalMonitorBase::LocateStamps(uint32_t first, uint32_t count, bool refresh,
                                      std::vector<uint32_t>& stamps) {
  stamps.reserve(stamps.size() + std::min(count, kRecordBlock));
  return LocateEach(first, count, refresh,
                    [&stamps](const RowSpan& span) { stamps.push_back(span.stamp); });
}

template <typename Emit>
uint32_t TalMonitorBase::LocateEach(uint32_t first, uint32_t count, bool refresh, Emit emit) {
  if (refresh) ReadHeader();
  if (rowFile_ == nullptr) rowFile_ = OpenForReading(rowPath_);
  if (rowFile_ == nullptr) return 0;
  uint32_t located = 0;
  while (located < count) {
    const uint64_t pos = kHeaderSize + uint64_t{kRecordSize} * (uint64_t{first} + located);
    if (pos >= header_.rowLength) break;
    // The rows whose records begin below the row length, as LocateRow counts them.
    const uint64_t rowsLeft = (header_.rowLength - pos + kRecordSize - 1) / kRecordSize;
    const uint32_t n =
        static_cast<uint32_t>(std::min<uint64_t>({count - located, kRecordBlock, rowsLeft}));
    // Each row's record and the one after it, as LocateRow reads them, in one read; the
    // header's last row needs the record after it only in one case (below), so the read
    // stops at the row length and meets no end of file.
    const bool toEnd = pos + uint64_t{n} * kRecordSize == header_.rowLength;
    records_.resize((size_t{n} + 1) * kRecordSize);
    const uint32_t want = (n + (toEnd ? 0 : 1)) * kRecordSize;
    uint32_t got = 0;
    if (!Korin_ReadFileAt(rowFile_, pos, records_.data(), want, &got)) break;
    uint32_t k = 0;
    for (RowSpan span; k < n; ++k) {
      const uint32_t at = k * kRecordSize;
      uint32_t have = got > at ? std::min(got - at, 2 * kRecordSize) : 0;
      // The last row with an offset past the text length: whether a record follows it
      // decides between a corrupt row and an empty one.
      if (toEnd && k + 1 == n && have == kRecordSize &&
          GetU32(records_.data() + at) > header_.textLength) {
        uint32_t next = 0;
        Korin_ReadFileAt(rowFile_, pos + at + kRecordSize, records_.data() + at + kRecordSize,
                         kRecordSize, &next);
        have += next;
      }
      if (!SpanOf(pos + at, records_.data() + at, have, span)) break;
      emit(span);
    }
    located += k;
    if (k < n) break;
  }
  return located;
}

bool TalMonitorBase::ReadText(uint64_t offset, char* out, uint32_t size, uint32_t& done) {
  done = 0;
  if (textFile_ == nullptr) textFile_ = OpenForReading(textPath_);
  return textFile_ != nullptr && Korin_ReadFileAt(textFile_, offset, out, size, &done);
}

bool TalMonitorBase::GetStamp(uint32_t row, uint32_t& stamp) {
  // Answers from the header of the last GetCount or GetRow, without reading it again.
  RowSpan span;
  if (!LocateRow(row, span)) return false;
  stamp = span.stamp;
  return true;
}

bool TalMonitorBase::GetRow(uint32_t row, const char*& text, uint32_t& length) {
  ReadHeader();
  RowSpan span;
  if (!LocateRow(row, span)) return false;
  if (textFile_ == nullptr) textFile_ = OpenForReading(textPath_);
  if (textFile_ == nullptr) return false;
  const uint32_t want = span.length;
  if (want > kMaxRowBytes) return false;
  std::vector<char>& buffer = RowBuffer();
  uint32_t got = 0;
  uint32_t step = std::min(want, kFirstRead);
  while (step > 0) {
    if (buffer.size() < size_t{got} + step + 1) buffer.resize(size_t{got} + step + 1);
    uint32_t done = 0;
    if (!Korin_ReadFileAt(textFile_, uint64_t{span.textOffset} + got, buffer.data() + got, step,
                          &done)) {
      return false;
    }
    got += done;
    if (done < step) break;  // the end of the text file
    step = std::min(want - got, std::max(got, kFirstRead));
  }
  char* bytes = buffer.data();
  lastRow_ = bytes;
  text = bytes;
  if (got == 0 || bytes[0] == 0) {
    bytes[0] = 0;
    length = 0;
    return true;
  }
  bytes[got] = 0;
  // The row's line feed is blanked but still counted in the length: callers that copy
  // length bytes copy the terminator too. Keep this.
  if (bytes[got - 1] == '\n') bytes[got - 1] = 0;
  length = got;
  return true;
}
