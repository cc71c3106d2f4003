#include "talmon/monitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storage/memory.h"

namespace {

TEST(NullMonitorTest, AcceptEverythingStoreNothing) {
  IMonitorWriter& w = MonitorWriterNull::Instance();
  EXPECT_EQ(&w, &MonitorWriterNull::Instance());
  // Pops before pushes and a null text: no call may fail.
  EXPECT_TRUE(w.CloseTag() && w.PopTab() && w.PopName() && w.Restore() && w.Write(nullptr) &&
              w.Write("x\n") && w.OpenTag("bold") && w.PushTab() && w.Save() && w.Commit() &&
              w.PushName("n") && w.Flush() && w.Delete());
  EXPECT_EQ(w.GetTopName(), nullptr);
  char last = '?';
  EXPECT_FALSE(w.GetLastChar(last));
  EXPECT_EQ(last, '?');

  IMonitorReader& r = MonitorReaderNull::Instance();
  EXPECT_TRUE(r.Update());
  uint32_t count = 7;
  EXPECT_TRUE(r.GetCount(count));
  EXPECT_EQ(count, 0u);
  const char* text = nullptr;
  uint32_t value = 0;
  EXPECT_FALSE(r.GetRow(0, text, value));
  EXPECT_FALSE(r.GetStamp(0, value));
}

// Rows of a memory monitor; its length is always reported as 0.
std::vector<std::string> Rows(TalMonitorMemory& m) {
  std::vector<std::string> rows;
  uint32_t count = 0;
  m.GetCount(count);
  for (uint32_t i = 0; i < count; ++i) {
    const char* text = nullptr;
    uint32_t length = 99;
    EXPECT_TRUE(m.GetRow(i, text, length));
    EXPECT_EQ(length, 0u) << "row " << i;
    rows.push_back(text);
  }
  const char* text = nullptr;
  uint32_t value = 0;
  EXPECT_FALSE(m.GetRow(count, text, value));
  return rows;
}

TEST(MemoryMonitorTest, WritesBecomeRows) {
  struct Case {
    std::vector<const char*> writes;
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
  };
  for (const Case& c : cases) {
    TalMonitorMemory m;
    std::string input;
    for (const char* w : c.writes) {
      EXPECT_TRUE(m.Write(w));
      input += std::string("[") + (w ? w : "null") + "]";
    }
    EXPECT_EQ(Rows(m), c.rows) << "case: " << input;
  }
}

TEST(MemoryMonitorTest, DeleteStartsAgainWithAFirstRow) {
  TalMonitorMemory m;
  m.Write("a\nb");
  EXPECT_TRUE(m.Delete());
  EXPECT_EQ(Rows(m), std::vector<std::string>{});
  m.Write("c");
  EXPECT_EQ(Rows(m), std::vector<std::string>{"c"});
  // Rows carry no stamp, and the markup operations store nothing.
  uint32_t stamp = 0;
  EXPECT_FALSE(m.GetStamp(0, stamp));
  IMonitorWriter& w = m;
  char last = '?';
  EXPECT_TRUE(w.OpenTag("bold") && w.CloseTag() && w.CloseTag() && w.Save() && w.Restore());
  EXPECT_FALSE(w.GetLastChar(last));
  EXPECT_EQ(last, '?');
  EXPECT_EQ(Rows(m), std::vector<std::string>{"c"});
}

}  // namespace
