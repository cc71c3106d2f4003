#include "talmon/monitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storage/memory.h"

namespace {

TEST(NullMonitorTest, AcceptEverythingStoreNothing) {
  IMonitorWriter& w = MonitorWriterNull::Instance();
  // Pops before pushes and a null text: unlike a page, no call may fail or raise.
  EXPECT_TRUE(w.CloseTag() && w.PopTab() && w.PopName() && w.Restore() && w.Write(nullptr) &&
              w.Write("x\n") && w.OpenTag("bold") && w.PushTab() && w.Save() && w.Commit() &&
              w.PushName("n") && w.Flush() && w.Delete());
  EXPECT_EQ(w.GetTopName(), nullptr);
  char last = '?';
  EXPECT_FALSE(w.GetLastChar(last));
  EXPECT_EQ(last, '?');
  IMonitorReader& r = MonitorReaderNull::Instance();
  uint32_t count = 7;
  EXPECT_TRUE(r.Update() && r.GetCount(count));
  EXPECT_EQ(count, 0u);
  const char* text = nullptr;
  EXPECT_FALSE(r.GetRow(0, text, count) || r.GetStamp(0, count));
}

TEST(MemoryMonitorTest, WritesBecomeRows) {
  static const char kDelete[] = "<delete>";
  struct Case {
    std::vector<const char*> writes;  // kDelete: Delete() instead of Write
    std::vector<std::string> rows;
  };
  const Case cases[] = {
      {{}, {}},
      {{""}, {""}},
      {{nullptr}, {}},
      {{"a\nb"}, {"a", "b"}},
      {{"a\nb", "\n"}, {"a", "b", ""}},
      {{"\n\n"}, {"", "", ""}},
      {{"a", "b\nc", "d"}, {"ab", "cd"}},
      {{"a\nb", kDelete}, {}},
      {{"a\nb", kDelete, "c"}, {"c"}},  // starts again with a first row
  };
  for (const Case& c : cases) {
    TalMonitorMemory m;
    std::string input;
    for (const char* w : c.writes) {
      EXPECT_TRUE(w == kDelete ? m.Delete() : m.Write(w));
      input += std::string("[") + (w ? w : "null") + "]";
    }
    // Markup stores nothing; rows carry no stamp and a length of 0.
    EXPECT_TRUE(m.OpenTag("bold") && m.CloseTag() && m.CloseTag() && m.Save() && m.Restore());
    char last = '?';
    EXPECT_FALSE(m.GetLastChar(last)) << "case: " << input;
    std::vector<std::string> rows;
    uint32_t count = 0, length = 99;
    const char* text = nullptr;
    EXPECT_TRUE(m.GetCount(count));
    for (uint32_t i = 0; i < count && m.GetRow(i, text, length) && length == 0; ++i)
      rows.push_back(text);
    EXPECT_EQ(rows, c.rows) << "case: " << input;
    EXPECT_FALSE(m.GetRow(count, text, length) || m.GetStamp(0, length)) << "case: " << input;
  }
}

}  // namespace
