// The Qt event pump in a Qt program: TalMonitorDoEvents runs queued calls, so a quit request
// ends the wait with false and still reaches the application and a paused producer's timers
// keep running until `talmon resume`; the wait hook wakes on a descriptor and a posted event.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <functional>
#include <thread>
#include <vector>

#include "dialogs/qt_event_pump.h"
#include "talmon/session.h"
#include "tests/support/temp_dir.h"

namespace {

// A session of this process, playing.
struct Session {
  Session() { EXPECT_TRUE(TalCreateMonitorSession(&number)); }
  ~Session() { TalCloseMonitorSession(number); }
  talmon_test::ScopedDataDir dir;
  unsigned int number = 0;
};

// The job runs inside the application's loop, as a GUI job's slot does. Its DoEvents meets the
// quit request and answers false; the loop still ends with the quit afterwards.
TEST(QtEventPump, QuitRequestEndsTheWaitAndIsStillDelivered) {
  Session session;
  std::vector<bool> answers;
  QTimer::singleShot(0, [&] {
    QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    answers.push_back(TalMonitorDoEvents(session.number));
    answers.push_back(TalMonitorDoEvents(session.number));  // still quitting
  });
  QTimer lost;  // ends the loop if the quit never comes; gone with the test
  lost.setSingleShot(true);
  QObject::connect(&lost, &QTimer::timeout, [] { QCoreApplication::exit(99); });
  lost.start(5000);
  EXPECT_EQ(QApplication::exec(), 0);
  EXPECT_EQ(answers, (std::vector<bool>{false, false}));
}

TEST(QtEventPump, WaitWakesOnADescriptorAndOnAPostedEvent) {
  const TalMonEventPump& pump = talmon::QtEventPump();
  ASSERT_NE(pump.waitEvents, nullptr);
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const struct {
    const char* what;
    bool byDescriptor;
    std::function<void()> wake;
  } cases[] = {
      {"a readable descriptor", true, [&] { EXPECT_EQ(write(fds[1], "x", 1), 1); }},
      {"a posted call", false, [] { QTimer::singleShot(0, qApp, [] {}); }},
  };
  for (const auto& c : cases) {
    std::thread waker([&c] {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      c.wake();
    });
    QElapsedTimer elapsed;
    elapsed.start();
    pump.waitEvents(fds[0], 20000);
    EXPECT_LT(elapsed.elapsed(), 10000) << "case: " << c.what;
    waker.join();
    char drained = 0;
    if (c.byDescriptor) {
      EXPECT_EQ(read(fds[0], &drained, 1), 1);
    }
  }
  QElapsedTimer elapsed;
  elapsed.start();
  pump.waitEvents(-1, 50);  // nothing comes: the timer ends the wait
  EXPECT_LT(elapsed.elapsed(), 10000);
  close(fds[0]);
  close(fds[1]);
}

// A paused GUI producer: DoEvents waits, the windows' timers keep running, and `talmon resume`
// from another process lets it go on.
TEST(QtEventPump, PausedGuiProducerResumesAfterTalmonResume) {
  Session session;
  ASSERT_TRUE(TalMonitorSetActivity(session.number, 2));
  int ticks = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
  timer.start(10);
  const pid_t pid = fork();
  if (pid == 0) {
    usleep(300 * 1000);
    execl(TALMON_CLI_PATH, "talmon", "resume", static_cast<char*>(nullptr));
    _exit(127);
  }
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(TalMonitorDoEvents(session.number));
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  EXPECT_GT(ticks, 0) << "the application slept while paused";
  unsigned int activity = 0;
  TalMonitorGetActivity(session.number, &activity);
  EXPECT_EQ(activity, 1u);
}

}  // namespace
