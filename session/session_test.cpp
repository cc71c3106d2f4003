// Tests of the session module within one process: numbering and clean-up of the data
// directory, page listing, activity markers, the C interface and the multi-page readers.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "core/file.h"
#include "session/activity.h"
#include "session/event_pump.h"
#include "session/session_store.h"
#include "session/stamped_page_test_support.h"
#include "session/session_test_support.h"
#include "talmon/readers.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedDataDir;
using talmon_test::StampedPage;
using Strings = std::vector<std::string>;

using talmon_test::Count;
using talmon_test::Exists;
using talmon_test::kNobody;
using talmon_test::MakeFile;
using talmon_test::OpenWriter;
using talmon_test::Populate;
using talmon_test::Rows;

// ---- Numbering, clean-up and page listing ---------------------------------------------

TEST(SessionNumbering, ScanCleanUpAndRescan) {
  const struct {
    const char* label;
    Strings entries;
    unsigned int last, next;  // next 0: no new number can be had
    Strings survivors;        // sorted listing after the new session
  } cases[] = {
      {"empty directory", {}, 0, 1, {}},
      {"all removed: restart", {"0003A.TXT=abc", "0007B.TXT=xyz"}, 7, 1, {}},
      {"held page kept", {"0003A.TXT=abc", "0007B.TXT+xyz"}, 7, 8, {"0007B.TXT"}},
      {"no number", {"abc.TXT=1", "0000x.TXT=2", "0002A.TXT=3"}, 2, 1, {"0000x.TXT", "abc.TXT"}},
      {"five digits count as four", {"12345.TXT="}, 1234, 1235, {"12345.TXT"}},
      {"empty files freed nothing", {"0002A.TXT=", "0004B.TXT+data"}, 4, 5, {"0004B.TXT"}},
      {"directories ignored", {"0009dir/", "0002A.TXT=x"}, 2, 1, {"0009dir"}},
      {"only empty files: no clean-up", {"0002A.TXT="}, 2, 3, {"0002A.TXT"}},
      {"stops once sizes are freed", {"0001A.TXT=abc", "0002B.TXT="}, 2, 3, {"0002B.TXT"}},
      {"9999 taken: refused, never wrapped", {"9999A.TXT="}, 9999, 0, {"9999A.TXT"}},
      {"numbers of another user's files are skipped, their files kept",
       {"0003A.TXT=abc", "0005X.TXT~theirs", "0001Y.TXT~theirs", "0002Y.TXT~theirs"},
       3,
       3,
       {"0001Y.TXT", "0002Y.TXT", "0005X.TXT"}},
      {"another user's 9999 is not the caller's", {"9999X.TXT~forged"}, 0, 1, {"9999X.TXT"}},
  };
  for (const auto& c : cases) {
    bool others = false;
    for (const std::string& e : c.entries)
      others = others || e.find('~') != std::string::npos;
    if (others && geteuid() != 0) continue;
    ScopedDataDir dir;
    const std::vector<KorinHandle> held = Populate(dir, c.entries);
    unsigned int session = 99;
    ASSERT_TRUE(TalMonitorGetLastSession(&session)) << c.label;
    EXPECT_EQ(session, c.last) << c.label;
    char prefix[kTalMonMaxPath], digits[8];
    std::snprintf(digits, sizeof digits, "%04u", c.last);
    ASSERT_TRUE(TalMonitorDefineSession(0, prefix)) << c.label;
    EXPECT_EQ(prefix, dir.path() + digits) << c.label;
    EXPECT_EQ(TalMonitorDefineNewSession(&session), c.next != 0) << c.label;
    EXPECT_EQ(session, c.next) << c.label;
    EXPECT_EQ(dir.list(), c.survivors) << c.label;
    for (KorinHandle h : held)
      Korin_CloseHandle(h);
  }
}

TEST(SelectPage, ListsByPatternInCaseInsensitiveOrderAndIgnoresLateSettings) {
  ScopedDataDir dir;
  for (const char* f :
       {"0003Zeta.TXT", "0003alpha.TXT", "0003Beta.TXT", "0003Play.TXT", "0003Page10.TXT",
        "0003Page2.TXT", "0003page3.txt", "0003Beta.ROW", "0004Other.TXT", "0030Far.TXT"}) {
    MakeFile(dir.file(f));
  }
  const struct {
    const char* pattern;
    Strings names;
  } cases[] = {
      {"*", {"alpha", "Beta", "Page10", "Page2", "page3", "Play", "Zeta"}},
      {"Page*", {"Page10", "Page2", "page3"}},
      {"p?ge*", {"Page10", "Page2", "page3"}},
      {"Nothing*", {}},
  };
  Korin::String name;
  for (const auto& c : cases) {
    TalMonitorSelectPage select;
    select.SetSession(3);
    select.SetPattern(c.pattern);
    Strings names;
    while (select.Read(name))
      names.emplace_back(name.c_str());
    EXPECT_EQ(names, c.names) << "pattern: " << c.pattern;
  }
  // The list is made at the first Read: later settings change nothing.
  TalMonitorSelectPage select;
  EXPECT_FALSE(select.Read(name));  // session 0 by default: prefix 0000, not the last session
  select.SetSession(3);
  EXPECT_FALSE(select.Read(name));
  TalMonitorSelectPage started;
  started.SetSession(3);
  ASSERT_TRUE(started.Read(name));
  started.SetSession(4);
  started.SetPattern("Z*");
  ASSERT_TRUE(started.Read(name));
  EXPECT_STREQ(name, "Beta");
}

// Records the gap of every pass (the distance of its first comparison).
struct GapRecorder : talmon::ISortable {
  explicit GapRecorder(int n) : count(n) {}
  int count;
  std::vector<int> gaps;
  int GetCount() override { return count; }
  bool Compare(int i, int j, bool& after) override {
    if (i == 0) gaps.push_back(j);
    after = false;
    return true;
  }
  bool Swap(int, int) override { return true; }
};

TEST(CombSort, GapsShrinkByTenThirteenthsAndSkipNineAndTen) {
  const struct {
    int count;
    std::vector<int> gaps;
  } cases[] = {
      {14, {11, 8, 6, 4, 3, 2, 1}},  // 14 => 10 becomes 11
      {12, {11, 8, 6, 4, 3, 2, 1}},  // 12 => 9 becomes 11 (compares once: 0 and 11)
      {2, {1}},
      {1, {}},
  };
  for (const auto& c : cases) {
    GapRecorder recorder(c.count);
    EXPECT_TRUE(talmon::CombSort(recorder)) << "count: " << c.count;
    EXPECT_EQ(recorder.gaps, c.gaps) << "count: " << c.count;
  }
}

// ---- Activity -------------------------------------------------------------------------

unsigned int Activity(unsigned int session) {
  unsigned int activity = 99;
  EXPECT_TRUE(TalMonitorGetActivity(session, &activity));
  return activity;
}

// Which markers of session 1 exist: "PAS" for Play, Pause and Stop, "-" where one is missing.
std::string Markers(const ScopedDataDir& dir) {
  return std::string(Exists(dir.file("0001Play.TXT")) ? "P" : "-") +
         (Exists(dir.file("0001Pause.TXT")) ? "A" : "-") +
         (Exists(dir.file("0001Stop.TXT")) ? "S" : "-");
}

TEST(Activity, TransitionsOfALiveSession) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  ASSERT_EQ(session, 1u);
  EXPECT_EQ(Activity(session), 1u);
  EXPECT_TRUE(TalMonitorDoEvents(session));
  const struct {
    int request;
    bool result;
    unsigned int activity;
    const char* markers;
  } steps[] = {
      {1, true, 1, "P--"},                       // resuming a playing session changes nothing
      {2, true, 2, "-A-"}, {2, true, 2, "-A-"},  // pausing twice
      {7, true, 2, "-A-"},                       // unknown request
      {1, true, 1, "P--"}, {0, true, 0, "--S"}, {2, false, 0, "--S"},  // nothing left to pause
      {1, true, 0, "--S"},
  };
  for (const auto& s : steps) {
    EXPECT_EQ(TalMonitorSetActivity(session, s.request), s.result) << "request " << s.request;
    EXPECT_EQ(Activity(session), s.activity) << "request " << s.request;
    EXPECT_EQ(Markers(dir), s.markers) << "request " << s.request;
  }
  EXPECT_FALSE(TalMonitorDoEvents(session));
  // The stop marker is still this process's: a new session does not remove it.
  unsigned int next = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&next));
  EXPECT_EQ(next, 2u);
  EXPECT_TRUE(Exists(dir.file("0001Stop.TXT")));
  EXPECT_TRUE(TalCloseMonitorSession(next));
  EXPECT_FALSE(Exists(dir.file("0002Play.TXT")));
}

TEST(Activity, MarkersMadeByHandThenPausedThenClosed) {
  const struct {
    const char* label;
    Strings files;
    unsigned int activity;
    bool pauseResult;
    const char* paused;  // the markers after the pause request
  } cases[] = {
      {"none", {}, 0, false, "---"},
      {"play", {"0001Play.TXT="}, 1, true, "-A-"},
      {"pause", {"0001Pause.TXT="}, 2, true, "-A-"},
      {"play and pause", {"0001Play.TXT=", "0001Pause.TXT="}, 1, true, "PA-"},
      {"stop", {"0001Stop.TXT="}, 0, false, "--S"},
      {"left by an ended producer", {"0001Play.TXT=4242"}, 0, false, "P--"},
  };
  for (const auto& c : cases) {
    ScopedDataDir dir;
    Populate(dir, c.files);
    EXPECT_EQ(Activity(1), c.activity) << c.label;
    EXPECT_EQ(TalMonitorSetActivity(1, 2), c.pauseResult) << c.label;
    EXPECT_EQ(Markers(dir), c.paused) << c.label;
    // Closing removes play and pause, never stop; a session never created closes too.
    EXPECT_TRUE(TalCloseMonitorSession(1)) << c.label;
    EXPECT_EQ(Markers(dir), std::string("--") + c.paused[2]) << c.label;
  }
}

TEST(Activity, MarkerMadeInClosedModeReplacesAnEndedProducersMarker) {
  ScopedDataDir dir;
  const std::string play = dir.file("0001Play.TXT");
  MakeFile(play, "4242");
  ASSERT_TRUE(talmon::CreateMarkerFile(play.c_str(), false));
  EXPECT_FALSE(Korin_IsHeld(play.c_str()));
  EXPECT_EQ(Activity(1), 1u);
}

// A pump that counts its calls and meets a quit request at the given call (0: never).
int gPumped = 0;
int gIdled = 0;
int gQuitAt = 0;
bool CountingPump() {
  return ++gPumped != gQuitAt;
}
void CountingIdle() {
  ++gIdled;
}

TEST(Activity, RegisteredPumpRunsEachRoundAndItsQuitStops) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  const TalMonEventPump pump = {CountingPump, CountingIdle, nullptr};
  TalMonRegisterEventPump(&pump);
  EXPECT_TRUE(TalMonitorDoEvents(session));
  EXPECT_EQ(gPumped, 1);
  EXPECT_EQ(gIdled, 2);

  gQuitAt = 2;  // a quit while playing stops, but is no stop of the session
  EXPECT_FALSE(TalMonitorDoEvents(session));
  EXPECT_EQ(Activity(session), 1u);

  ASSERT_TRUE(TalMonitorSetActivity(session, 2));
  gPumped = 0;
  gQuitAt = 4;  // the first look and two rounds of waiting pass
  EXPECT_FALSE(TalMonitorDoEvents(session));
  EXPECT_EQ(gPumped, 4);
  EXPECT_EQ(Activity(session), 2u);

  TalMonRegisterEventPump(nullptr);
  ASSERT_TRUE(TalMonitorSetActivity(session, 1));
  EXPECT_TRUE(TalMonitorDoEvents(session));
  EXPECT_EQ(gPumped, 4);  // nothing registered, nothing pumped
}

// A pump that waits for the paused producer: it records what it is given to wait on and
// resumes the session from its third wait, as a viewer would.
std::vector<std::pair<int, int>> gWaits;
unsigned int gResumeSession = 0;
bool PumpNothing() {
  return true;
}
void RecordingWait(int fd, int timeoutMs) {
  gWaits.emplace_back(fd, timeoutMs);
  if (gWaits.size() == 3) TalMonitorSetActivity(gResumeSession, 1);
}

TEST(Activity, PausedWaitSleepsInThePumpsWaitOnTheProcessWatch) {
  ScopedDataDir dir;
  ASSERT_TRUE(TalCreateMonitorSession(&gResumeSession));
  ASSERT_TRUE(TalMonitorSetActivity(gResumeSession, 2));
  const TalMonEventPump pump = {PumpNothing, nullptr, RecordingWait};
  TalMonRegisterEventPump(&pump);
  EXPECT_TRUE(TalMonitorDoEvents(gResumeSession));
  TalMonRegisterEventPump(nullptr);
  const int fd = TalMonitorGetChangeDescriptor();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(gWaits, (std::vector<std::pair<int, int>>(3, {fd, 100})));
}

TEST(ChangeWatch, OneDescriptorFollowsTheDataDirectory) {
  int fd = -1;
  for (int round = 0; round < 2; ++round) {  // a new data directory each round
    ScopedDataDir dir;
    if (round == 0) fd = TalMonitorGetChangeDescriptor();
    ASSERT_GE(fd, 0);
    EXPECT_EQ(TalMonitorGetChangeDescriptor(), fd) << "round " << round;
    TalWaitMonitorChange(0);
    EXPECT_FALSE(TalWaitMonitorChange(0)) << "round " << round;
    MakeFile(dir.file("0001Play.TXT"));
    EXPECT_TRUE(TalWaitMonitorChange(5000)) << "round " << round;
    TalWaitMonitorChange(10);  // the creation may come as several events
    EXPECT_FALSE(TalWaitMonitorChange(-5)) << "round " << round;
  }
}

// ---- The C interface ------------------------------------------------------------------

TEST(CInterface, WritersReadersAndExecuteFollowTheSessionRules) {
  ScopedDataDir dir;
  // No session at all: the writer lands in session 0.
  TalCloseMonitorWriter(OpenWriter(0, "Early"));
  EXPECT_TRUE(Exists(dir.file("0000Early.TXT")));

  MakeFile(dir.file("0004Old.TXT"));
  IMonitorReader* reader = nullptr;
  ASSERT_TRUE(TalOpenMonitorReader(0, "Log", &reader));  // the page does not exist yet
  IMonitorWriter* writer = OpenWriter(0, "Log", true);   // the last session: 4
  ASSERT_NE(writer, nullptr);
  writer->Write("first\nsecond");
  writer->Flush();
  EXPECT_EQ(Rows(*reader), (Strings{"first", "second"}));
  // A second writer on a page that a live writer holds is refused, the page untouched.
  IMonitorWriter* second = nullptr;
  EXPECT_FALSE(TalOpenMonitorWriter(4, "Log", true, &second));
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(Rows(*reader), (Strings{"first", "second"}));
  TalCloseMonitorReader(reader);

  const struct {
    const char* name;
    bool result;
    bool sessionReader;
  } cases[] = {
      {"session", true, true},      {"sessionXYZ", true, true}, {"sess", false, false},
      {"0004Log.TXT", true, false}, {"0004Log", true, false},   {"0009Missing.TXT", false, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(TalMonitorExecute(c.name, &(reader = nullptr)), c.result) << c.name;
    EXPECT_EQ(reader != nullptr, c.result) << c.name;
    if (reader == nullptr) continue;
    EXPECT_EQ(dynamic_cast<TalMonitorReaderSession*>(reader) != nullptr, c.sessionReader) << c.name;
    if (!c.sessionReader) {
      EXPECT_EQ(Rows(*reader), (Strings{"first", "second"})) << c.name;
    }
    TalCloseMonitorReader(reader);
  }
  TalCloseMonitorWriter(writer);
  EXPECT_FALSE(Exists(dir.file("0004Log.TXT")));  // temporary page
}

TEST(CInterface, BadInputIsRefusedAndMakesNothing) {
  ScopedDataDir dir;
  const bool refused[] = {
      TalCreateMonitorSession(nullptr),        TalMonitorDefineNewSession(nullptr),
      TalMonitorDefineSession(1, nullptr),     TalMonitorGetLastSession(nullptr),
      TalMonitorGetActivity(1, nullptr),       TalOpenMonitorWriter(1, "Log", true, nullptr),
      TalOpenMonitorReader(1, "Log", nullptr), TalOpenMonitorReaderPageOrder(1, "*", nullptr),
      TalOpenMonitorReaderSession(nullptr),    TalOpenMonitorReaderTime(1, nullptr),
      TalMonitorExecute("session", nullptr),   !TalCloseMonitorWriter(nullptr),
      !TalCloseMonitorReader(nullptr)};
  for (size_t i = 0; i < std::size(refused); ++i)
    EXPECT_FALSE(refused[i]) << "null out parameter, call " << i;

  // Page names that leave the data directory, or whose files would not fit in 259 bytes.
  MakeFile(dir.file("0001Log.TXT"), "x");
  const std::string tooLong(300 - dir.path().size(), 'n');
  const std::string noRoomForExtension(257 - dir.path().size() - 4, 'e');
  for (const char* name : {"a/b", ".", "..", "../escape", "/abs", tooLong.c_str(),
                           noRoomForExtension.c_str(), static_cast<const char*>(nullptr)}) {
    const std::string label = name == nullptr ? "null" : std::string(name).substr(0, 12);
    IMonitorWriter* writer = nullptr;
    IMonitorReader* reader = nullptr;
    EXPECT_FALSE(TalOpenMonitorWriter(1, name, false, &writer)) << label;
    EXPECT_FALSE(TalOpenMonitorReader(1, name, &reader)) << label;
    EXPECT_FALSE(TalMonitorExecute(name, &reader)) << label;
    EXPECT_TRUE(writer == nullptr && reader == nullptr) << label;
  }
  // A writer on a page named like a marker would be the session's marker itself.
  for (const char* name : {"Play", "Pause", "Stop"}) {
    IMonitorWriter* writer = nullptr;
    EXPECT_FALSE(TalOpenMonitorWriter(1, name, false, &writer)) << name;
    EXPECT_EQ(writer, nullptr) << name;
  }
  char prefix[kTalMonMaxPath];
  EXPECT_FALSE(TalMonitorDefineSession(10000, prefix)) << "five digits read back as four";
  EXPECT_EQ(dir.list(), Strings{"0001Log.TXT"});

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
  EXPECT_EQ(dir.list(), (Strings{"0001Log.TXT", "plain"}));
}

// ---- Readers over several pages -------------------------------------------------------

// Two pages of session 1 written alternately: "b" begins first, "A" sorts first.
TEST(Readers, PageOrderFollowsThePagesAndTimeOrderTheWriting) {
  ScopedDataDir dir;
  IMonitorWriter* b = OpenWriter(1, "b");
  IMonitorWriter* a = OpenWriter(1, "A");
  // A row's stamp is taken when the row begins, at the line feed before it.
  b->Write("b0");
  a->Write("a0");
  a->Write("\na1");
  a->Write("\na2");
  b->Write("\nb1");
  a->Flush();
  b->Flush();

  TalMonitorReaderPageOrder* pages = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderPageOrder(1, "*", &pages));
  EXPECT_EQ(Count(*pages), 0u);  // nothing before the first Update
  ASSERT_TRUE(pages->Update());
  EXPECT_EQ(Rows(*pages), (Strings{"a0", "a1", "a2", "b0", "b1"}));
  pages->SetSeparator(true);
  ASSERT_TRUE(pages->Update());
  EXPECT_EQ(Count(*pages), 6u);
  EXPECT_EQ(Rows(*pages), (Strings{"a0", "a1", "a2", "(separator)", "b0", "b1"}));
  const char* text = nullptr;
  uint32_t length = 0, separatorStamp = 0, firstStamp = 1;
  ASSERT_TRUE(pages->GetRow(3, text, length));
  EXPECT_EQ(length, 11u);
  ASSERT_TRUE(pages->GetStamp(3, separatorStamp));
  ASSERT_TRUE(pages->GetStamp(4, firstStamp));
  EXPECT_EQ(separatorStamp, firstStamp);
  TalCloseMonitorReader(pages);
  // Session 0 is kept as it is, not taken for the last session: it lists nothing.
  ASSERT_TRUE(TalOpenMonitorReaderPageOrder(0, nullptr, &pages));
  ASSERT_TRUE(pages->Update());
  EXPECT_EQ(Count(*pages), 0u);
  EXPECT_TRUE(Rows(*pages).empty());
  TalCloseMonitorReader(pages);

  TalMonitorReaderTime* time = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderTime(1, &time));
  EXPECT_STREQ(time->GetIndexPath(), dir.file("0001Time.IDX").c_str());
  for (const char* page : {"A", "b"}) {
    IMonitorReader* reader = nullptr;
    ASSERT_TRUE(TalOpenMonitorReader(1, page, &reader));
    time->AddReader(reader);
  }
  EXPECT_FALSE(time->AddReader(nullptr));
  ASSERT_TRUE(time->Update());
  EXPECT_EQ(Rows(*time), (Strings{"b0", "a0", "a1", "a2", "b1"}));
  TalCloseMonitorReader(time);

  // The held pages keep session 1 from the clean-up; the new session is 2.
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  ASSERT_EQ(session, 2u);
  MakeFile(dir.file("0002x(y).TXT"));
  MakeFile(dir.file("0003Pause.TXT"));
  TalMonitorReaderSession* sessions = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderSession(&sessions));
  EXPECT_EQ(Count(*sessions), 0u);
  ASSERT_TRUE(sessions->Update());
  // Session 3's Pause marker was made by hand: no live process holds it.
  EXPECT_EQ(Rows(*sessions), (Strings{
                                 "(bold 0001)(tab)finished(tab)A, b",
                                 "(bold 0002)(tab)playing(tab)(raw 4 x(y))",
                                 "(bold 0003)(tab)crashed(tab)",
                             }));
  uint32_t stamp = 0;
  EXPECT_FALSE(sessions->GetStamp(0, stamp));
  TalCloseMonitorReader(sessions);
  TalCloseMonitorSession(session);
  TalCloseMonitorWriter(a);
  TalCloseMonitorWriter(b);
}

TEST(TimeReader, MergesByStampInOrderOfAddition) {
  ScopedDataDir dir;
  const struct {
    const char* label;
    std::vector<std::pair<const char*, std::vector<uint32_t>>> pages;
    Strings rows;
    uint32_t count;
  } cases[] = {
      {"no pages", {}, {}, 0},
      {"equal: earlier page first",
       {{"a", {1, 2, 3}}, {"b", {1, 2, 3}}},
       {"a0", "b0", "a1", "b1", "a2", "b2"},
       6},
      {"gaps in the stamps", {{"a", {5, 900}}, {"b", {7}}}, {"a0", "b0", "a1"}, 3},
      {"left behind stays behind",
       {{"a", {5, 1, 9}}, {"b", {1, 2, 3}}},
       {"b0", "b1", "b2", "a0"},
       6},
  };
  for (const auto& c : cases) {
    TalMonitorReaderTime* reader = nullptr;
    ASSERT_TRUE(TalOpenMonitorReaderTime(1, &reader)) << c.label;
    for (const auto& page : c.pages)
      ASSERT_TRUE(reader->AddReader(new StampedPage(page.first, page.second))) << c.label;
    for (int pass = 0; pass < 2; ++pass) {  // merging again changes nothing
      ASSERT_TRUE(reader->Update()) << c.label;
      EXPECT_EQ(Count(*reader), c.count) << c.label;
      EXPECT_EQ(Rows(*reader), c.rows) << c.label;
    }
    TalCloseMonitorReader(reader);
  }
  EXPECT_TRUE(dir.list().empty());  // the index leaves nothing behind
}

}  // namespace
