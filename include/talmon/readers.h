// Readers that present several pages of a session as one IMonitorReader: in page order,
// merged by the order in which rows were written, and the one-row-per-session overview.
// Handed out by the open functions of talmon/session.h and destroyed with
// TalCloseMonitorReader. Each object is used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "talmon/export.h"
#include "talmon/korin_string.h"
#include "talmon/monitor.h"

struct KorinFile;
struct TalMonitorMergeState;
class TalMonitorMemory;

// The pages of one session, one after another, in the order of TalMonitorSelectPage.
// Knows nothing until its first Update; every Update reopens all pages and counts them.
class TALMON_EXPORT TalMonitorReaderPageOrder : public IMonitorReader {
 public:
  TalMonitorReaderPageOrder();
  // Closes the page readers.
  ~TalMonitorReaderPageOrder() override;
  TalMonitorReaderPageOrder(const TalMonitorReaderPageOrder&) = delete;
  TalMonitorReaderPageOrder& operator=(const TalMonitorReaderPageOrder&) = delete;

  // Set before Update. The session is taken as it stands (0 lists the prefix "0000").
  void SetSession(unsigned int session);
  void SetPattern(const char* pattern);  // default "*"
  // When set, every page after the first is preceded by one row "(separator)", which
  // carries the stamp of that page's first row. Off by default.
  void SetSeparator(bool separator);
  bool GetSeparator() const { return separator_; }

  // Lists and reopens the pages and counts their rows; true.
  bool Update() override;
  // The total of the last Update (not counted again).
  bool GetCount(uint32_t& count) override;
  bool GetStamp(uint32_t row, uint32_t& stamp) override;
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;
  // Stores which page row comes from: its index in the order of TalMonitorSelectPage (a
  // separator row belongs to the page it opens). False past the last row.
  bool GetRowPage(uint32_t row, uint32_t& page) const;

 private:
  friend class TalMonitorRowBatchAccess;
  // Finds the page of merged row; local is the row within that page's share, which with
  // the separator on begins with the separator row for every page but the first.
  bool MapRow(uint32_t row, size_t& page, uint32_t& local) const;
  bool HasSeparator(size_t page) const { return separator_ && page > 0; }
  void CloseReaders();

  uint32_t session_;
  Korin::String pattern_;
  std::vector<IMonitorReader*> readers_;
  std::vector<uint32_t> counts_;
  uint32_t total_;
  bool separator_;
};

// Pages merged in the order their rows were written (by stamp): rows of equal stamps, from
// pages of different processes, come in the order the pages were added. The merge is kept
// in a private index file of 8-byte records (page index, row), little-endian. Each Update
// gives the index a full merge of the pages would give, but merges again only from the
// first place where a page changed: new rows, rows a writer's Restore replaced, new pages.
class TALMON_EXPORT TalMonitorReaderTime : public IMonitorReaderMulti {
 public:
  TalMonitorReaderTime();
  // Closes the page readers and the index.
  ~TalMonitorReaderTime() override;
  TalMonitorReaderTime(const TalMonitorReaderTime&) = delete;
  TalMonitorReaderTime& operator=(const TalMonitorReaderTime&) = delete;

  // Names the index after path with the extension "IDX" ("/d/0003Time" => "/d/0003Time.IDX",
  // which GetIndexPath answers). The index itself is made beside it under a name private to
  // this reader ("/d/0003Time.4242.1.IDX") and unlinked at once, so that no file of it is
  // ever seen in the directory. False when the name does not fit in 259 bytes.
  bool SetPageName(const char* path);
  const char* GetIndexPath() const { return indexPath_; }

  // Appends reader as the next page, taking ownership; it joins at the next Update.
  // Null: false.
  bool AddReader(IMonitorReader* reader) override;
  // Merges the pages; false when the index cannot be made or written. A page whose next
  // stamp is already below the merge position (possible only across processes) is left
  // behind: its remaining rows are not merged.
  bool Update() override;
  // The sum of the pages' counts at the last Update, even when fewer rows were merged;
  // GetRow and GetStamp past the merged rows are false.
  bool GetCount(uint32_t& count) override;
  bool GetStamp(uint32_t row, uint32_t& stamp) override;
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;
  // Stores which page row comes from: its index in the order the pages were added. False
  // past the merged rows.
  bool GetRowPage(uint32_t row, uint32_t& page);

 private:
  friend class TalMonitorRowBatchAccess;
  bool OpenIndex();
  // Reads merged row's record: the page's index among the added readers and its row there.
  bool ReadRecord(uint32_t row, uint32_t& page, uint32_t& pageRow);
  // The lowest merge position (stamp value) from which page's rows may merge differently
  // than at the last Update; none: above every stamp.
  uint64_t Divergence(size_t page);
  uint32_t FirstChangedRow(size_t page, uint32_t known);
  // Drops the merged rows from merge position cursor on and sets the walk there; returns
  // the number of merged rows kept.
  size_t Rewind(uint32_t cursor);
  // The stamp of row of page, read ahead in blocks; false where GetStamp refuses it.
  bool FetchStamp(size_t page, uint32_t row, uint32_t& stamp);
  void Walk();
  bool WriteIndex(size_t from);

  char indexPath_[260];
  KorinFile* index_;
  std::vector<IMonitorReader*> readers_;
  std::vector<uint32_t> nextRow_;
  std::vector<uint32_t> pending_;
  uint32_t cursor_;
  uint32_t total_;
  std::unique_ptr<TalMonitorMergeState> merge_;
};

// One row per session of the data directory, filled by Update, in the row markup:
//   "(bold 0003)(tab)playing(tab)Errors, Log"
// number, state (TalMonSessionStateWord: "playing", "paused", "stopping", "finished",
// "crashed") and the page names without the markers. Rows carry no stamps.
class TALMON_EXPORT TalMonitorReaderSession : public IMonitorReader {
 public:
  TalMonitorReaderSession();
  ~TalMonitorReaderSession() override;
  TalMonitorReaderSession(const TalMonitorReaderSession&) = delete;
  TalMonitorReaderSession& operator=(const TalMonitorReaderSession&) = delete;

  // Clears the rows and lists the sessions again; true.
  bool Update() override;
  bool GetCount(uint32_t& count) override;
  // The text with length 0: callers measure the zero-terminated text.
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override;

 private:
  std::unique_ptr<TalMonitorMemory> memory_;
};
