// The batch read against GetRow and GetStamp, row for row: on pages that grow, shrink and
// are replaced, on corrupt and truncated pages, and through every kind of reader.
#include "talmon/row_batch.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "session/stamped_page_test_support.h"
#include "storage/memory.h"
#include "storage/page_test_support.h"
#include "talmon/readers.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Header;
using talmon_test::Page;
using talmon_test::ScopedDataDir;
using talmon_test::StampedPage;
using talmon_test::U32;

// A row as a reader hands it out: every byte it vouches for, its length and its stamp.
std::string Describe(const char* text, uint32_t length, uint32_t stamp) {
  const size_t size = std::max<size_t>(length, std::strlen(text));
  return std::string(text, size) + "|" + std::to_string(length) + "|" + std::to_string(stamp);
}

// Rows [first, first + count) through GetRow and GetStamp, up to the first refused.
std::vector<std::string> OneByOne(IMonitorReader& reader, uint32_t first, uint32_t count) {
  std::vector<std::string> rows;
  for (uint32_t row = first; row - first < count; ++row) {
    const char* text = nullptr;
    uint32_t length = 0, stamp = 0;
    if (!reader.GetRow(row, text, length)) break;
    if (!reader.GetStamp(row, stamp)) stamp = 0;
    rows.push_back(Describe(text, length, stamp));
  }
  return rows;
}

std::vector<std::string> Batched(IMonitorReader& reader, uint32_t first, uint32_t count) {
  TalMonitorRowBatch batch;
  const uint32_t read = batch.Read(reader, first, count);
  EXPECT_EQ(read, batch.Size());
  EXPECT_EQ(batch.First(), first);
  std::vector<std::string> rows;
  for (uint32_t i = 0; i < batch.Size(); ++i)
    rows.push_back(Describe(batch.Text(i), batch.Length(i), batch.Stamp(i)));
  return rows;
}

// Compares every range of up to count + 2 rows that starts at 0, 1 or near the end.
void ExpectSameAsGetRow(IMonitorReader& reader, const std::string& label) {
  uint32_t count = 0;
  reader.GetCount(count);
  for (uint32_t first : {0u, 1u, count > 2 ? count - 2 : 0u, count, 0xFFFFFFF0u}) {
    for (uint32_t n : {1u, 3u, count + 2, 0xFFFFFFFFu}) {
      EXPECT_EQ(Batched(reader, first, n), OneByOne(reader, first, std::min(n, count + 4)))
          << "case: " << label << ", rows from " << first << ", " << n;
    }
  }
}

TEST(RowBatch, GrowingPageWithTemporaryRowsAndLongRows) {
  ScopedDataDir dir;
  auto writer = Page(dir.file("0001Log"), true);
  auto reader = Page(dir.file("0001Log"), false);
  const std::string longRow(1500000, 'x');  // past one text read: GetRow reads it itself
  const std::vector<std::vector<std::string>> steps = {
      {},
      {"a\nb"},
      {"\n\n\n"},
      {"c\n", "[", "progress 10%"},
      {"]", "[", "progress 20%\nand a row the restore drops\n"},
      {"]", "done\n", longRow, "\nafter\n"},
      {"tail without a line feed"},
  };
  int step = 0;
  for (const auto& ops : steps) {
    for (const std::string& op : ops) {
      if (op == "[") {
        writer->Save();
      } else if (op == "]") {
        writer->Restore();
      } else {
        writer->Write(op.c_str());
      }
    }
    writer->Flush();
    ExpectSameAsGetRow(*reader, "step " + std::to_string(step++));
  }
  // Written but not flushed: the batch sees the last published state, as GetRow does.
  writer->Write("\nunpublished\n");
  ExpectSameAsGetRow(*reader, "unflushed");
  // The page is replaced by a shorter one while the reader keeps its files open.
  writer.reset();
  auto second = Page(dir.file("0001Log"), true);
  second->Write("new");
  second->Flush();
  ExpectSameAsGetRow(*reader, "replaced");
}

TEST(RowBatch, CorruptAndTruncatedPages) {
  const std::string big(100000, 'z');
  const struct {
    const char* name;
    std::string rowFile;
    std::string textFile;
  } cases[] = {
      {"header claims more rows than the file holds",
       Header(5, 44, 0, 0) + U32(0) + U32(1) + U32(3) + U32(2), "ab\ncd"},
      {"header claims half a billion rows and 4 GiB of text",
       Header(0xFFFFFFF0u, 0xFFFFFFF4u, 0, 0) + U32(0) + U32(1) + U32(3) + U32(2), "ab\ncd"},
      {"offsets running backwards",
       Header(5, 36, 0, 0) + U32(3) + U32(1) + U32(1) + U32(2) + U32(4) + U32(3), "ab\ncd"},
      {"row length below the header", Header(5, 4, 0, 0), "ab"},
      {"row length not a whole record", Header(5, 25, 0, 0) + U32(0) + U32(1) + U32(2) + U32(2),
       "ab\ncd"},
      {"text length past the end of the text",
       Header(500, 28, 0, 0) + U32(0) + U32(1) + U32(2) + U32(2), "a\nshort"},
      {"record pointing past the text",
       Header(9, 36, 0, 0) + U32(0) + U32(1) + U32(7000) + U32(2) + U32(7003) + U32(3), "ab\ncd"},
      {"huge next offset", Header(9, 28, 0, 0) + U32(0) + U32(1) + U32(0xFFFFFFF0u) + U32(2), big},
      {"last row past the text length",
       Header(2, 28, 0, 0) + U32(0) + U32(1) + U32(4) + U32(2) + U32(9) + U32(9), "a\nbcdef"},
      {"last row past the text length, no record after it",
       Header(2, 28, 0, 0) + U32(0) + U32(1) + U32(4) + U32(2), "a\nbcdef"},
      {"partial record", Header(3, 20, 0, 0) + U32(0), "abc"},
      {"no row file", "", "abc"},
      {"header only, no text file", Header(3, 20, 0, 0), "<none>"},
      {"rows whose text begins with a zero byte",
       Header(6, 28, 0, 0) + U32(0) + U32(1) + U32(3) + U32(2), std::string("a\n\0b\0c", 6)},
  };
  for (const auto& c : cases) {
    ScopedDataDir dir;
    if (!c.rowFile.empty()) std::ofstream(dir.file("0001Bad.ROW"), std::ios::binary) << c.rowFile;
    if (c.textFile != "<none>") {
      std::ofstream(dir.file("0001Bad.TXT"), std::ios::binary) << c.textFile;
    }
    auto reader = Page(dir.file("0001Bad"), false);
    ExpectSameAsGetRow(*reader, c.name);
  }
}

TEST(RowBatch, EveryKindOfReader) {
  ScopedDataDir dir;
  IMonitorWriter* a = nullptr;
  IMonitorWriter* b = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(1, "A", false, &a));
  ASSERT_TRUE(TalOpenMonitorWriter(1, "B", false, &b));
  for (int i = 0; i < 40; ++i) {
    IMonitorWriter* w = i % 3 == 0 ? b : a;
    w->Write((std::string(i < 3 ? "" : "\n") + "row " + std::to_string(i)).c_str());
  }
  a->Flush();
  b->Flush();

  TalMonitorReaderPageOrder* pages = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderPageOrder(1, "*", &pages));
  for (bool separator : {false, true}) {
    pages->SetSeparator(separator);
    pages->Update();
    ExpectSameAsGetRow(*pages, separator ? "pages with separators" : "pages");
  }
  TalMonitorReaderTime* merged = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderTime(1, &merged));
  for (const char* page : {"B", "A"}) {
    IMonitorReader* reader = nullptr;
    ASSERT_TRUE(TalOpenMonitorReader(1, page, &reader));
    merged->AddReader(reader);
  }
  merged->AddReader(new StampedPage("s", {2, 4, 6, 7}));
  merged->Update();
  ExpectSameAsGetRow(*merged, "merged");
  // Rows flushed after the merge's Update: the merged rows keep their place.
  a->Write("\nlate");
  a->Flush();
  ExpectSameAsGetRow(*merged, "merged, a page grown since");

  TalMonitorMemory memory;
  memory.Write("m0\nm1\n");
  ExpectSameAsGetRow(memory, "memory");
  StampedPage stamped("s", {3, 1, 2});
  ExpectSameAsGetRow(stamped, "a reader of the library's user");

  TalCloseMonitorReader(merged);
  TalCloseMonitorReader(pages);
  TalCloseMonitorWriter(a);
  TalCloseMonitorWriter(b);
}

}  // namespace
