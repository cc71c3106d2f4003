// The time-merged reader's Update: a merge by stamp that remembers how far each page was
// merged and merges again only from the first merge position a change can reach.
//
// The merge walks the stamp values upward (the merge position); at each value it takes,
// page by page in order of addition, the next row of every page whose stamp equals it. A
// page whose next stamp is already below the position is left behind for good. Where the
// walk stands at position v depends only on v and on how many rows of each page were taken
// below v, so the walk can be taken up again at any v at or below the first position a
// change reaches, and gives what a full merge gives:
// - rows of a page from row f on changed (new, rewritten by a Restore, dropped): the walk
//   fetched row f at the position after row f - 1's stamp; for f = 0, nothing happens
//   before the lower of the old and new stamps of row 0;
// - a page whose last known row is unchanged and that has no new row cannot change anything.
// Within one writer's page a rewritten row always carries a new stamp (the counter only
// rises), so the last known row's stamp tells whether anything below it was rewritten.
#include "session/time_merge.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

#include "core/file.h"
#include "core/little_endian.h"
#include "storage/page.h"
#include "talmon/readers.h"

namespace {

constexpr uint32_t kExhausted = 0xFFFFFFFFu;
constexpr uint64_t kNoChange = std::numeric_limits<uint64_t>::max();
constexpr uint32_t kRecordSize = 8;
// Merge records are written in blocks of this many (1 MiB).
constexpr size_t kIndexBlockRecords = 128 * 1024;
// Stamps read ahead for the walk: few at first (a page left behind needs one), more as the
// page keeps being merged.
constexpr uint32_t kFirstReadAhead = 64;
constexpr uint32_t kMaxReadAhead = TalMonitorBase::kRecordBlock;
// Rows compared at first when looking back for the first changed row.
constexpr uint32_t kFirstLookBack = 64;

}  // namespace

namespace talmon {

uint32_t ReadStamps(IMonitorReader& reader, uint32_t first, uint32_t count,
                    std::vector<uint32_t>& out) {
  if (auto* page = dynamic_cast<TalMonitorBase*>(&reader)) {
    return page->LocateStamps(first, count, false, out);
  }
  uint32_t n = 0;
  for (uint32_t stamp = 0; n < count && first + n >= first && reader.GetStamp(first + n, stamp);
       ++n) {
    out.push_back(stamp);
  }
  return n;
}

}  // namespace talmon

using State = TalMonitorMergeState;

uint32_t TalMonitorReaderTime::FirstChangedRow(size_t page, uint32_t known) {
  const State::Page& p = merge_->pages[page];
  auto old = [&](uint32_t row) { return row < p.stamps.size() ? p.stamps[row] : p.tail; };
  std::vector<uint32_t> now;
  uint32_t high = known;
  for (uint32_t span = kFirstLookBack; high > 0; span *= 2) {
    const uint32_t low = high > span ? high - span : 0;
    now.clear();
    const uint32_t got = talmon::ReadStamps(*readers_[page], low, high - low, now);
    for (uint32_t row = low + got; row > low; --row) {
      if (now[row - 1 - low] == old(row - 1)) return row;
    }
    high = low;
  }
  return 0;
}

uint64_t TalMonitorReaderTime::Divergence(size_t page) {
  State::Page& p = merge_->pages[page];
  const uint32_t merged = static_cast<uint32_t>(p.stamps.size());
  const uint32_t known = merged + (p.hasTail ? 1 : 0);  // rows whose stamps the merge used
  // The last known row and the one after it, in one read, kept for the walk.
  const uint32_t first = known > 0 ? known - 1 : 0;
  uint32_t stamp = 0;
  const bool readable = FetchStamp(page, first, stamp);
  uint32_t changed = known;
  if (known > 0) {
    if (!readable || stamp != (p.hasTail ? p.tail : p.stamps.back())) {
      changed = FirstChangedRow(page, known);
    } else if (p.hasTail || !FetchStamp(page, known, stamp)) {
      return kNoChange;  // still left behind at the same row, or no new row
    }
  } else if (!readable) {
    return kNoChange;
  }
  if (changed > 0) return uint64_t{p.stamps[changed - 1]} + 1;
  // Row 0 changed: nothing happens below the lower of its old and new stamps.
  uint64_t reach = kNoChange;
  if (known > 0) reach = merged > 0 ? p.stamps[0] : p.tail;
  if (FetchStamp(page, 0, stamp)) reach = std::min<uint64_t>(reach, stamp);
  return reach;
}

size_t TalMonitorReaderTime::Rewind(uint32_t cursor) {
  State& m = *merge_;
  auto stampOf = [&m](const State::Entry& e) { return m.pages[e.page].stamps[e.row]; };
  const auto cut =
      std::lower_bound(m.entries.begin(), m.entries.end(), cursor,
                       [&](const State::Entry& e, uint32_t stamp) { return stampOf(e) < stamp; });
  const size_t from = static_cast<size_t>(cut - m.entries.begin());
  for (size_t at = m.entries.size(); at > from; --at)
    m.pages[m.entries[at - 1].page].stamps.pop_back();
  m.entries.resize(from);
  for (size_t i = 0; i < readers_.size(); ++i) {
    nextRow_[i] = static_cast<uint32_t>(m.pages[i].stamps.size());
    pending_[i] = 0;
    m.pages[i].hasTail = false;
  }
  cursor_ = cursor;
  return from;
}

bool TalMonitorReaderTime::FetchStamp(size_t page, uint32_t row, uint32_t& stamp) {
  State::Page& p = merge_->pages[page];
  const uint64_t end = uint64_t{p.bufferFirst} + p.buffer.size();
  if (row < p.bufferFirst || row >= end) {
    if (row == end && p.bufferEnds) return false;
    const uint32_t ahead = static_cast<uint32_t>(
        std::clamp<size_t>(p.buffer.size() * 2, kFirstReadAhead, kMaxReadAhead));
    p.buffer.clear();
    p.bufferFirst = row;
    p.bufferEnds = talmon::ReadStamps(*readers_[page], row, ahead, p.buffer) < ahead;
    if (p.buffer.empty()) return false;
  }
  stamp = p.buffer[row - p.bufferFirst];
  return true;
}

namespace {

// The pages waiting to give their next row, by (stamp, page) packed into one word: a
// binary heap with the lowest on top, whose top can be replaced in one pass down (a page's
// next row goes where its last one was).
class WaitingPages {
 public:
  static uint64_t Key(uint32_t stamp, uint32_t page) { return uint64_t{stamp} << 32 | page; }
  static uint32_t Stamp(uint64_t key) { return static_cast<uint32_t>(key >> 32); }
  static uint32_t Page(uint64_t key) { return static_cast<uint32_t>(key); }

  bool Empty() const { return heap_.empty(); }
  uint64_t Top() const { return heap_.front(); }
  void Push(uint64_t key) {
    heap_.push_back(key);
    std::push_heap(heap_.begin(), heap_.end(), std::greater<uint64_t>());
  }
  void Pop() {
    const uint64_t last = heap_.back();
    heap_.pop_back();
    if (!heap_.empty()) ReplaceTop(last);
  }
  void ReplaceTop(uint64_t key) {
    const size_t n = heap_.size();
    size_t at = 0;
    for (size_t child = 1; child < n; child = 2 * at + 1) {
      if (child + 1 < n && heap_[child + 1] < heap_[child]) ++child;
      if (key <= heap_[child]) break;
      heap_[at] = heap_[child];
      at = child;
    }
    heap_[at] = key;
  }

 private:
  std::vector<uint64_t> heap_;
};

}  // namespace

// The walk from cursor_ with the rows of nextRow_ taken, as a full merge walks it: the next
// row taken is the one with the lowest stamp, the earlier-added page first among equal
// ones. A page fetches its next stamp right after a row of it is taken, at the position one
// above that row's stamp; a stamp below the position it is fetched at leaves it behind.
void TalMonitorReaderTime::Walk() {
  State& m = *merge_;
  // A page's next stamp fetched at position at: true when it waits to be taken; else the
  // page is left behind (pending_ holds the stamp) or exhausted.
  auto fetch = [&](size_t i, uint64_t at, uint32_t& stamp) {
    const State::Page& p = m.pages[i];
    const uint32_t ahead = nextRow_[i] - p.bufferFirst;  // the common case: read already
    if (nextRow_[i] >= p.bufferFirst && ahead < p.buffer.size()) {
      stamp = p.buffer[ahead];
    } else if (!FetchStamp(i, nextRow_[i], stamp)) {
      pending_[i] = kExhausted;
      return false;
    }
    pending_[i] = stamp;
    // The value that marks an exhausted page is reached only at the last position.
    return stamp >= at && (stamp != kExhausted || at == kExhausted);
  };
  WaitingPages waiting;
  for (size_t i = 0; i < readers_.size(); ++i) {
    uint32_t stamp = 0;
    if (fetch(i, cursor_, stamp)) waiting.Push(WaitingPages::Key(stamp, static_cast<uint32_t>(i)));
  }
  // A first merge takes about every row: room for them all at once. Later merges add few,
  // and the vector grows as it always does.
  if (m.entries.empty()) {
    m.entries.reserve(total_);
    for (size_t i = 0; i < readers_.size(); ++i) {
      uint32_t count = 0;
      readers_[i]->GetCount(count);
      m.pages[i].stamps.reserve(count);
    }
  }
  while (!waiting.Empty()) {
    const uint32_t stamp = WaitingPages::Stamp(waiting.Top());
    const uint32_t i = WaitingPages::Page(waiting.Top());
    m.entries.push_back({i, nextRow_[i]});
    m.pages[i].stamps.push_back(stamp);
    ++nextRow_[i];
    cursor_ = stamp;
    uint32_t next = 0;
    // The last stamp value ends the walk: the merge positions never wrap.
    if (stamp != kExhausted && fetch(i, uint64_t{stamp} + 1, next)) {
      waiting.ReplaceTop(WaitingPages::Key(next, i));
    } else {
      if (stamp == kExhausted) pending_[i] = 0;
      waiting.Pop();
    }
  }
  for (size_t i = 0; i < readers_.size(); ++i) {
    State::Page& p = m.pages[i];
    p.hasTail = pending_[i] != 0 && pending_[i] != kExhausted;
    p.tail = p.hasTail ? pending_[i] : 0;
  }
}

bool TalMonitorReaderTime::WriteIndex(size_t from) {
  State& m = *merge_;
  std::vector<unsigned char> block;
  for (size_t at = from; at < m.entries.size(); at += kIndexBlockRecords) {
    const size_t n = std::min(kIndexBlockRecords, m.entries.size() - at);
    block.resize(n * kRecordSize);
    for (size_t k = 0; k < n; ++k) {
      Korin::PutU32(&block[k * kRecordSize], m.entries[at + k].page);
      Korin::PutU32(&block[k * kRecordSize + 4], m.entries[at + k].row);
    }
    uint32_t done = 0;
    if (!Korin_WriteFileAt(index_, uint64_t{at} * kRecordSize, block.data(),
                           static_cast<uint32_t>(block.size()), &done) ||
        done != block.size()) {
      return false;
    }
  }
  // Records of an earlier, longer merge must not answer for rows past this one.
  if (m.entries.size() < m.written) Korin_SetEndOfFileAt(index_, m.entries.size() * kRecordSize);
  m.written = m.entries.size();
  return true;
}

bool TalMonitorReaderTime::Update() {
  if (!KorinIsOpen(index_) && !OpenIndex()) return false;
  State& m = *merge_;
  total_ = 0;
  for (IMonitorReader* reader : readers_) {
    uint32_t count = 0;
    reader->GetCount(count);
    total_ += count;
  }
  m.pages.resize(readers_.size());
  for (State::Page& p : m.pages)
    p.ForgetReadAhead();  // read anew: the pages may have changed since
  uint64_t reach = kNoChange;
  for (size_t i = 0; i < readers_.size(); ++i)
    reach = std::min(reach, Divergence(i));
  if (reach == kNoChange) return true;
  const size_t from = Rewind(static_cast<uint32_t>(std::min<uint64_t>(reach, kExhausted)));
  Walk();
  for (State::Page& p : m.pages)
    p.ForgetReadAhead();
  if (WriteIndex(from)) return true;
  // The file no longer matches what is remembered: the next Update merges everything.
  m.entries.clear();
  m.pages.clear();
  m.written = std::numeric_limits<uint64_t>::max();
  return false;
}
