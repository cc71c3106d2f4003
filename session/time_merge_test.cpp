// The time-merged reader's Update, which merges again only what changed, against a full
// merge by the plain walk over every stamp value, after every step of random writers.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "session/stamped_page_test_support.h"
#include "storage/page_test_support.h"
#include "talmon/readers.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Page;
using talmon_test::ScopedDataDir;
using talmon_test::StampedPage;

// Every row of the merge as "text|stamp", by the plain walk: each stamp value from 0 up,
// each page in order, one row per page and value; a page whose next stamp is below the
// value is left behind.
std::vector<std::string> FullMerge(const std::vector<IMonitorReader*>& pages) {
  std::vector<std::vector<uint32_t>> stamps(pages.size());
  for (size_t i = 0; i < pages.size(); ++i) {
    uint32_t count = 0, stamp = 0;
    pages[i]->GetCount(count);
    while (pages[i]->GetStamp(static_cast<uint32_t>(stamps[i].size()), stamp))
      stamps[i].push_back(stamp);
  }
  std::vector<std::string> rows;
  std::vector<uint32_t> next(pages.size(), 0);
  for (uint32_t cursor = 0;; ++cursor) {
    bool found = false;
    for (size_t i = 0; i < pages.size(); ++i) {
      if (next[i] >= stamps[i].size() || stamps[i][next[i]] < cursor) continue;
      found = true;
      if (stamps[i][next[i]] != cursor) continue;
      const char* text = nullptr;
      uint32_t length = 0;
      pages[i]->GetRow(next[i]++, text, length);
      rows.push_back(std::string(text) + "|" + std::to_string(cursor));
    }
    if (!found) return rows;
  }
}

std::vector<std::string> MergedRows(TalMonitorReaderTime& merged) {
  std::vector<std::string> rows;
  const char* text = nullptr;
  uint32_t length = 0, stamp = 0;
  for (uint32_t row = 0; merged.GetRow(row, text, length); ++row) {
    const std::string t = text;
    EXPECT_TRUE(merged.GetStamp(row, stamp));
    rows.push_back(t + "|" + std::to_string(stamp));
  }
  return rows;
}

class RandomWriters {
 public:
  explicit RandomWriters(uint32_t seed) : random_(seed) {
    TalOpenMonitorReaderTime(1, &merged_);
    AddPage();
  }
  ~RandomWriters() {
    TalCloseMonitorReader(merged_);
    for (IMonitorReader* page : reference_)
      delete page;
  }

  void Step() {
    const uint32_t op = Pick(100);
    if (op < 3 && writers_.size() < 5) return AddPage();
    if (op < 6) return AddForeignPage();
    if (op < 15 && !foreign_.empty()) return ChangeForeignPage();
    if (op < 17) return ReplacePage();
    TalMonitorBase& w = *writers_[Pick(static_cast<uint32_t>(writers_.size()))];
    if (op < 30) {
      w.Save();
    } else if (op < 45) {
      if (w.Restore()) torn_.push_back(&w);
    } else if (op < 50) {
      w.Commit();
    } else {
      const std::string row = (Pick(4) == 0 ? "" : "\n") + std::to_string(serial_++);
      w.Write(row.c_str());
    }
    if (Pick(3) != 0) {
      w.Flush();
      torn_.erase(std::remove(torn_.begin(), torn_.end(), &w), torn_.end());
    }
  }

  // A Restore rewrites records under the header last published: until the writer flushes,
  // a reader may see new stamps in rows the header still counts from before, a state that
  // is no page at all. The merge of such a state is only required to come right once the
  // writer has flushed.
  void Check(const std::string& label) {
    if (!torn_.empty()) {
      ASSERT_TRUE(merged_->Update()) << label;
      for (TalMonitorBase* w : torn_)
        w->Flush();
      torn_.clear();
    }
    ASSERT_TRUE(merged_->Update()) << label;
    EXPECT_EQ(MergedRows(*merged_), FullMerge(reference_)) << label;
  }

 private:
  uint32_t Pick(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(random_); }

  std::string PagePath(size_t page) const { return dir_.file("0001P" + std::to_string(page)); }

  // Each page is read by the merged reader and, through a reader of its own, the reference.
  void AddPage() {
    writers_.push_back(Page(PagePath(writers_.size()), true));
    merged_->AddReader(Page(PagePath(writers_.size() - 1), false).release());
    reference_.push_back(Page(PagePath(writers_.size() - 1), false).release());
  }

  void AddForeignPage() {
    foreign_.push_back(std::make_shared<std::vector<uint32_t>>());
    const std::string name = "f" + std::to_string(foreign_.size()) + ":";
    merged_->AddReader(new StampedPage(name, foreign_.back()));
    reference_.push_back(new StampedPage(name, foreign_.back()));
  }

  // New rows with stamps around the writers' own, some below what is merged already; or
  // the last rows dropped or given new stamps.
  void ChangeForeignPage() {
    std::vector<uint32_t>& stamps = *foreign_[Pick(static_cast<uint32_t>(foreign_.size()))];
    const uint32_t near = static_cast<uint32_t>(serial_) + 4;
    switch (Pick(3)) {
      case 0:
        stamps.push_back(std::max<uint32_t>(stamps.empty() ? 0 : stamps.back(), near - Pick(8)));
        break;
      case 1:
        stamps.resize(stamps.size() - std::min<size_t>(stamps.size(), Pick(3)));
        break;
      default:
        if (!stamps.empty()) stamps.back() = near + Pick(4);
    }
  }

  // A new writer on the same page: the files are made anew under the open readers.
  void ReplacePage() {
    const size_t page = Pick(static_cast<uint32_t>(writers_.size()));
    torn_.erase(std::remove(torn_.begin(), torn_.end(), writers_[page].get()), torn_.end());
    writers_[page].reset();
    writers_[page] = Page(PagePath(page), true);
    writers_[page]->Flush();
  }

  ScopedDataDir dir_;
  std::mt19937 random_;
  TalMonitorReaderTime* merged_ = nullptr;
  std::vector<std::unique_ptr<TalMonitorBase>> writers_;
  std::vector<std::shared_ptr<std::vector<uint32_t>>> foreign_;
  std::vector<IMonitorReader*> reference_;
  std::vector<TalMonitorBase*> torn_;  // writers that restored and have not flushed since
  int serial_ = 0;
};

TEST(TimeMerge, EveryUpdateGivesWhatAFullMergeGives) {
  for (uint32_t seed = 1; seed <= 12; ++seed) {
    RandomWriters writers(seed);
    for (int step = 0; step < 400; ++step) {
      writers.Step();
      // Several steps may come between two Updates.
      if (step % 3 == 0)
        writers.Check("seed " + std::to_string(seed) + ", step " + std::to_string(step));
      if (::testing::Test::HasFailure()) return;
    }
  }
}

}  // namespace
