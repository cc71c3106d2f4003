// Tests of the viewer API: the data directory and why it is refused, the sessions of one
// listing with their pages and states, and which page a row of a multi-page reader is from.
#include "talmon/session_list.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <vector>

#include "session/session_test_support.h"
#include "talmon/readers.h"

namespace {

using talmon_test::MakeFile;
using talmon_test::OpenWriter;
using talmon_test::Populate;
using talmon_test::ScopedDataDir;
using talmon_test::ScopedEnv;

void CloseAll(const std::vector<KorinHandle>& handles) {
  for (KorinHandle h : handles)
    Korin_CloseHandle(h);
}

std::vector<std::string> PageNames(const TalMonSessionInfo& info) {
  std::vector<std::string> names;
  for (const TalMonPageInfo& page : info.pages)
    names.push_back(page.name);
  return names;
}

TEST(DataDirectory, RefusedWithTheReason) {
  ScopedDataDir dir;
  const std::string plainFile = dir.file("plain");
  MakeFile(plainFile);
  const std::string open = dir.file("open");
  mkdir(open.c_str(), 0777);
  chmod(open.c_str(), 0777);
  struct Case {
    std::string dataDir;
    const char* shared;
    const char* why;  // null: usable
  } cases[] = {
      {dir.path() + "fresh/inner", nullptr, nullptr},
      {open, nullptr, "writable by other users (set TALMON_SHARED_DIR=1"},
      {open, "1", nullptr},
      {plainFile + "/below", nullptr, "cannot be made"},
  };
  for (const Case& c : cases) {
    ScopedEnv data("TALMON_DATA_DIR", c.dataDir.c_str());
    ScopedEnv shared("TALMON_SHARED_DIR", c.shared);
    std::string found = "left", why;
    const bool ok = TalMonGetDataDirectory(found, &why);
    EXPECT_EQ(ok, c.why == nullptr) << "case: " << c.dataDir;
    if (ok) {
      EXPECT_EQ(found, c.dataDir + "/") << "case: " << c.dataDir;
      continue;
    }
    EXPECT_EQ(found, "") << "case: " << c.dataDir;
    EXPECT_EQ(why.rfind("data directory " + c.dataDir + "/: ", 0), 0u) << why;
    EXPECT_NE(why.find(c.why), std::string::npos) << why;
    std::vector<TalMonSessionInfo> sessions(1);
    EXPECT_FALSE(TalMonListSessions(sessions)) << "case: " << c.dataDir;
    EXPECT_TRUE(sessions.empty());
  }
}

TEST(ListSessions, PagesRowsAndHoldersFromOneListing) {
  ScopedDataDir dir;
  const time_t before = time(nullptr);
  IMonitorWriter* live = OpenWriter(3, "Zeta");
  live->Write("one\ntwo\nthree");
  live->Flush();
  IMonitorWriter* done = OpenWriter(3, "alpha");
  done->Write("x\n");
  done->Flush();
  TalCloseMonitorWriter(done);
  // Names that are no page of a session, a marker, and files of no session at all.
  const std::vector<KorinHandle> held =
      Populate(dir, {"0003Beta.TXT=", "0003Beta.ROW=short", "0003Play.TXT=", "abc.TXT=x",
                     "0000x.TXT=x", "12345.TXT=x", "0007Notes.txt=", "0007Dir/"});
  mkfifo(dir.file("0007Pipe.ROW").c_str(), 0600);
  MakeFile(dir.file("0007Pipe.TXT"));

  std::vector<TalMonSessionInfo> sessions;
  ASSERT_TRUE(TalMonListSessions(sessions));
  ASSERT_EQ(sessions.size(), 3u);
  EXPECT_EQ(sessions[0].session, 3u);
  EXPECT_EQ(sessions[1].session, 7u);
  EXPECT_EQ(sessions[2].session, 1234u);  // four digits at most: "12345.TXT" is 1234's
  const TalMonSessionInfo& three = sessions[0];
  EXPECT_EQ(PageNames(three), (std::vector<std::string>{"alpha", "Beta", "Zeta"}));
  EXPECT_GE(three.startTime, static_cast<int64_t>(before) - 1);
  EXPECT_LE(three.startTime, static_cast<int64_t>(time(nullptr)) + 1);
  struct Expected {
    uint32_t rows;
    uint64_t bytes;
    bool held;
  } expected[] = {{2, 2, false}, {0, 0, false}, {3, 13, true}};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(three.pages[i].rows, expected[i].rows) << "case: " << three.pages[i].name;
    EXPECT_EQ(three.pages[i].bytes, expected[i].bytes) << "case: " << three.pages[i].name;
    EXPECT_EQ(three.pages[i].held, expected[i].held) << "case: " << three.pages[i].name;
  }
  // The file ".txt" matches case-insensitively, as the page listing does; a FIFO row file
  // neither hangs the listing nor gives rows.
  EXPECT_EQ(PageNames(sessions[1]), (std::vector<std::string>{"Notes", "Pipe"}));
  EXPECT_EQ(sessions[1].pages[1].rows, 0u);

  TalMonSessionInfo info;
  ASSERT_TRUE(TalMonGetSessionInfo(3, info));
  EXPECT_EQ(PageNames(info), PageNames(three));
  EXPECT_FALSE(TalMonGetSessionInfo(4, info));
  EXPECT_FALSE(TalMonGetSessionInfo(0, info));
  TalCloseMonitorWriter(live);
  CloseAll(held);
}

TEST(SessionState, FromTheMarkersAndWhoHoldsThem) {
  // "+": held the way a live producer holds its marker; "=": a file nobody holds.
  struct Case {
    std::vector<std::string> markers;
    TalMonSessionState state;
    bool pauseHeld;
  } cases[] = {
      {{}, TalMonSessionState::kFinished, false},
      {{"Play.TXT+1"}, TalMonSessionState::kPlaying, false},
      {{"Play.TXT+1", "Pause.TXT="}, TalMonSessionState::kPlaying, true},
      {{"Play.TXT+1", "Pause.TXT=9"}, TalMonSessionState::kPlaying, false},
      {{"Pause.TXT+1"}, TalMonSessionState::kPaused, false},
      {{"Stop.TXT+1"}, TalMonSessionState::kStopping, false},
      {{"Play.TXT+1", "Stop.TXT="}, TalMonSessionState::kStopping, false},
      {{"Play.TXT=4242"}, TalMonSessionState::kCrashed, false},
      {{"Pause.TXT="}, TalMonSessionState::kCrashed, false},
  };
  for (const Case& c : cases) {
    ScopedDataDir dir;
    std::vector<std::string> entries = {"0002Log.TXT=x"};
    for (const std::string& marker : c.markers)
      entries.push_back("0002" + marker);
    const std::vector<KorinHandle> held = Populate(dir, entries);
    const std::string label = ::testing::PrintToString(c.markers);
    TalMonSessionInfo info;
    ASSERT_TRUE(TalMonGetSessionInfo(2, info)) << "case: " << label;
    EXPECT_STREQ(TalMonSessionStateWord(info.state), TalMonSessionStateWord(c.state))
        << "case: " << label;
    EXPECT_EQ(info.pauseHeld, c.pauseHeld) << "case: " << label;
    EXPECT_EQ(PageNames(info), std::vector<std::string>{"Log"}) << "case: " << label;
    CloseAll(held);
  }
}

TEST(SessionState, ALiveProducerPausedAndStoppedThroughTheMarkers) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  const auto state = [session] {
    TalMonSessionInfo info;
    EXPECT_TRUE(TalMonGetSessionInfo(session, info));
    return std::string(TalMonSessionStateWord(info.state));
  };
  EXPECT_EQ(state(), "playing");
  TalMonitorSetActivity(session, kTalMonPaused);
  EXPECT_EQ(state(), "paused");
  TalMonitorSetActivity(session, kTalMonStopped);
  EXPECT_EQ(state(), "stopping");
  // The held marker goes when the producer closes it; here it is removed by hand.
  unlink(dir.file("0001Stop.TXT").c_str());
  MakeFile(dir.file("0001Log.TXT"));
  EXPECT_EQ(state(), "finished");
}

TEST(RowSource, PageOfEachRowOfEveryKindOfReader) {
  ScopedDataDir dir;
  IMonitorWriter* a = OpenWriter(1, "A");
  IMonitorWriter* b = OpenWriter(1, "B");
  // A row's stamp is taken when the row begins: a0, b0, a1 (begun by a0's line feed), b1, b2.
  a->Write("a0\n");
  b->Write("b0\nb1\n");
  a->Write("a1");
  a->Flush();
  b->Flush();

  TalMonitorReaderPageOrder order;
  order.SetSession(1);
  order.SetSeparator(true);
  order.Update();  // A: 2 rows; separator; B: 3 rows (the last one empty)
  TalMonitorReaderTime* merged = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderTime(1, &merged));
  for (const char* page : {"A", "B"}) {
    IMonitorReader* reader = nullptr;
    TalOpenMonitorReader(1, page, &reader);
    merged->AddReader(reader);
  }
  merged->Update();
  IMonitorReader* single = nullptr;
  TalOpenMonitorReader(1, "B", &single);

  struct Case {
    const char* name;
    IMonitorReader* reader;
    std::vector<int> pages;  // per row; the row after the last answers false
  } cases[] = {
      {"page order", &order, {0, 0, 1, 1, 1, 1}},
      {"merged", merged, {0, 1, 0, 1, 1}},
      {"one page", single, {0, 0, 0}},
  };
  for (const Case& c : cases) {
    uint32_t page = 99;
    for (size_t row = 0; row < c.pages.size(); ++row) {
      ASSERT_TRUE(TalMonGetRowSource(c.reader, static_cast<uint32_t>(row), page))
          << "case: " << c.name << " row " << row;
      EXPECT_EQ(page, static_cast<uint32_t>(c.pages[row])) << "case: " << c.name << " row " << row;
    }
    EXPECT_FALSE(TalMonGetRowSource(c.reader, static_cast<uint32_t>(c.pages.size()), page))
        << "case: " << c.name;
  }
  uint32_t page = 0;
  EXPECT_FALSE(TalMonGetRowSource(nullptr, 0, page));
  TalCloseMonitorReader(single);
  TalCloseMonitorReader(merged);
  TalCloseMonitorWriter(a);
  TalCloseMonitorWriter(b);
}

}  // namespace
