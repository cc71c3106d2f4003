// Activity and the page facades across real processes: producers are forked children, which
// end with _exit (or exit() where the test is about normal exit).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "session/activity.h"
#include "talmon/pages.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedDataDir;
using talmon_test::ScopedEnv;
using Strings = std::vector<std::string>;

constexpr uid_t kNobody = 65534;  // the other user of the tests that run as root

int64_t Nanoseconds(clockid_t clock) {
  timespec ts;
  clock_gettime(clock, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// Runs body in a forked child; the child's exit code is body's result (0: all held).
pid_t Spawn(const std::function<int()>& body) {
  const pid_t pid = fork();
  if (pid == 0) {
    int code = 100;
    try {
      code = body();
    } catch (...) {
    }
    _exit(code);
  }
  return pid;
}

int Wait(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

unsigned int Activity(unsigned int session) {
  unsigned int activity = 99;
  EXPECT_TRUE(TalMonitorGetActivity(session, &activity));
  return activity;
}

TEST(ProcessActivity, PausedProducerWaitsWithoutSpinningAndWakesOnRename) {
  const struct {
    int release;
    bool result;
  } cases[] = {{1, true}, {0, false}};
  for (const auto& c : cases) {
    ScopedDataDir dir;
    unsigned int session = 0;
    ASSERT_TRUE(TalCreateMonitorSession(&session));
    ASSERT_TRUE(TalMonitorSetActivity(session, 2));
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = Spawn([&]() {
      const int64_t cpu = Nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
      const int64_t start = Nanoseconds(CLOCK_MONOTONIC);
      const bool result = TalMonitorDoEvents(session);
      const int64_t returned = Nanoseconds(CLOCK_MONOTONIC);
      if (write(fds[1], &returned, sizeof returned) != sizeof returned) return 1;
      if (result != c.result) return 2;
      if (returned - start < 120 * 1000000LL) return 3;  // it waited for the release
      if ((Nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) * 10 >= returned - start) return 4;
      return 0;
    });
    usleep(150 * 1000);
    const int64_t released = Nanoseconds(CLOCK_MONOTONIC);
    ASSERT_TRUE(TalMonitorSetActivity(session, c.release)) << "release: " << c.release;
    int64_t returned = 0;
    ASSERT_EQ(read(fds[0], &returned, sizeof returned), static_cast<ssize_t>(sizeof returned));
    EXPECT_LT(returned - released, 20 * 1000000LL) << "release: " << c.release;
    EXPECT_EQ(Wait(child), 0) << "release: " << c.release;
    close(fds[0]);
    close(fds[1]);
    TalCloseMonitorSession(session);
  }
}

TEST(ProcessActivity, KilledProducerReadsAsStoppedAndIsCleanedUp) {
  ScopedDataDir dir;
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const pid_t producer = Spawn([&]() {
    unsigned int session = 0;
    IMonitorWriter* writer = nullptr;
    if (!TalCreateMonitorSession(&session) ||
        !TalOpenMonitorWriter(session, "Log", true, &writer) || !writer->Write("working") ||
        !writer->Flush() || write(fds[1], "r", 1) != 1) {
      return 1;
    }
    pause();
    return 2;
  });
  char ready = 0;
  ASSERT_EQ(read(fds[0], &ready, 1), 1);
  close(fds[0]);
  close(fds[1]);
  EXPECT_EQ(Activity(1), 1u);
  kill(producer, SIGKILL);
  EXPECT_EQ(Wait(producer), 128 + SIGKILL);
  EXPECT_EQ(Activity(1), 0u);
  EXPECT_FALSE(TalMonitorDoEvents(1));

  unsigned int next = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&next));
  EXPECT_EQ(next, 1u);  // everything of the dead session went, so numbering restarts
  EXPECT_EQ(dir.list(), Strings{"0001Play.TXT"});
  EXPECT_EQ(Activity(next), 1u);
  TalCloseMonitorSession(next);
}

const char* gKillAt = "";

void KillAtStep(const char* step) {
  if (std::strcmp(step, gKillAt) == 0) raise(SIGKILL);
}

// A producer killed at any step of making its session leaves nothing that reads as a live
// session, and the next new session removes whatever it left.
TEST(ProcessActivity, ProducerKilledWhileMakingItsSessionLeavesNoLiveSession) {
  for (const char* step : {"numbered", "cleared", "marker made", "marker held", "marker placed"}) {
    ScopedDataDir dir;
    gKillAt = step;
    const pid_t producer = Spawn([] {
      talmon::SetSessionStepHook(KillAtStep);
      unsigned int session = 0;
      TalCreateMonitorSession(&session);
      return 0;
    });
    EXPECT_EQ(Wait(producer), 128 + SIGKILL) << "case: " << step;
    EXPECT_EQ(Activity(1), 0u) << "case: " << step;
    EXPECT_FALSE(TalMonitorDoEvents(1)) << "case: " << step;
    unsigned int next = 0;
    ASSERT_TRUE(TalCreateMonitorSession(&next)) << "case: " << step;
    EXPECT_EQ(next, 1u) << "case: " << step;
    EXPECT_EQ(dir.list(), Strings{"0001Play.TXT"}) << "case: " << step;
    EXPECT_EQ(Activity(next), 1u) << "case: " << step;
  }
}

// Runs body in a child that has become the other user of these tests.
pid_t SpawnAsOtherUser(const std::function<int()>& body) {
  return Spawn([&] {
    if (setgid(kNobody) != 0 || setuid(kNobody) != 0) return 90;
    return body();
  });
}

// In a data directory that users share on purpose, each user sees, numbers, cleans and obeys
// only its own files; unshared, such a directory is refused.
TEST(ProcessSharedDirectory, UsersNeverTouchOrObeyEachOthersFiles) {
  if (geteuid() != 0) GTEST_SKIP() << "another user is played by root switching to nobody";
  ScopedDataDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
  unsigned int session = 0;
  EXPECT_FALSE(TalCreateMonitorSession(&session)) << "a world-writable directory was used";
  ScopedEnv shared("TALMON_SHARED_DIR", "1");

  int ready[2], done[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(done), 0);
  const pid_t other = SpawnAsOtherUser([&] {
    unsigned int theirs = 0;
    IMonitorWriter* log = nullptr;
    if (!TalCreateMonitorSession(&theirs) || theirs != 1 ||
        !TalOpenMonitorWriter(theirs, "Log", false, &log) || !log->Write("theirs\n") ||
        !log->Flush() || write(ready[1], "r", 1) != 1) {
      return 1;
    }
    char byte = 0;
    return read(done[0], &byte, 1) == 1 ? 0 : 2;  // alive, holding its files, until told
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);

  ASSERT_TRUE(TalCreateMonitorSession(&session));
  EXPECT_EQ(session, 2u) << "another user's number was taken";
  unsigned int last = 0;
  ASSERT_TRUE(TalMonitorGetLastSession(&last));
  EXPECT_EQ(last, 2u);
  TalMonitorSelectPage select;
  select.SetSession(1);
  Korin::String page;
  EXPECT_FALSE(select.Read(page)) << "another user's page was listed: " << page.c_str();
  // Markers planted by the other user change nothing for this producer.
  for (const char* marker : {"0002Stop.TXT", "0002Pause.TXT"}) {
    std::ofstream(dir.file(marker)) << "";
    ASSERT_EQ(chown(dir.file(marker).c_str(), kNobody, kNobody), 0);
  }
  EXPECT_EQ(Activity(session), 1u);
  EXPECT_TRUE(TalMonitorDoEvents(session));
  EXPECT_TRUE(TalCloseMonitorSession(session));

  ASSERT_EQ(write(done[1], "d", 1), 1);
  EXPECT_EQ(Wait(other), 0);
  unsigned int next = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&next));  // its clean-up spares the other user's files
  EXPECT_EQ(next, 3u);
  // The other producer ended without closing (as if killed): its marker stays with the rest.
  EXPECT_EQ(dir.list(), (Strings{"0001Log.ROW", "0001Log.TXT", "0001Play.TXT", "0002Pause.TXT",
                                 "0002Stop.TXT", "0003Play.TXT"}));
  for (int fd : {ready[0], ready[1], done[0], done[1]})
    close(fd);
}

// The facades keep one session per process, so each test runs in a child of its own.
TEST(ProcessFacades, WriterPagesShareTheSessionAndCopiesCloseOnce) {
  ScopedDataDir dir;
  EXPECT_EQ(Wait(Spawn([&]() {
              if (TalMonitorWriterPage::GetSession() != 0) return 1;
              {
                TalMonitorWriterPage log("Log");
                TalMonitorWriterPage errors("Errors", false);
                if (TalMonitorWriterPage::GetSession() != 1) return 2;
                TalMonitorWriterPage copy(log);
                {
                  TalMonitorWriterPage another("Other");
                  another = copy;
                  static_cast<IMonitorWriter&>(another).Write("one\ntwo");
                }
                static_cast<IMonitorWriter&>(copy).Flush();
                uint32_t count = 0;
                if (!static_cast<IMonitorReader&>(log).GetCount(count) || count != 2) return 3;
                if (TalMonitorWriterPage::DoEvents() != 1) return 4;
                TalMonitorReaderPage::SetSession(1);
                TalMonitorReaderPage page("Log");
                TalMonitorReaderPage pageCopy = page;
                if (!static_cast<IMonitorReader&>(pageCopy).GetCount(count) || count != 2) {
                  return 5;
                }
              }
              // Temporary pages vanished with their last copy; the kept page and the session stay.
              if (dir.list() != Strings{"0001Errors.ROW", "0001Errors.TXT", "0001Play.TXT"}) {
                return 6;
              }
              exit(0);  // normal exit closes the process's session
            })),
            0);
  EXPECT_EQ(dir.list(), (Strings{"0001Errors.ROW", "0001Errors.TXT"}));
}

TEST(ProcessFacades, WithoutASessionWriterPagesStoreNothing) {
  ScopedDataDir dir;
  fclose(fopen(dir.file("plain").c_str(), "w"));
  EXPECT_EQ(Wait(Spawn([&]() {
              setenv("TALMON_DATA_DIR", dir.file("plain/sub").c_str(), 1);
              TalMonitorWriterPage page("Log");
              if (TalMonitorWriterPage::GetSession() != 0) return 1;
              IMonitorWriter& writer = page;
              if (&writer != &MonitorWriterNull::Instance()) return 2;
              if (!writer.Write("lost\n") || !writer.Flush()) return 3;
              uint32_t count = 9;
              if (!static_cast<IMonitorReader&>(page).GetCount(count) || count != 0) return 4;
              TalMonitorReaderPage refused("../Log");
              if (&static_cast<IMonitorReader&>(refused) != &MonitorReaderNull::Instance()) {
                return 5;
              }
              return 0;
            })),
            0);
  EXPECT_EQ(dir.list(), Strings{"plain"});
}

}  // namespace
