// Sessions, activity, merging and the page facades across real processes: producers are
// forked children, which end with _exit (or exit() where the test is about normal exit).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/file.h"
#include "session/test_util.h"
#include "talmon/pages.h"
#include "talmon/readers.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedDataDir;

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

int RunInChild(const std::function<int()>& body) {
  return Wait(Spawn(body));
}

struct WaitReport {
  int result;
  int64_t cpu;
  int64_t wall;
  int64_t returned;  // CLOCK_MONOTONIC
};

TEST(ProcessActivity, PausedProducerWaitsWithoutSpinningAndWakesOnRename) {
  struct Case {
    int release;
    int result;
  } cases[] = {{1, 1}, {0, 0}};
  for (const Case& c : cases) {
    ScopedDataDir dir;
    unsigned int session = 0;
    ASSERT_TRUE(TalCreateMonitorSession(&session));
    ASSERT_TRUE(TalMonitorSetActivity(session, 2));
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = Spawn([&]() {
      WaitReport report;
      const int64_t cpu = Nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
      const int64_t wall = Nanoseconds(CLOCK_MONOTONIC);
      report.result = TalMonitorDoEvents(session) ? 1 : 0;
      report.returned = Nanoseconds(CLOCK_MONOTONIC);
      report.cpu = Nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - cpu;
      report.wall = report.returned - wall;
      return write(fds[1], &report, sizeof report) == sizeof report ? 0 : 1;
    });
    usleep(150 * 1000);
    const int64_t released = Nanoseconds(CLOCK_MONOTONIC);
    ASSERT_TRUE(TalMonitorSetActivity(session, c.release)) << "release: " << c.release;
    WaitReport report{};
    ASSERT_EQ(read(fds[0], &report, sizeof report), static_cast<ssize_t>(sizeof report));
    EXPECT_EQ(Wait(child), 0);
    close(fds[0]);
    close(fds[1]);
    EXPECT_EQ(report.result, c.result) << "release: " << c.release;
    EXPECT_GE(report.wall, 120 * 1000000LL) << "release: " << c.release;
    EXPECT_LT(report.returned - released, 20 * 1000000LL) << "release: " << c.release;
    EXPECT_LT(report.cpu * 10, report.wall) << "release: " << c.release;
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
        !TalOpenMonitorWriter(session, "Log", true, &writer)) {
      return 1;
    }
    writer->Write("working");
    writer->Flush();
    if (write(fds[1], &session, sizeof session) != sizeof session) return 2;
    pause();
    return 3;
  });
  unsigned int session = 0;
  ASSERT_EQ(read(fds[0], &session, sizeof session), static_cast<ssize_t>(sizeof session));
  close(fds[0]);
  close(fds[1]);
  unsigned int activity = 0;
  ASSERT_TRUE(TalMonitorGetActivity(session, &activity));
  EXPECT_EQ(activity, 1u);

  kill(producer, SIGKILL);
  EXPECT_EQ(Wait(producer), 128 + SIGKILL);
  ASSERT_TRUE(TalMonitorGetActivity(session, &activity));
  EXPECT_EQ(activity, 0u);
  EXPECT_FALSE(TalMonitorSetActivity(session, 2));
  EXPECT_TRUE(Korin_FileExists(dir.file("0001Play.TXT").c_str()));
  EXPECT_FALSE(TalMonitorDoEvents(session));

  unsigned int next = 0;
  ASSERT_TRUE(TalCreateMonitorSession(&next));
  EXPECT_EQ(next, 1u);  // everything of the dead session went, so numbering restarts
  EXPECT_EQ(dir.list(), std::vector<std::string>{"0001Play.TXT"});
  ASSERT_TRUE(TalMonitorGetActivity(next, &activity));
  EXPECT_EQ(activity, 1u);
  TalCloseMonitorSession(next);
}

TEST(ProcessMerge, EqualStampsOfTwoProcessesComeInOrderOfAddition) {
  ScopedDataDir dir;
  // Both producers start from the same row counter, as two fresh processes do.
  for (const char* page : {"A", "B"}) {
    ASSERT_EQ(RunInChild([&]() {
                IMonitorWriter* writer = nullptr;
                if (!TalOpenMonitorWriter(1, page, false, &writer)) return 1;
                const std::string p(page);
                writer->Write((p + "0\n" + p + "1\n" + p + "2").c_str());
                writer->Flush();
                TalCloseMonitorWriter(writer);
                return 0;
              }),
              0)
        << "page: " << page;
  }
  TalMonitorReaderTime* merged = nullptr;
  ASSERT_TRUE(TalOpenMonitorReaderTime(1, &merged));
  for (const char* page : {"B", "A"}) {
    IMonitorReader* reader = nullptr;
    ASSERT_TRUE(TalOpenMonitorReader(1, page, &reader));
    merged->AddReader(reader);
  }
  ASSERT_TRUE(merged->Update());
  std::vector<std::string> rows;
  const char* text = nullptr;
  uint32_t length = 0;
  for (uint32_t i = 0; merged->GetRow(i, text, length); ++i)
    rows.emplace_back(text);
  EXPECT_EQ(rows, (std::vector<std::string>{"B0", "A0", "B1", "A1", "B2", "A2"}));
  TalCloseMonitorReader(merged);
}

// The facades keep one session per process, so each test runs in a child of its own.
TEST(ProcessFacades, WriterPagesShareTheSessionAndCopiesCloseOnce) {
  ScopedDataDir dir;
  EXPECT_EQ(RunInChild([&]() {
              if (TalMonitorWriterPage::GetSession() != 0) return 1;
              {
                TalMonitorWriterPage log("Log");
                TalMonitorWriterPage errors("Errors", false);
                const unsigned int session = TalMonitorWriterPage::GetSession();
                if (session == 0) return 2;
                if (!talmon_test::Exists(dir.file("0001Play.TXT"))) return 3;
                TalMonitorWriterPage copy(log);
                {
                  TalMonitorWriterPage another("Other");
                  another = copy;
                  static_cast<IMonitorWriter&>(another).Write("one\ntwo");
                }
                IMonitorWriter& writer = copy;
                writer.Flush();
                IMonitorReader& reader = log;
                uint32_t count = 0;
                if (!reader.GetCount(count) || count != 2) return 4;
                if (TalMonitorWriterPage::DoEvents() != 1) return 5;
                TalMonitorReaderPage::SetSession(session);
                TalMonitorReaderPage page("Log");
                TalMonitorReaderPage pageCopy = page;
                if (!static_cast<IMonitorReader&>(pageCopy).GetCount(count) || count != 2) {
                  return 6;
                }
              }
              // Temporary pages vanished with their last copy; the kept page stays.
              if (talmon_test::Exists(dir.file("0001Log.TXT"))) return 7;
              if (!talmon_test::Exists(dir.file("0001Errors.TXT"))) return 8;
              if (!talmon_test::Exists(dir.file("0001Play.TXT"))) return 9;
              exit(0);  // normal exit closes the process's session
            }),
            0);
  EXPECT_EQ(dir.list(), (std::vector<std::string>{"0001Errors.ROW", "0001Errors.TXT"}));
}

TEST(ProcessFacades, WithoutASessionWriterPagesStoreNothing) {
  ScopedDataDir dir;
  talmon_test::MakeFile(dir.file("plain"), "");
  EXPECT_EQ(RunInChild([&]() {
              setenv("TALMON_DATA_DIR", dir.file("plain/sub").c_str(), 1);
              TalMonitorWriterPage page("Log");
              if (TalMonitorWriterPage::GetSession() != 0) return 1;
              IMonitorWriter& writer = page;
              if (&writer != &MonitorWriterNull::Instance()) return 2;
              if (!writer.Write("lost\n") || !writer.Flush()) return 3;
              IMonitorReader& reader = page;
              uint32_t count = 9;
              if (!reader.GetCount(count) || count != 0) return 4;
              TalMonitorReaderPage refused("../Log");
              if (&static_cast<IMonitorReader&>(refused) != &MonitorReaderNull::Instance()) {
                return 5;
              }
              return 0;
            }),
            0);
  EXPECT_EQ(dir.list(), std::vector<std::string>{"plain"});
}

}  // namespace
