// Trace statements through a real page writer, read back from the page's files: what a viewer
// finally gets of block statements.
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "storage/page.h"
#include "talmon/trace.h"
#include "tests/support/temp_dir.h"

namespace {

// Each block statement gets rows of its own and is flushed before its closing row end, so a
// reader sees every row up to the last one.
TEST(TracePage, BlockStatementsGetRowsOfTheirOwnAndArePublished) {
  talmon_test::ScopedDataDir dir;
  const std::string path = dir.file("0001Trace.TXT");
  auto page = std::make_unique<TalMonitorBase>();
  page->SetPageName(path.c_str());
  page->SetWriter(true);
  page->SetDeleteOnClose(false);
  ASSERT_TRUE(page->Open());
  trace(*page, block, bold) << "Total: " << 42;  // the first row: its leading "\n" is dropped
  trace(*page) << "mid";
  trace(*page, block) << "a(b)\r\n";  // already at a row start: no empty row follows
  trace(*page, block) << "last";

  TalMonitorBase reader;
  reader.SetPageName(path.c_str());
  ASSERT_TRUE(reader.Open());
  uint32_t count = 0;
  ASSERT_TRUE(reader.GetCount(count));
  EXPECT_EQ(count, 4u);
  page.reset();  // the writer cuts its files to their lengths
  std::ifstream in(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}),
            "(bold Total: 42)\nmid\n(raw 4 a(b))\nlast\n");
}

}  // namespace
