// The multi-page readers: page order, the merge by stamp, and the session overview.
#include "talmon/readers.h"

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "core/file.h"
#include "core/listing.h"
#include "core/little_endian.h"
#include "core/path.h"
#include "session/session_store.h"
#include "session/time_merge.h"
#include "storage/memory.h"
#include "talmon/session.h"
#include "talmon/session_list.h"

namespace {

constexpr char kSeparatorRow[] = "(separator)";
constexpr uint32_t kRecordSize = 8;

}  // namespace

using Korin::GetU32;

// ---- TalMonitorReaderPageOrder --------------------------------------------------------

TalMonitorReaderPageOrder::TalMonitorReaderPageOrder()
    : session_(0), pattern_("*"), total_(0), separator_(false) {}

TalMonitorReaderPageOrder::~TalMonitorReaderPageOrder() {
  CloseReaders();
}

void TalMonitorReaderPageOrder::SetSession(unsigned int session) {
  session_ = session;
}
void TalMonitorReaderPageOrder::SetPattern(const char* pattern) {
  pattern_ = pattern;
}
void TalMonitorReaderPageOrder::SetSeparator(bool separator) {
  separator_ = separator;
}

void TalMonitorReaderPageOrder::CloseReaders() {
  for (IMonitorReader* reader : readers_)
    TalCloseMonitorReader(reader);
  readers_.clear();
}

bool TalMonitorReaderPageOrder::Update() {
  // The counts go with the readers: rows must never map to a page that is gone.
  CloseReaders();
  counts_.clear();
  total_ = 0;
  TalMonitorSelectPage select;
  select.SetSession(session_);
  select.SetPattern(pattern_);
  Korin::String page;
  while (select.Read(page)) {
    IMonitorReader* reader = nullptr;
    if (!TalOpenMonitorReader(session_, page, &reader) || reader == nullptr) continue;
    readers_.push_back(reader);
  }
  for (size_t i = 0; i < readers_.size(); ++i) {
    uint32_t count = 0;
    readers_[i]->GetCount(count);
    counts_.push_back(count);
    total_ += count;
    if (HasSeparator(i)) ++total_;
  }
  return true;
}

bool TalMonitorReaderPageOrder::GetCount(uint32_t& count) {
  count = total_;
  return true;
}

bool TalMonitorReaderPageOrder::MapRow(uint32_t row, size_t& page, uint32_t& local) const {
  for (size_t i = 0; i < counts_.size(); ++i) {
    const uint32_t size = counts_[i] + (HasSeparator(i) ? 1 : 0);
    if (row < size) {
      page = i;
      local = row;
      return true;
    }
    row -= size;
  }
  return false;
}

bool TalMonitorReaderPageOrder::GetRowPage(uint32_t row, uint32_t& page) const {
  size_t index = 0;
  uint32_t local = 0;
  if (!MapRow(row, index, local)) return false;
  page = static_cast<uint32_t>(index);
  return true;
}

bool TalMonitorReaderPageOrder::GetStamp(uint32_t row, uint32_t& stamp) {
  size_t page = 0;
  uint32_t local = 0;
  if (!MapRow(row, page, local)) return false;
  // The separator row carries the stamp of its page's first row.
  if (HasSeparator(page) && local > 0) --local;
  return readers_[page]->GetStamp(local, stamp);
}

bool TalMonitorReaderPageOrder::GetRow(uint32_t row, const char*& text, uint32_t& length) {
  size_t page = 0;
  uint32_t local = 0;
  if (!MapRow(row, page, local)) return false;
  if (HasSeparator(page)) {
    if (local == 0) {
      text = kSeparatorRow;
      length = sizeof kSeparatorRow - 1;
      return true;
    }
    --local;
  }
  return readers_[page]->GetRow(local, text, length);
}

// ---- TalMonitorReaderTime -------------------------------------------------------------

TalMonitorReaderTime::TalMonitorReaderTime()
    : indexPath_{}, index_(nullptr), cursor_(0), total_(0), merge_(new TalMonitorMergeState) {}

TalMonitorReaderTime::~TalMonitorReaderTime() {
  for (IMonitorReader* reader : readers_)
    TalCloseMonitorReader(reader);
  if (KorinIsOpen(index_)) Korin_CloseHandle(index_);
}

bool TalMonitorReaderTime::SetPageName(const char* path) {
  if (path == nullptr) return false;
  char drive[Korin::kMaxDrive];
  char dir[Korin::kMaxDir];
  char name[Korin::kMaxFName];
  Korin::SplitPath(path, drive, dir, name, nullptr);
  return Korin_makepath(indexPath_, drive, dir, name, "IDX");
}

bool TalMonitorReaderTime::AddReader(IMonitorReader* reader) {
  if (reader == nullptr) return false;
  // Room in all three first: a failed allocation leaves them in step, the reader unowned.
  readers_.reserve(readers_.size() + 1);
  nextRow_.reserve(readers_.size() + 1);
  pending_.reserve(readers_.size() + 1);
  readers_.push_back(reader);
  nextRow_.push_back(0);
  pending_.push_back(0);
  return true;
}

bool TalMonitorReaderTime::OpenIndex() {
  if (indexPath_[0] == '\0') return false;
  // The index is private to this reader: it is made under a name of its own beside the
  // pages and unlinked at once, so two readers on one session never meet, and nothing of
  // it is left behind whatever happens to the process.
  static std::atomic<uint32_t> made{0};
  char drive[Korin::kMaxDrive];
  char dir[Korin::kMaxDir];
  char name[Korin::kMaxFName];
  Korin::SplitPath(indexPath_, drive, dir, name, nullptr);
  Korin::String unique;
  unique.format("%s.%u.%u", name, Korin_GetCurrentProcessId(), ++made);
  char path[Korin::kMaxPath];
  if (!Korin_makepath(path, drive, dir, unique, "IDX")) return false;
  const uint32_t flags = kFileFlagRandomAccess | kFileFlagDeleteOnClose |
                         kFileAttributeNotContentIndexed | kFileAttributeTemporary;
  KorinHandle handle =
      Korin_CreateFile(path, kGenericRead | kGenericWrite, kFileShareRead | kFileShareDelete,
                       nullptr, kCreateAlways, flags, nullptr);
  if (!KorinIsOpen(handle)) return false;
  Korin_DeleteFile(path);
  index_ = handle;
  return true;
}

bool TalMonitorReaderTime::GetCount(uint32_t& count) {
  count = total_;
  return true;
}

bool TalMonitorReaderTime::ReadRecord(uint32_t row, uint32_t& page, uint32_t& pageRow) {
  if (!KorinIsOpen(index_)) return false;
  unsigned char record[kRecordSize];
  uint32_t done = 0;
  if (!Korin_ReadFileAt(index_, static_cast<uint64_t>(row) * kRecordSize, record, kRecordSize,
                        &done) ||
      done < kRecordSize) {
    return false;
  }
  page = GetU32(record);
  if (page >= readers_.size()) {
    throw std::invalid_argument("TalMonitorReaderTime: page index out of range");
  }
  pageRow = GetU32(record + 4);
  return true;
}

bool TalMonitorReaderTime::GetStamp(uint32_t row, uint32_t& stamp) {
  uint32_t page = 0;
  uint32_t pageRow = 0;
  return ReadRecord(row, page, pageRow) && readers_[page]->GetStamp(pageRow, stamp);
}

bool TalMonitorReaderTime::GetRow(uint32_t row, const char*& text, uint32_t& length) {
  uint32_t page = 0;
  uint32_t pageRow = 0;
  return ReadRecord(row, page, pageRow) && readers_[page]->GetRow(pageRow, text, length);
}

bool TalMonitorReaderTime::GetRowPage(uint32_t row, uint32_t& page) {
  uint32_t pageRow = 0;
  return ReadRecord(row, page, pageRow);
}

// ---- TalMonitorReaderSession ----------------------------------------------------------

namespace {

// Appends a page name as row text: names with parentheses go into a raw span, and control
// characters (a line feed would end the row) become "?".
void AppendPageName(std::string& row, const char* name) {
  std::string text;
  bool parentheses = false;
  for (const char* p = name; *p != '\0'; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c == '(' || c == ')') parentheses = true;
    text += c < 0x20 ? '?' : static_cast<char>(c);
  }
  if (!parentheses) {
    row += text;
    return;
  }
  row += "(raw " + std::to_string(text.size()) + " " + text + ")";
}

}  // namespace

TalMonitorReaderSession::TalMonitorReaderSession() : memory_(new TalMonitorMemory) {}

TalMonitorReaderSession::~TalMonitorReaderSession() = default;

bool TalMonitorReaderSession::Update() {
  memory_->Delete();
  std::vector<TalMonSessionInfo> sessions;
  TalMonListSessions(sessions);
  bool first = true;
  for (const TalMonSessionInfo& session : sessions) {
    char head[64];
    std::snprintf(head, sizeof head, "(bold %04d)(tab)%s(tab)", static_cast<int>(session.session),
                  TalMonSessionStateWord(session.state));
    std::string row = first ? "" : "\n";
    row += head;
    for (size_t i = 0; i < session.pages.size(); ++i) {
      if (i > 0) row += ", ";
      AppendPageName(row, session.pages[i].name.c_str());
    }
    memory_->Write(row.c_str());
    first = false;
  }
  return true;
}

bool TalMonitorReaderSession::GetCount(uint32_t& count) {
  return memory_->GetCount(count);
}

bool TalMonitorReaderSession::GetRow(uint32_t row, const char*& text, uint32_t& length) {
  return memory_->GetRow(row, text, length);
}
