#include "talmon/readers.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "session/test_util.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::MakeFile;
using talmon_test::ScopedDataDir;

// Every row of reader as text, after its Update.
std::vector<std::string> Rows(IMonitorReader& reader) {
  std::vector<std::string> rows;
  uint32_t count = 0;
  EXPECT_TRUE(reader.GetCount(count));
  for (uint32_t i = 0; i < count; ++i) {
    const char* text = nullptr;
    uint32_t length = 0;
    if (!reader.GetRow(i, text, length)) break;
    rows.emplace_back(text);
  }
  return rows;
}

IMonitorWriter* OpenWriter(unsigned int session, const char* page) {
  IMonitorWriter* writer = nullptr;
  EXPECT_TRUE(TalOpenMonitorWriter(session, page, false, &writer)) << page;
  return writer;
}

TEST(PageOrderReader, PagesFollowEachOtherWithOptionalSeparators) {
  ScopedDataDir dir;
  IMonitorWriter* b = OpenWriter(1, "b");
  IMonitorWriter* a = OpenWriter(1, "A");
  a->Write("a0\na1");
  b->Write("b0\nb1");
  a->Flush();
  b->Flush();

  TalMonitorReaderPageOrder* reader = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderPageOrder(1, "*", &reader));
  uint32_t count = 99;
  ASSERT_TRUE(reader->GetCount(count));
  EXPECT_EQ(count, 0u);  // nothing before the first Update
  ASSERT_TRUE(reader->Update());
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a0", "a1", "b0", "b1"}));

  reader->SetSeparator(true);
  ASSERT_TRUE(reader->Update());
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a0", "a1", "(separator)", "b0", "b1"}));
  const char* text = nullptr;
  uint32_t length = 0;
  ASSERT_TRUE(reader->GetRow(2, text, length));
  EXPECT_EQ(length, 11u);
  uint32_t separatorStamp = 0;
  uint32_t firstStamp = 1;
  ASSERT_TRUE(reader->GetStamp(2, separatorStamp));
  ASSERT_TRUE(reader->GetStamp(3, firstStamp));
  EXPECT_EQ(separatorStamp, firstStamp);
  EXPECT_FALSE(reader->GetRow(5, text, length));

  TalCloseMonitorReader(reader);
  TalCloseMonitorWriter(a);
  TalCloseMonitorWriter(b);
}

TEST(PageOrderReader, SessionZeroIsKeptAndListsNothing) {
  ScopedDataDir dir;
  MakeFile(dir.file("0001Log.TXT"), "x");
  TalMonitorReaderPageOrder* reader = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderPageOrder(0, nullptr, &reader));
  ASSERT_TRUE(reader->Update());
  uint32_t count = 99;
  reader->GetCount(count);
  EXPECT_EQ(count, 0u);
  const char* text = nullptr;
  uint32_t length = 0;
  EXPECT_FALSE(reader->GetRow(0, text, length));
  TalCloseMonitorReader(reader);
}

// A page with fixed stamps, as pages of other processes have.
class StampedPage : public IMonitorReader {
 public:
  StampedPage(std::string name, std::vector<uint32_t> stamps)
      : name_(std::move(name)), stamps_(std::move(stamps)) {}
  bool GetCount(uint32_t& count) override {
    count = static_cast<uint32_t>(stamps_.size());
    return true;
  }
  bool GetStamp(uint32_t row, uint32_t& stamp) override {
    if (row >= stamps_.size()) return false;
    stamp = stamps_[row];
    return true;
  }
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override {
    if (row >= stamps_.size()) return false;
    text_ = name_ + std::to_string(row);
    text = text_.c_str();
    length = static_cast<uint32_t>(text_.size());
    return true;
  }

 private:
  std::string name_;
  std::vector<uint32_t> stamps_;
  std::string text_;
};

TEST(TimeReader, MergesByStampInOrderOfAddition) {
  ScopedDataDir dir;
  struct Case {
    const char* label;
    std::vector<std::pair<const char*, std::vector<uint32_t>>> pages;
    std::vector<std::string> rows;
    uint32_t count;
  } cases[] = {
      {"no pages", {}, {}, 0},
      {"equal stamps: earlier page first",
       {{"a", {1, 2, 3}}, {"b", {1, 2, 3}}},
       {"a0", "b0", "a1", "b1", "a2", "b2"},
       6},
      {"gaps in the stamps", {{"a", {5, 900}}, {"b", {7}}}, {"a0", "b0", "a1"}, 3},
      {"a page left behind stays behind",
       {{"a", {5, 1, 9}}, {"b", {1, 2, 3}}},
       {"b0", "b1", "b2", "a0"},
       6},
  };
  for (const Case& c : cases) {
    TalMonitorReaderTime* reader = nullptr;
    ASSERT_TRUE(TalOpenMonitorReaderTime(1, &reader)) << "case: " << c.label;
    for (const auto& page : c.pages) {
      ASSERT_TRUE(reader->AddReader(new StampedPage(page.first, page.second)));
    }
    ASSERT_TRUE(reader->Update()) << "case: " << c.label;
    uint32_t count = 0;
    reader->GetCount(count);
    EXPECT_EQ(count, c.count) << "case: " << c.label;
    std::vector<std::string> rows;
    const char* text = nullptr;
    uint32_t length = 0;
    for (uint32_t i = 0; reader->GetRow(i, text, length); ++i)
      rows.emplace_back(text);
    EXPECT_EQ(rows, c.rows) << "case: " << c.label;
    ASSERT_TRUE(reader->Update()) << "case: " << c.label;  // merging again changes nothing
    EXPECT_EQ(Rows(*reader).size(), c.rows.size()) << "case: " << c.label;
    TalCloseMonitorReader(reader);
  }
  EXPECT_TRUE(dir.list().empty());  // the index leaves nothing behind
}

TEST(TimeReader, PagesWrittenAlternatelyMergeInWritingOrder) {
  ScopedDataDir dir;
  IMonitorWriter* log = OpenWriter(2, "Log");
  IMonitorWriter* errors = OpenWriter(2, "Errors");
  // A row's stamp is taken when the row begins, at the line feed before it.
  log->Write("l0");
  errors->Write("e0");
  log->Write("\nl1");
  log->Write("\nl2");
  errors->Write("\ne1");
  log->Flush();
  errors->Flush();
  TalMonitorReaderTime* reader = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderTime(2, &reader));
  EXPECT_STREQ(reader->GetIndexPath(), dir.file("0002Time.IDX").c_str());
  for (const char* page : {"Errors", "Log"}) {
    IMonitorReader* pageReader = nullptr;
    ASSERT_TRUE(TalOpenMonitorReader(2, page, &pageReader));
    reader->AddReader(pageReader);
  }
  EXPECT_FALSE(reader->AddReader(nullptr));
  ASSERT_TRUE(reader->Update());
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"l0", "e0", "l1", "l2", "e1"}));
  TalCloseMonitorReader(reader);
  TalCloseMonitorWriter(log);
  TalCloseMonitorWriter(errors);
}

TEST(SessionReader, OneRowPerSessionWithActivityAndPages) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  IMonitorWriter* log = OpenWriter(session, "Log");
  IMonitorWriter* errors = OpenWriter(session, "Errors");
  MakeFile(dir.file("0002x(y).TXT"), "");
  MakeFile(dir.file("0003Pause.TXT"), "");

  IMonitorReader* reader = nullptr;
  ASSERT_TRUE(TalMonitorExecute("sessions", &reader));
  EXPECT_EQ(Rows(*reader).size(), 0u);
  ASSERT_TRUE(reader->Update());
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{
                               "(bold 0001)(tab)playing(tab)Errors, Log",
                               "(bold 0002)(tab)stopped(tab)(raw 4 x(y))",
                               "(bold 0003)(tab)paused(tab)",
                           }));
  uint32_t stamp = 0;
  EXPECT_FALSE(reader->GetStamp(0, stamp));
  TalCloseMonitorReader(reader);
  TalCloseMonitorWriter(log);
  TalCloseMonitorWriter(errors);
  TalCloseMonitorSession(session);
}

}  // namespace
