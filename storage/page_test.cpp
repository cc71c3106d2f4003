#include "storage/page.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <stdexcept>

#include "storage/page_test_support.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Page;
using talmon_test::Rows;
using talmon_test::ScopedDataDir;
using talmon_test::Slurp;

void Spill(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string U32(uint32_t v) {
  std::string s;
  for (int i = 0; i < 4; ++i)
    s += static_cast<char>((v >> (8 * i)) & 0xFF);
  return s;
}

std::string Header(uint32_t textLength, uint32_t rowLength, char last, bool lineStart) {
  return U32(textLength) + U32(rowLength) + last + static_cast<char>(lineStart) +
         std::string(2, '\0');
}

uint32_t StampOf(const std::string& rowFile, uint32_t row) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i)
    v = v << 8 | static_cast<unsigned char>(rowFile[16 + 8 * row + i]);
  return v;
}

TEST(PageTest, BytesOnDiskAfterOpenAndFlush) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log.old"), true);  // the extension is replaced
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"0001Log.ROW", "0001Log.TXT"}));
  std::string rows = Slurp(dir.file("0001Log.ROW"));
  ASSERT_EQ(rows.size(), 20u);
  const uint32_t s0 = StampOf(rows, 0);
  EXPECT_EQ(rows, std::string(12, '\0') + U32(0) + U32(s0));
  auto reader = Page(dir.file("0001Log"), false);
  EXPECT_TRUE(Rows(*reader).empty());

  ASSERT_TRUE(writer->Write("a\nb"));
  ASSERT_TRUE(writer->Flush());
  rows = Slurp(dir.file("0001Log.ROW"));
  EXPECT_EQ(rows, Header(3, 28, 'b', false) + U32(0) + U32(s0) + U32(2) + U32(s0 + 1));
  EXPECT_EQ(Slurp(dir.file("0001Log.TXT")), "a\nb");
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|2", "b|1"}));
}

// Runs a writer script: "<name" opens a tag, ">" closes one, "+" and "-" push and pop a tab,
// "[" saves, "]" restores, "!" commits; anything else is written. Returns it for messages.
std::string RunScript(TalMonitorBase& w, const std::vector<std::string>& ops) {
  std::string shown;
  for (const std::string& op : ops) {
    const char k = op.empty() ? 0 : op[0];
    if (k == '<') w.OpenTag(op.c_str() + 1);
    if (k == '>') w.CloseTag();
    if (k == '+') w.PushTab();
    if (k == '-') w.PopTab();
    if (k == '[') w.Save();
    if (k == ']') w.Restore();
    if (k == '!') w.Commit();
    if (k == 0 || strchr("<>+-[]!", k) == nullptr) w.Write(op.c_str());
    for (char c : op)
      shown += c == '\n' ? std::string("\\n") : std::string(1, c);
    shown += " | ";
  }
  return shown;
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
    const std::string script = RunScript(*writer, c.ops);
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

TEST(PageTest, SaveStackLimits) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  EXPECT_FALSE(writer->Restore());
  writer->Write("a");
  for (uint32_t i = 0; i < TalMonitorBase::kSaveDepth; ++i) {
    ASSERT_TRUE(writer->Save()) << "save " << i;
  }
  EXPECT_FALSE(writer->Save());
  writer->Write("b");
  for (uint32_t i = 0; i < TalMonitorBase::kSaveDepth; ++i) {
    ASSERT_TRUE(writer->Restore()) << "restore " << i;
  }
  EXPECT_FALSE(writer->Restore());
  writer->Flush();
  auto reader = Page(dir.file("0001Log"), false);
  EXPECT_EQ(Rows(*reader), (std::vector<std::string>{"a|1"}));
}

TEST(PageTest, LiveLastRowStopsAtPublishedLength) {
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
}

TEST(PageTest, ReaderRangeAndStamps) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  auto other = Page(dir.file("0001Other"), true);
  auto reader = Page(dir.file("0001Log"), false);
  other->Write("x\n");
  writer->Write("a\nb");
  writer->Flush();
  uint32_t count = 0;
  ASSERT_TRUE(reader->GetCount(count));
  ASSERT_EQ(count, 2u);
  const char* text = nullptr;
  uint32_t length = 0;
  EXPECT_FALSE(reader->GetRow(2, text, length));
  EXPECT_FALSE(reader->GetRow(0xFFFFFFFFu, text, length));
  // One counter for every page of the process: rows of two pages interleave by stamp.
  uint32_t s0 = 0, s1 = 0;
  ASSERT_TRUE(reader->GetStamp(0, s0));
  ASSERT_TRUE(reader->GetStamp(1, s1));
  EXPECT_EQ(s1, s0 + 3);  // Log row 0, Other rows 0 and 1, Log row 1
  // GetStamp answers from the header the reader last read.
  writer->Write("\nc");
  writer->Flush();
  EXPECT_FALSE(reader->GetStamp(2, s1));
  ASSERT_TRUE(reader->GetCount(count));
  EXPECT_TRUE(reader->GetStamp(2, s1));
}

TEST(PageTest, CloseCutsFilesToTheirLengths) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  writer->Write("abc\ndef");
  writer->Flush();
  writer->Save();
  writer->Write("tempo\nrary");
  writer->Restore();
  writer->Write("\n");  // written, never flushed
  writer.reset();
  EXPECT_EQ(Slurp(dir.file("0001Log.TXT")), "abc\ndef\n");
  const std::string rows = Slurp(dir.file("0001Log.ROW"));
  EXPECT_EQ(rows.size(), 36u);
  EXPECT_EQ(rows.substr(0, 12), Header(7, 28, 'f', false));
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
      {"huge next offset",
       Header(9, 28, 0, 0) + U32(0) + U32(1) + U32(0xFFFFFFF0u) + U32(2),
       big,
       {big + "|100000", "|0"}},
      {"partial record", Header(3, 20, 0, 0) + U32(0), "abc", {"<fail>"}},
  };
  for (const Case& c : cases) {
    ScopedDataDir dir;
    Spill(dir.file("0001Bad.ROW"), c.rowFile);
    Spill(dir.file("0001Bad.TXT"), c.textFile);
    auto reader = Page(dir.file("0001Bad"), false);
    EXPECT_EQ(Rows(*reader), c.rows) << "case: " << c.name;
  }
}

TEST(PageTest, EmptyStacksRaiseAndNamesAreCopied) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  EXPECT_THROW(writer->CloseTag(), std::invalid_argument);
  EXPECT_THROW(writer->PopTab(), std::invalid_argument);
  EXPECT_THROW(writer->PopName(), std::invalid_argument);
  EXPECT_THROW(writer->GetTopName(), std::invalid_argument);
  char name[] = "outer";
  EXPECT_TRUE(writer->PushName(name));
  name[0] = 'X';
  EXPECT_STREQ(writer->GetTopName(), "outer");
  writer->PushName("inner");
  EXPECT_STREQ(writer->GetTopName(), "inner");
  writer->PopName();
  EXPECT_STREQ(writer->GetTopName(), "outer");
}

}  // namespace
