#include "talmon/session.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "session/test_util.h"
#include "talmon/readers.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Exists;
using talmon_test::MakeFile;
using talmon_test::ScopedDataDir;

std::string Row(IMonitorReader& reader, uint32_t row) {
  const char* text = nullptr;
  uint32_t length = 0;
  return reader.GetRow(row, text, length) ? std::string(text) : std::string("<none>");
}

TEST(CInterface, WriterAndReaderFollowTheSessionRules) {
  ScopedDataDir dir;
  IMonitorWriter* writer = nullptr;
  // No session at all: the writer lands in session 0.
  ASSERT_TRUE(TalOpenMonitorWriter(0, "Early", false, &writer));
  TalCloseMonitorWriter(writer);
  EXPECT_TRUE(Exists(dir.file("0000Early.TXT")));

  MakeFile(dir.file("0004Old.TXT"), "");
  IMonitorReader* reader = nullptr;
  ASSERT_TRUE(TalOpenMonitorReader(0, "Log", &reader));        // the page does not exist yet
  ASSERT_TRUE(TalOpenMonitorWriter(0, "Log", true, &writer));  // the last session: 4
  EXPECT_TRUE(Exists(dir.file("0004Log.TXT")));
  writer->Write("first\nsecond");
  writer->Flush();
  uint32_t count = 0;
  ASSERT_TRUE(reader->GetCount(count));
  EXPECT_EQ(Row(*reader, 1), "second");

  // A second writer on a page that a live writer holds is refused, the page untouched.
  IMonitorWriter* second = nullptr;
  EXPECT_FALSE(TalOpenMonitorWriter(4, "Log", true, &second));
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(Row(*reader, 0), "first");

  TalCloseMonitorWriter(writer);
  EXPECT_FALSE(Exists(dir.file("0004Log.TXT")));  // temporary page
  TalCloseMonitorReader(reader);
}

TEST(CInterface, PageNamesThatLeaveTheDataDirectoryAreRefused) {
  ScopedDataDir dir;
  MakeFile(dir.file("0001Log.TXT"), "x");
  const std::string tooLong(300 - dir.path().size(), 'n');
  // The page path itself fits in 259 bytes, its ".TXT" and ".ROW" files do not.
  const std::string noRoomForExtension(257 - dir.path().size() - 4, 'e');
  const char* names[] = {
      "a/b", ".", "..", "../escape", "/abs", tooLong.c_str(), noRoomForExtension.c_str(), nullptr};
  for (const char* name : names) {
    const std::string label = name == nullptr ? "null" : std::string(name).substr(0, 12);
    IMonitorWriter* writer = nullptr;
    IMonitorReader* reader = nullptr;
    EXPECT_FALSE(TalOpenMonitorWriter(1, name, false, &writer)) << "name: " << label;
    EXPECT_FALSE(TalOpenMonitorReader(1, name, &reader)) << "name: " << label;
    EXPECT_FALSE(TalMonitorExecute(name, &reader)) << "name: " << label;
    EXPECT_EQ(writer, nullptr) << "name: " << label;
    EXPECT_EQ(reader, nullptr) << "name: " << label;
  }
  EXPECT_EQ(dir.list(), std::vector<std::string>{"0001Log.TXT"});
}

TEST(CInterface, NullOutParametersAreRefused) {
  ScopedDataDir dir;
  EXPECT_FALSE(TalCreateMonitorSession(nullptr));
  EXPECT_FALSE(TalMonitorDefineNewSession(nullptr));
  EXPECT_FALSE(TalMonitorDefineSession(1, nullptr));
  EXPECT_FALSE(TalMonitorGetLastSession(nullptr));
  EXPECT_FALSE(TalMonitorGetActivity(1, nullptr));
  EXPECT_FALSE(TalOpenMonitorWriter(1, "Log", true, nullptr));
  EXPECT_FALSE(TalOpenMonitorReader(1, "Log", nullptr));
  EXPECT_FALSE(TalOpenMonitorReaderPageOrder(1, "*", nullptr));
  EXPECT_FALSE(TalOpenMonitorReaderSession(nullptr));
  EXPECT_FALSE(TalOpenMonitorReaderTime(1, nullptr));
  EXPECT_FALSE(TalMonitorExecute("session", nullptr));
  EXPECT_TRUE(TalCloseMonitorWriter(nullptr));
  EXPECT_TRUE(TalCloseMonitorReader(nullptr));
  EXPECT_TRUE(dir.list().empty());
}

TEST(CInterface, ExecuteChoosesTheReaderByName) {
  ScopedDataDir dir;
  IMonitorWriter* writer = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(2, "Log", false, &writer));
  writer->Write("row");
  writer->Flush();
  struct Case {
    const char* name;
    bool result;
    bool sessionReader;
  } cases[] = {
      {"session", true, true},      {"sessionXYZ", true, true}, {"sess", false, false},
      {"0002Log.TXT", true, false}, {"0002Log", true, false},   {"0009Missing.TXT", false, false},
  };
  for (const Case& c : cases) {
    IMonitorReader* reader = nullptr;
    EXPECT_EQ(TalMonitorExecute(c.name, &reader), c.result) << "name: " << c.name;
    if (!c.result) {
      EXPECT_EQ(reader, nullptr) << "name: " << c.name;
      continue;
    }
    ASSERT_NE(reader, nullptr) << "name: " << c.name;
    EXPECT_EQ(dynamic_cast<TalMonitorReaderSession*>(reader) != nullptr, c.sessionReader)
        << "name: " << c.name;
    if (!c.sessionReader) {
      EXPECT_EQ(Row(*reader, 0), "row") << "name: " << c.name;
    }
    TalCloseMonitorReader(reader);
  }
  TalCloseMonitorWriter(writer);
}

}  // namespace
