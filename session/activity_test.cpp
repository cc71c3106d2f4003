#include "session/activity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "session/event_pump.h"
#include "session/test_util.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::Exists;
using talmon_test::MakeFile;
using talmon_test::ScopedDataDir;

unsigned int Activity(unsigned int session) {
  unsigned int activity = 99;
  EXPECT_TRUE(TalMonitorGetActivity(session, &activity));
  return activity;
}

// Which of the three markers of session 1 exist, as "Play Pause Stop" flags.
std::string Markers(const ScopedDataDir& dir) {
  std::string out;
  out += Exists(dir.file("0001Play.TXT")) ? "P" : "-";
  out += Exists(dir.file("0001Pause.TXT")) ? "A" : "-";
  out += Exists(dir.file("0001Stop.TXT")) ? "S" : "-";
  return out;
}

TEST(Activity, TransitionsOfALiveSession) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  ASSERT_EQ(session, 1u);
  EXPECT_EQ(Activity(session), 1u);
  EXPECT_TRUE(TalMonitorDoEvents(session));

  struct Step {
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
  for (const Step& s : steps) {
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

TEST(Activity, MarkersMadeByHand) {
  struct Case {
    const char* label;
    std::vector<std::pair<const char*, const char*>> files;  // name, content
    unsigned int activity;
    bool pauseResult;
  } cases[] = {
      {"none", {}, 0, false},
      {"play", {{"0001Play.TXT", ""}}, 1, true},
      {"pause", {{"0001Pause.TXT", ""}}, 2, true},
      {"play and pause", {{"0001Play.TXT", ""}, {"0001Pause.TXT", ""}}, 1, true},
      {"stop", {{"0001Stop.TXT", ""}}, 0, false},
      {"left by an ended producer", {{"0001Play.TXT", "4242"}}, 0, false},
  };
  for (const Case& c : cases) {
    ScopedDataDir dir;
    for (const auto& f : c.files)
      MakeFile(dir.file(f.first), f.second);
    EXPECT_EQ(Activity(1), c.activity) << "case: " << c.label;
    EXPECT_EQ(TalMonitorSetActivity(1, 2), c.pauseResult) << "case: " << c.label;
  }
}

TEST(Activity, ClosedModeMarkerAndClosingTheSession) {
  ScopedDataDir dir;
  const std::string play = dir.file("0001Play.TXT");
  MakeFile(play, "4242");  // left by a producer that has ended
  ASSERT_EQ(Activity(1), 0u);
  // A marker made in closed mode counts as present, also where an old one stood.
  ASSERT_TRUE(talmon::CreateMarkerFile(play.c_str(), false));
  EXPECT_FALSE(Korin_IsHeld(play.c_str()));
  EXPECT_EQ(Activity(1), 1u);
  ASSERT_TRUE(TalMonitorSetActivity(1, 2));
  MakeFile(dir.file("0001Stop.TXT"), "");
  EXPECT_TRUE(TalCloseMonitorSession(1));
  EXPECT_EQ(Markers(dir), "--S");
  EXPECT_TRUE(TalCloseMonitorSession(77));  // never created
}

// A pump that counts its calls and meets a quit request at the given call (0: never).
int g_pumped = 0;
int g_idled = 0;
int g_quitAt = 0;
bool CountingPump() {
  return ++g_pumped != g_quitAt;
}
void CountingIdle() {
  ++g_idled;
}

TEST(Activity, RegisteredPumpRunsEachRoundAndItsQuitStops) {
  ScopedDataDir dir;
  unsigned int session = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&session));
  const TalMonEventPump pump = {CountingPump, CountingIdle};
  TalMonRegisterEventPump(&pump);
  EXPECT_TRUE(TalMonitorDoEvents(session));
  EXPECT_EQ(g_pumped, 1);
  EXPECT_EQ(g_idled, 2);

  g_quitAt = 2;  // a quit while playing stops, but is no stop of the session
  EXPECT_FALSE(TalMonitorDoEvents(session));
  EXPECT_EQ(Activity(session), 1u);

  ASSERT_TRUE(TalMonitorSetActivity(session, 2));
  g_pumped = 0;
  g_quitAt = 4;  // the first look and two rounds of waiting pass
  EXPECT_FALSE(TalMonitorDoEvents(session));
  EXPECT_EQ(g_pumped, 4);
  EXPECT_EQ(Activity(session), 2u);

  TalMonRegisterEventPump(nullptr);
  ASSERT_TRUE(TalMonitorSetActivity(session, 1));
  EXPECT_TRUE(TalMonitorDoEvents(session));
  EXPECT_EQ(g_pumped, 4);  // nothing registered, nothing pumped
}

}  // namespace
