#include "session/session_store.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "session/test_util.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Exists;
using talmon_test::MakeFile;
using talmon_test::ScopedDataDir;

struct FileEntry {
  std::string name;
  std::string content;
  bool held;
};

struct NumberingCase {
  const char* label;
  std::vector<FileEntry> files;
  unsigned int last;
  unsigned int next;
  std::vector<std::string> survivors;  // sorted listing after the new session
};

TEST(SessionNumbering, ScanCleanUpAndRescan) {
  const NumberingCase cases[] = {
      {"empty directory", {}, 0, 1, {}},
      {"both files removed, numbering restarts",
       {{"0003A.TXT", "abc", false}, {"0007B.TXT", "xyz", false}},
       7,
       1,
       {}},
      {"held page keeps its session, numbering continues above it",
       {{"0003A.TXT", "abc", false}, {"0007B.TXT", "xyz", true}},
       7,
       8,
       {"0007B.TXT"}},
      {"names without a leading number survive",
       {{"abc.TXT", "1", false}, {"0000x.TXT", "2", false}, {"0002A.TXT", "3", false}},
       2,
       1,
       {"0000x.TXT", "abc.TXT"}},
      {"five digits count as four", {{"12345.TXT", "", false}}, 1234, 1235, {"12345.TXT"}},
      {"only empty files removed: no rescan",
       {{"0002A.TXT", "", false}, {"0004B.TXT", "data", true}},
       4,
       5,
       {"0004B.TXT"}},
      {"directories are neither counted nor removed",
       {{"0009dir/", "", false}, {"0002A.TXT", "x", false}},
       2,
       1,
       {"0009dir"}},
      {"only empty files at all: no clean-up", {{"0002A.TXT", "", false}}, 2, 3, {"0002A.TXT"}},
      {"the clean-up stops once the sizes are freed",
       {{"0001A.TXT", "abc", false}, {"0002B.TXT", "", false}},
       2,
       3,
       {"0002B.TXT"}},
  };
  for (const NumberingCase& c : cases) {
    ScopedDataDir dir;
    std::vector<KorinHandle> held;
    for (const FileEntry& f : c.files) {
      if (f.name.back() == '/') {
        mkdir(dir.file(f.name).c_str(), 0700);
      } else if (f.held) {
        held.push_back(talmon_test::Hold(dir.file(f.name), f.content));
      } else {
        MakeFile(dir.file(f.name), f.content);
      }
    }
    unsigned int session = 99;
    ASSERT_TRUE(TalMonitorGetLastSession(&session)) << "case: " << c.label;
    EXPECT_EQ(session, c.last) << "case: " << c.label;
    ASSERT_TRUE(TalMonitorDefineNewSession(&session)) << "case: " << c.label;
    EXPECT_EQ(session, c.next) << "case: " << c.label;
    EXPECT_EQ(dir.list(), c.survivors) << "case: " << c.label;
    for (KorinHandle h : held)
      Korin_CloseHandle(h);
  }
}

TEST(SessionNumbering, PrefixIsDataDirectoryAndFourDigits) {
  ScopedDataDir dir;
  char path[kTalMonMaxPath];
  ASSERT_TRUE(TalMonitorDefineSession(3, path));
  EXPECT_EQ(std::string(path), dir.path() + "0003");
  MakeFile(dir.file("0042Log.TXT"), "x");
  ASSERT_TRUE(TalMonitorDefineSession(0, path));
  EXPECT_EQ(std::string(path), dir.path() + "0042");
}

TEST(SessionNumbering, UnusableDataDirectoryMakesNothing) {
  ScopedDataDir dir;
  MakeFile(dir.file("plain"), "not a directory");
  setenv("TALMON_DATA_DIR", dir.file("plain/sub").c_str(), 1);
  unsigned int session = 5;
  EXPECT_FALSE(TalMonitorGetLastSession(&session));
  EXPECT_FALSE(TalCreateMonitorSession(&session));
  EXPECT_EQ(session, 0u);
  EXPECT_FALSE(Exists("0001Play.TXT"));  // never relative to the working directory
  IMonitorWriter* writer = nullptr;
  EXPECT_FALSE(TalOpenMonitorWriter(1, "Log", true, &writer));
  EXPECT_EQ(writer, nullptr);
}

std::vector<std::string> ReadAll(TalMonitorSelectPage& select) {
  std::vector<std::string> names;
  Korin::String name;
  while (select.Read(name))
    names.emplace_back(name.c_str());
  return names;
}

TEST(SelectPage, ListsPagesByPatternInCaseInsensitiveOrder) {
  ScopedDataDir dir;
  for (const char* f :
       {"0003Zeta.TXT", "0003alpha.TXT", "0003Beta.TXT", "0003Play.TXT", "0003Page10.TXT",
        "0003Page2.TXT", "0003page3.txt", "0003Beta.ROW", "0004Other.TXT", "0030Far.TXT"}) {
    MakeFile(dir.file(f), "");
  }
  struct Case {
    const char* pattern;
    std::vector<std::string> names;
  } cases[] = {
      {"*", {"alpha", "Beta", "Page10", "Page2", "page3", "Play", "Zeta"}},
      {"Page*", {"Page10", "Page2", "page3"}},
      {"p?ge*", {"Page10", "Page2", "page3"}},
      {"Nothing*", {}},
  };
  for (const Case& c : cases) {
    TalMonitorSelectPage select;
    select.SetSession(3);
    select.SetPattern(c.pattern);
    EXPECT_EQ(ReadAll(select), c.names) << "pattern: " << c.pattern;
  }
}

TEST(SelectPage, SettingsAfterTheFirstReadChangeNothing) {
  ScopedDataDir dir;
  MakeFile(dir.file("0001A.TXT"), "");
  MakeFile(dir.file("0001B.TXT"), "");
  MakeFile(dir.file("0002C.TXT"), "");
  TalMonitorSelectPage select;
  Korin::String name;
  EXPECT_FALSE(select.Read(name));  // session 0 by default: prefix 0000
  select.SetSession(1);
  EXPECT_FALSE(select.Read(name));  // the empty list was built already

  TalMonitorSelectPage second;
  second.SetSession(1);
  ASSERT_TRUE(second.Read(name));
  EXPECT_STREQ(name, "A");
  second.SetSession(2);
  second.SetPattern("Z*");
  ASSERT_TRUE(second.Read(name));
  EXPECT_STREQ(name, "B");
  EXPECT_FALSE(second.Read(name));
  EXPECT_FALSE(second.Read(name));
}

// Records the gap of every pass (the distance of its first comparison).
class GapRecorder : public talmon::ISortable {
 public:
  explicit GapRecorder(int count) : count_(count) {}
  int GetCount() override { return count_; }
  bool Compare(int i, int j, bool& after) override {
    if (i == 0) gaps.push_back(j - i);
    after = false;
    return true;
  }
  bool Swap(int, int) override { return true; }
  std::vector<int> gaps;

 private:
  int count_;
};

TEST(CombSort, GapsShrinkByTenThirteenthsAndSkipNineAndTen) {
  struct Case {
    int count;
    std::vector<int> gaps;
  } cases[] = {
      {14, {11, 8, 6, 4, 3, 2, 1}},  // 14 => 10 becomes 11
      {12, {11, 8, 6, 4, 3, 2, 1}},  // 12 => 9 becomes 11 (compares once: 0 and 11)
      {2, {1}},
      {1, {}},
  };
  for (const Case& c : cases) {
    GapRecorder recorder(c.count);
    EXPECT_TRUE(talmon::CombSort(recorder)) << "count: " << c.count;
    EXPECT_EQ(recorder.gaps, c.gaps) << "count: " << c.count;
  }
}

}  // namespace
