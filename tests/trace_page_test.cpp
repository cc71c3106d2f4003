// Trace statements through a real page writer, read back from the page's files: what a viewer
// finally gets, with the writer's restatement of open tags at every row start.

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "storage/page.h"
#include "talmon/trace.h"
#include "tests/support/temp_dir.h"

namespace {

class TracePageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    page_->SetPageName(path_.c_str());
    page_->SetWriter(true);
    page_->SetDeleteOnClose(false);
    ASSERT_TRUE(page_->Open());
  }
  // Closes the writer (its files are cut to their lengths) and returns the text file.
  std::string CloseAndReadText() {
    page_.reset();
    std::ifstream in(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  IMonitorWriter& w() { return *page_; }

  talmon_test::ScopedDataDir dir_;
  const std::string path_ = dir_.file("0001Trace.TXT");
  std::unique_ptr<TalMonitorBase> page_ = std::make_unique<TalMonitorBase>();
};

TEST_F(TracePageTest, SectionsIndentEveryRowStartedInside) {
  {
    trace outer(w(), section);
    trace(w()) << "one\r\n";
    trace(w(), section) << "two\r\nthree\r\n";
    trace(w()) << "four\r\n";
  }
  trace(w()) << "five";
  EXPECT_EQ(CloseAndReadText(), "\tone\n\t\ttwo\n\t\tthree\n\tfour\nfive");
}

// A style's ")" lands where the trace ends it: after a row end, it opens the next row behind
// that row's restated tags (and a viewer ends the row there).
TEST_F(TracePageTest, StyleOpenAcrossRowEndIsRestatedOnTheNextRow) {
  trace(w(), bold) << "first" << line << "second";
  trace(w()) << line;
  {
    trace outer(w(), title);
    trace(w(), bold) << "x" << line;
  }
  EXPECT_EQ(CloseAndReadText(), "(bold first\n(bold second)\n(title (bold x\n(title ))");
}

TEST_F(TracePageTest, BlockStatementsGetRowsOfTheirOwnAndArePublished) {
  trace(w(), block, bold) << "Total: " << 42;  // the first row: its leading "\n" is dropped
  trace(w()) << "mid";
  trace(w(), block) << "a(b)\r\n";  // already at a row start: no empty row follows
  trace(w(), block) << "last";

  // Each block flushed before its closing row end: a reader sees the rows up to "last".
  TalMonitorBase reader;
  reader.SetPageName(path_.c_str());
  ASSERT_TRUE(reader.Open());
  uint32_t count = 0;
  ASSERT_TRUE(reader.GetCount(count));
  EXPECT_EQ(count, 4u);

  EXPECT_EQ(CloseAndReadText(), "(bold Total: 42)\nmid\n(raw 4 a(b))\nlast\n");
}

}  // namespace
