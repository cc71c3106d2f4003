// TalMonitorBase: the page, the one place where monitor rows are stored, over a text file
// and a row file (format: doc/page_format.md). One process writes a page; any number of
// reader objects, in this and other processes, read it while it grows. Writer and reader
// are always separate objects. Pages and the process-wide row counter are used from one
// thread at a time; readers of different threads have row buffers of their own. Internal to
// libtalmon.
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
  // A page owns its file handles.
  TalMonitorBase(const TalMonitorBase&) = delete;
  TalMonitorBase& operator=(const TalMonitorBase&) = delete;

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
  // fails when the text file cannot be opened, and looks for missing files again on its
  // next GetCount or GetRow.
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

  // True while every piece of text, every row record and every header written so far has
  // reached the files. After the first failure (a full disk, a lost handle) the writer goes
  // on answering true to Write and Flush but publishes nothing more, so readers keep a
  // consistent page: no row is ever shown without both its text and its record.
  bool CheckWrites() const { return !failed_; }

  // IMonitorReader
  bool GetCount(uint32_t& count) override;
  bool GetStamp(uint32_t row, uint32_t& stamp) override;
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;

  // What the header in the row file rowPath publishes, read with one open: the number of
  // rows and the bytes of text. False (both 0) when the file cannot be opened or holds no
  // whole header.
  static bool ReadPublished(const char* rowPath, uint32_t& rows, uint32_t& textBytes);

  // Where one row's text lies, located by the rules of GetRow: textOffset and the number
  // of bytes GetRow asks for there (a read stops early at the end of the text file).
  struct RowSpan {
    uint32_t textOffset = 0;
    uint32_t length = 0;
    uint32_t stamp = 0;
  };
  // Locates rows [first, first + count) with one read of their records and the record
  // after them, appending a span per row to spans, up to the first row GetRow would refuse.
  // refresh: reads the header first, as GetRow does; else answers from the header last
  // read, as GetStamp does. Returns the number of spans appended. Records are read in
  // blocks of kRecordBlock rows, so count may be anything.
  uint32_t LocateRows(uint32_t first, uint32_t count, bool refresh, std::vector<RowSpan>& spans);
  // LocateRows for the stamps alone.
  uint32_t LocateStamps(uint32_t first, uint32_t count, bool refresh,
                        std::vector<uint32_t>& stamps);
  // Reads up to size bytes of the text file at offset into out, opening a missing text file
  // first; *done receives the count. False when the file cannot be opened or read.
  bool ReadText(uint64_t offset, char* out, uint32_t size, uint32_t& done);

  static constexpr uint32_t kRecordBlock = 8192;  // rows located per read of the records
  static constexpr uint32_t kHeaderSize = 12;     // bytes of the page header
  static constexpr uint32_t kRecordSize = 8;      // bytes of one row record
  static constexpr uint32_t kSaveDepth = 50;      // states Save can hold
  // The most bytes one row may cost a reader, in memory and in reading: a longer row, or
  // one whose record points outside the text, answers false whatever the files claim.
  static constexpr uint32_t kMaxRowBytes = 16u << 20;
  // The entry PushTab puts on the open-tag stack.
  static constexpr const char* kTabMarker = "\t";

 private:
  // One row record of the row file: where the row's text begins and its stamp.
  struct RowRecord {
    uint32_t textOffset = 0;
    uint32_t stamp = 0;
  };
  // The page header as the writer keeps it and Flush publishes it (reserved bytes aside).
  struct PageHeader {
    uint32_t textLength = 0;
    uint32_t rowLength = kHeaderSize;
    char lastChar = 0;
    bool lineStart = true;
  };
  // A write state pushed by Save.
  struct SavedState {
    uint32_t textLength = 0;
    uint32_t rowLength = 0;
    char lastChar = 0;
    bool lineStart = false;
    bool committed = false;
  };

  void CloseHandles();
  // Reads the published header from the row file (a reader opens a missing row file
  // first); keeps the header it has when that fails.
  void ReadHeader();
  // Finds row's record and the span of its text; opens the row file when it is missing.
  bool LocateRow(uint32_t row, RowSpan& span);
  // The span of the row whose record is at pos in the row file, from the got bytes read
  // there (its record and, when got reaches 16, the next). False where GetRow refuses it.
  bool SpanOf(uint64_t pos, const unsigned char* bytes, uint32_t got, RowSpan& span) const;
  // LocateRows, handing each span to emit.
  template <typename Emit>
  uint32_t LocateEach(uint32_t first, uint32_t count, bool refresh, Emit emit);
  bool AppendRecord();
  // Starts a new row at the current text length with the next stamp.
  void BeginRow();
  void RepeatOpenTags();
  // Writes count bytes at the text position; see doc/page_format.md for what counts.
  void WritePiece(const char* bytes, uint32_t count);
  // Writes one markup character of a restated tag; it counts but is never the last char.
  void WriteMarkupChar(char c);
  void PutOut(const char* bytes, uint32_t count);
  // Write's text and the records of the rows it begins, laid out in outText_ and
  // outRecords_ as the piece-by-piece writes would put them: h and rows end as Write would
  // leave the header and the number of rows begun, when every write succeeds.
  void LayOut(const char* text, PageHeader& h, uint32_t& rows);
  // Write with one write of the text and one of the records. False, with nothing changed,
  // when the text cannot be written whole: Write then goes piece by piece.
  bool WriteAtOnce(const char* text);

  bool writer_ = false;
  char textPath_[Korin::kMaxPath] = {};
  char rowPath_[Korin::kMaxPath] = {};
  bool deleteOnClose_ = true;
  KorinHandle textFile_ = nullptr;
  KorinHandle rowFile_ = nullptr;
  const char* lastRow_ = nullptr;
  RowRecord record_;
  PageHeader header_;
  std::vector<std::string> openTags_;
  SavedState saves_[kSaveDepth];
  uint32_t saveCount_ = 0;
  std::vector<std::string> names_;
  std::vector<unsigned char> records_;  // LocateRows' read of the records, kept for reuse
  std::vector<char> outText_;           // WriteAtOnce's text and records, kept for reuse
  std::vector<unsigned char> outRecords_;
  // Where the next piece of text goes: the text length when a Write begins, then past
  // every byte written, counted or not.
  uint64_t textPos_ = 0;
  bool failed_ = false;  // a write fell short; Flush publishes nothing from then on
};
