#include "storage/page.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <stdexcept>

#include "storage/page_test_support.h"
#include "tests/support/small_disk.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Header;
using talmon_test::Page;
using talmon_test::Rows;
using talmon_test::ScopedDataDir;
using talmon_test::Slurp;
using talmon_test::U32;

TEST(PageTest, BytesOnDiskAndStamps) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log.old"), true);  // the extension is replaced
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"0001Log.ROW", "0001Log.TXT"}));
  std::string rows = Slurp(dir.file("0001Log.ROW"));
  ASSERT_EQ(rows.size(), 20u);
  uint32_t s0 = 0;  // the first stamp, little-endian at bytes 16 to 19
  for (int i = 19; i >= 16; --i)
    s0 = s0 << 8 | static_cast<unsigned char>(rows[i]);
  EXPECT_EQ(rows, std::string(12, '\0') + U32(0) + U32(s0));
  auto reader = Page(dir.file("0001Log"), false);
  EXPECT_TRUE(Rows(*reader).empty());

  ASSERT_TRUE(writer->Write("a\nb"));
  ASSERT_TRUE(writer->Flush());
  rows = Slurp(dir.file("0001Log.ROW"));
  EXPECT_EQ(rows, Header(3, 28, 'b', false) + U32(0) + U32(s0) + U32(2) + U32(s0 + 1));
  EXPECT_EQ(Slurp(dir.file("0001Log.TXT")), "a\nb");
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|2", "b|1"}));
  const char* text = nullptr;
  uint32_t length = 0, stamp = 0;
  EXPECT_FALSE(reader->GetRow(2, text, length));
  EXPECT_FALSE(reader->GetRow(0xFFFFFFFFu, text, length));

  // One counter for every page of the process: rows of two pages interleave by stamp.
  auto other = Page(dir.file("0001Other"), true);  // its row 0 takes s0 + 2
  writer->Write("\nc");
  writer->Flush();
  // GetStamp answers from the header the reader last read.
  EXPECT_FALSE(reader->GetStamp(2, stamp));
  uint32_t count = 0;
  ASSERT_TRUE(reader->GetCount(count));
  ASSERT_TRUE(reader->GetStamp(2, stamp));
  EXPECT_EQ(stamp, s0 + 3);
}

// Runs a writer script: "<name" opens a tag, ">" closes one, "+" and "-" push and pop a tab,
// "[" saves, "]" restores, "!" commits; anything else is written.
void RunScript(TalMonitorBase& w, const std::vector<std::string>& ops) {
  const std::map<char, bool (TalMonitorBase::*)()> calls = {
      {'>', &TalMonitorBase::CloseTag}, {'+', &TalMonitorBase::PushTab},
      {'-', &TalMonitorBase::PopTab},   {'[', &TalMonitorBase::Save},
      {']', &TalMonitorBase::Restore},  {'!', &TalMonitorBase::Commit}};
  for (const std::string& op : ops) {
    const auto call = calls.find(op.empty() ? 0 : op[0]);
    if (call != calls.end()) {
      (w.*call->second)();
    } else {
      op[0] == '<' ? w.OpenTag(op.c_str() + 1) : w.Write(op.c_str());
    }
  }
}

TEST(PageTest, WriterScriptsGiveTextRowsAndLastChar) {
  struct Case {
    std::vector<std::string> ops;
    std::string text;  // the text file after the writer closed
    std::vector<std::string> rows;
    char lastChar;
  };
  const Case cases[] = {
      // Line feeds.
      {{"a\n\nb"}, "a\n\nb", {"a|2", "\nb|2"}, 'b'},
      {{"a\n", "\nb"}, "a\n\nb", {"a|2", "|1", "b|1"}, 'b'},
      {{"a\n\n\n"}, "a\n\n\n", {"a|2", "\n|2", "|0"}, '\n'},
      {{"\n\na"}, "a", {"a|1"}, 'a'},
      {{"\n", "", "a\n"}, "a\n", {"a|2", "|0"}, '\n'},
      // Open tags restated at row starts: counted in the lengths, never the last char.
      {{"<bold", "x\ny"}, "(bold x\n(bold y", {"(bold x|8", "(bold y|7"}, 'y'},
      {{"+", "<bold", "x\ny"}, "\t(bold x\n\t(bold y", {"\t(bold x|9", "\t(bold y|8"}, 'y'},
      {{"<bold", "<title", "x\n", ">"},
       "(bold (title x\n(bold )",
       {"(bold (title x|15", "(bold )|7"},
       '\n'},
      {{"+", "x\n", "-", "y"}, "\tx\ny", {"\tx|3", "y|1"}, 'y'},
      {{"<bold", "x", ">", "<link"}, "(bold x)(link ", {"(bold x)(link |14"}, 'x'},
      // Temporary text.
      {{"row\n", "[", "progress 50%\nmore", "]", "x"}, "row\nx", {"row|4", "x|1"}, 'x'},
      {{"[", "temp", "!", "]", "new"}, "tempnew", {"tempnew|7"}, 'w'},
      {{"[", "1", "[", "2", "]", "3"}, "13", {"13|2"}, '3'},
      {{"[", "1", "[", "2", "!", "]", "]"}, "12", {"12|2"}, '2'},
      {{"[", "t", "]", "\nx"}, "x", {"x|1"}, 'x'},
      {{"[", "<b", "]", "x"}, "(b x", {"(b x|4"}, 'x'},
  };
  for (const Case& c : cases) {
    ScopedDataDir dir;
    auto writer = Page(dir.file("0001Log"), true);
    RunScript(*writer, c.ops);
    const std::string script = ::testing::PrintToString(c.ops);
    writer->Flush();
    char last = '?';
    EXPECT_TRUE(writer->GetLastChar(last));
    EXPECT_EQ(last, c.lastChar) << "case: " << script;
    auto reader = Page(dir.file("0001Log"), false);
    EXPECT_EQ(Rows(*reader), c.rows) << "case: " << script;
    writer.reset();
    EXPECT_EQ(Slurp(dir.file("0001Log.TXT")), c.text) << "case: " << script;
  }
}

TEST(PageTest, StackLimits) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  EXPECT_FALSE(writer->Restore());
  EXPECT_THROW(writer->CloseTag(), std::invalid_argument);
  EXPECT_THROW(writer->PopTab(), std::invalid_argument);
  EXPECT_THROW(writer->PopName(), std::invalid_argument);
  EXPECT_THROW(writer->GetTopName(), std::invalid_argument);
  writer->Write("a");
  for (uint32_t i = 0; i < TalMonitorBase::kSaveDepth; ++i)
    ASSERT_TRUE(writer->Save()) << i;
  EXPECT_FALSE(writer->Save());
  writer->Write("b");
  for (uint32_t i = 0; i < TalMonitorBase::kSaveDepth; ++i)
    ASSERT_TRUE(writer->Restore()) << i;
  EXPECT_FALSE(writer->Restore());
  writer->Flush();
  auto reader = Page(dir.file("0001Log"), false);
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|1"}));

  char name[] = "outer";  // names are copied
  EXPECT_TRUE(writer->PushName(name));
  name[0] = 'X';
  writer->PushName("inner");
  EXPECT_STREQ(writer->GetTopName(), "inner");
  writer->PopName();
  EXPECT_STREQ(writer->GetTopName(), "outer");
}

TEST(PageTest, PublishedLengthsAndTheCutAtClose) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  auto reader = Page(dir.file("0001Log"), false);
  writer->Write("a\nbc");
  writer->Flush();
  writer->Write("def");  // not published
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|2", "bc|2"}));
  // Temporary text that was published, then dropped and overwritten by a shorter text:
  // the file still holds its tail until the writer closes.
  writer->Write("\n");
  writer->Save();
  writer->Write("progress 50%");
  writer->Flush();
  EXPECT_EQ(Rows(*reader).back(), "progress 50%|12");
  writer->Restore();
  writer->Write("ok");
  writer->Flush();
  EXPECT_EQ(Slurp(dir.file("0001Log.TXT")), "a\nbcdef\nokogress 50%");
  EXPECT_EQ(Rows(*reader).back(), "ok|2");
  // Closing cuts both files to what was written, flushed or not, but leaves the header as
  // last published.
  writer->Write("\n");
  writer.reset();
  EXPECT_EQ(Slurp(dir.file("0001Log.TXT")), "a\nbcdef\nok\n");
  const std::string rows = Slurp(dir.file("0001Log.ROW"));
  EXPECT_EQ(rows.size(), 44u);
  EXPECT_EQ(rows.substr(0, 12), Header(10, 36, 'k', false));
}

TEST(PageTest, DeleteRemovesBothFiles) {
  ScopedDataDir dir;
  auto kept = Page(dir.file("0001Kept"), true);
  EXPECT_TRUE(kept->Write(nullptr));
  kept->Write("x");
  EXPECT_TRUE(kept->Delete());
  EXPECT_FALSE(kept->Delete());
  EXPECT_FALSE(kept->Write("more"));  // closed
  EXPECT_TRUE(kept->Write(nullptr));
  kept.reset();
  EXPECT_EQ(dir.list(), std::vector<std::string>{});
}

TEST(PageTest, OpenFailures) {
  ScopedDataDir dir;
  bool opened = false;
  Page(dir.file("sub/0001Log"), true, true, &opened);
  EXPECT_TRUE(opened) << "one missing directory level is made";
  Page(dir.file("a/b/0001Log"), true, true, &opened);
  EXPECT_FALSE(opened) << "two levels are not";

  // Access denied twice (directories where the files belong, denied even to root): the
  // open counts as done and the page silently stores nothing.
  mkdir(dir.file("0001Denied.TXT").c_str(), 0700);
  mkdir(dir.file("0001Denied.ROW").c_str(), 0700);
  auto page = Page(dir.file("0001Denied"), true, false, &opened);
  EXPECT_TRUE(opened);
  EXPECT_TRUE(page->Write("x\ny"));
  EXPECT_TRUE(page->Flush());
  char last = '?';
  page->GetLastChar(last);
  EXPECT_EQ(last, '\0');
  EXPECT_FALSE(page->CheckWrites());
  page.reset();
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"0001Denied.ROW", "0001Denied.TXT", "sub"}));
}

TEST(PageTest, CorruptPagesFailCleanly) {
  struct Case {
    const char* name;
    std::string rowFile;
    std::string textFile;
    std::vector<std::string> rows;
  };
  const std::string big(100000, 'z');
  const Case cases[] = {
      {"header claims more rows than the file holds",
       Header(5, 28, 0, 0) + U32(0) + U32(1),
       "ab\ncd",
       {"ab\ncd|5", "<fail>"}},
      {"offsets running backwards",
       Header(5, 28, 0, 0) + U32(3) + U32(1) + U32(1) + U32(2),
       "ab\ncd",
       {"<fail>", "b\ncd|4"}},
      {"row length below the header", Header(5, 4, 0, 0), "ab", {}},
      {"text length past the end of the text",
       Header(500, 20, 0, 0) + U32(0) + U32(1),
       "short",
       {"short|5"}},
      {"huge next offset: a row past the ceiling",
       Header(9, 28, 0, 0) + U32(0) + U32(1) + U32(0xFFFFFFF0u) + U32(2),
       big,
       {"<fail>", "|0"}},
      {"partial record", Header(3, 20, 0, 0) + U32(0), "abc", {"<fail>"}},
  };
  for (const Case& c : cases) {
    ScopedDataDir dir;
    std::ofstream(dir.file("0001Bad.ROW"), std::ios::binary) << c.rowFile;
    std::ofstream(dir.file("0001Bad.TXT"), std::ios::binary) << c.textFile;
    auto reader = Page(dir.file("0001Bad"), false);
    EXPECT_EQ(Rows(*reader), c.rows) << "case: " << c.name;
  }

  // No row costs more than the ceiling, whatever the header claims: a sparse text file
  // makes a row of any length cheap to forge.
  for (uint32_t size : {TalMonitorBase::kMaxRowBytes, TalMonitorBase::kMaxRowBytes + 1}) {
    ScopedDataDir dir;
    std::ofstream(dir.file("0001Big.ROW"), std::ios::binary)
        << Header(size, 20, 0, 0) + U32(0) + U32(1);
    std::ofstream(dir.file("0001Big.TXT"), std::ios::binary) << "x";
    ASSERT_EQ(truncate(dir.file("0001Big.TXT").c_str(), size), 0);
    auto reader = Page(dir.file("0001Big"), false);
    const std::string want =
        size <= TalMonitorBase::kMaxRowBytes ? "x|" + std::to_string(size) : "<fail>";
    EXPECT_EQ(Rows(*reader), std::vector<std::string>{want}) << "case: " << size;
  }
}

// On a full disk the text file and the row file fail at different moments. The page must
// stay whole: every row a reader sees is one that was written, text and record, and after
// the first failure nothing more is published.
TEST(PageTest, FullDiskKeepsThePageConsistent) {
  ScopedDataDir dir;
  talmon_test::SmallDisk disk(dir.file("small"), 64 * 1024);
  if (!disk.available()) GTEST_SKIP() << talmon_test::SmallDisk::kSkipMessage;
  auto writer = Page(disk.path() + "0001Log", true);
  const std::string filler(150, '.');
  std::vector<std::string> written;
  for (int i = 0; i < 2000 && writer->CheckWrites(); ++i) {
    const std::string row = "row " + std::to_string(i) + filler;
    EXPECT_TRUE(writer->Write((row + "\n").c_str()));
    EXPECT_TRUE(writer->Flush());
    if (writer->CheckWrites()) written.push_back(row + "|" + std::to_string(row.size() + 1));
  }
  ASSERT_FALSE(writer->CheckWrites()) << "the disk never filled";
  ASSERT_GT(written.size(), 10u);
  auto reader = Page(disk.path() + "0001Log", false);
  std::vector<std::string> rows = Rows(*reader);
  // The row begun by the last line feed that reached the files is empty and published.
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(rows.back(), "|0");
  rows.pop_back();
  EXPECT_EQ(rows, written);
  writer->Write("more\n");
  writer->Flush();
  rows.push_back("|0");
  EXPECT_EQ(Rows(*reader), rows) << "published after a failure";
}

}  // namespace
