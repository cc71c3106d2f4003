// The launcher against a stand-in viewer: a script named TalMonView, first on PATH, that
// records its arguments and what it saw of the session, then lingers until it is ended.

#include <errno.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <QApplication>
#include <QCoreApplication>
#include <QMainWindow>
#include <QTimer>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "talmon/pages.h"
#include "talmon/session.h"
#include "talmon/viewer.h"
#include "tests/support/temp_dir.h"

namespace {

using talmon_test::ScopedDataDir;
using talmon_test::ScopedEnv;

// Records "pid N", one "[arg]" line per argument and, with RECORD_PAUSE set, waits until the
// session's Pause marker appears and records "paused" before it ends by itself.
constexpr char kStandIn[] = R"(#!/bin/sh
{ echo "pid $$"; for a in "$@"; do echo "[$a]"; done; } > "$RECORD.tmp"
if [ -n "$RECORD_PAUSE" ]; then
  i=0
  while [ ! -e "${TALMON_DATA_DIR}0007Pause.TXT" ] && [ $i -lt 500 ]; do sleep 0.02; i=$((i+1)); done
  [ -e "${TALMON_DATA_DIR}0007Pause.TXT" ] && echo paused >> "$RECORD.tmp"
  mv "$RECORD.tmp" "$RECORD"
  exit 0
fi
mv "$RECORD.tmp" "$RECORD"
exec sleep 60
)";

// A data directory where the process's own session is number 7, a bin/ folder with the
// stand-in first on PATH, and the record file the stand-in writes.
class LauncherTest : public testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(data_.file("0006Old.TXT"));  // empty: the new session is 7
    page_ = std::make_unique<TalMonitorWriterPage>("Log");
    ASSERT_EQ(TalMonitorWriterPage::GetSession(), 7u);
    mkdir(data_.file("bin").c_str(), 0700);
    const std::string script = data_.file("bin/TalMonView");
    std::ofstream(script) << kStandIn;
    chmod(script.c_str(), 0700);
    record_ = data_.file("record");
  }

  // The record once the stand-in wrote it (waits up to ten seconds); "" when it never came.
  std::string Record() {
    for (int i = 0; i < 1000; ++i) {
      std::ifstream in(record_);
      if (in) {
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
      }
      QCoreApplication::processEvents();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return "";
  }

  // The arguments of the record, joined as "[a][b]".
  std::string Arguments() {
    std::string args;
    std::istringstream lines(Record());
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty() && line[0] == '[') args += line;
    }
    return args;
  }

  int RecordedPid() {
    const std::string record = Record();
    return record.rfind("pid ", 0) == 0 ? std::stoi(record.substr(4)) : 0;
  }

  static unsigned int Activity() {
    unsigned int activity = 99;
    TalMonitorGetActivity(7, &activity);
    return activity;
  }

  ScopedDataDir data_;
  std::unique_ptr<TalMonitorWriterPage> page_;
  std::string record_;
  ScopedEnv path_{"PATH", (data_.path() + "bin:/usr/bin:/bin").c_str()};
  ScopedEnv recordEnv_{"RECORD", (data_.path() + "record").c_str()};
};

// The process is gone and reaped: no zombie is left.
void ExpectGone(int pid) {
  ASSERT_GT(pid, 0);
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_EQ(errno, ESRCH) << "pid " << pid << " still exists (a zombie?)";
}

TEST_F(LauncherTest, ViewerCommandLinesArriveSplitAtBlanks) {
  struct Case {
    const char* arg1;
    const char* arg2;
    const char* title;
    const char* windowTitle;  // a main window shown with that title; null: none
    std::string expected;
  };
  const Case cases[] = {
      {"A", "B", "Job", nullptr, "[A][0007][B][Job]"},
      {"A", "B", "My Job", nullptr, "[A][0007][B][My][Job]"},
      {"A", "B", nullptr, nullptr, "[A][0007][B][]"},
      {"A", "B", nullptr, "Main", "[A][0007][B][Main]"},
      {"", "B", "Job", nullptr, "[][0007][B][Job]"},
  };
  for (const Case& c : cases) {
    std::unique_ptr<QMainWindow> window;
    if (c.windowTitle != nullptr) {
      window = std::make_unique<QMainWindow>();
      window->setWindowTitle(c.windowTitle);
      window->show();
    }
    unlink(record_.c_str());
    int pid = 0;
    {
      TalMonitorViewer viewer(c.arg1, c.arg2, false, c.title);
      EXPECT_EQ(Arguments(), c.expected) << "case: " << c.expected;
      pid = RecordedPid();
    }
    ExpectGone(pid);
  }
}

TEST_F(LauncherTest, WaitDisplayHidesTheMainWindowAndGivesItBack) {
  QMainWindow window;
  window.setWindowTitle("Job");
  window.show();
  int pid = 0;
  {
    TalMonitorWait wait;
    EXPECT_EQ(Arguments(), "[7][Job]");
    EXPECT_FALSE(window.isVisible());
    EXPECT_FALSE(window.isEnabled());
    EXPECT_NE(QApplication::overrideCursor(), nullptr);
    pid = RecordedPid();
  }
  EXPECT_TRUE(window.isVisible());
  EXPECT_TRUE(window.isEnabled());
  EXPECT_EQ(QApplication::overrideCursor(), nullptr);
  ExpectGone(pid);
}

TEST_F(LauncherTest, WaitForCloseHoldsTheSessionPausedWhileTheViewerRuns) {
  ScopedEnv pause("RECORD_PAUSE", "1");
  QMainWindow window;
  window.show();
  {
    TalMonitorViewer viewer("A", "B", true, "Job");
    EXPECT_FALSE(window.isVisible());
    EXPECT_EQ(Activity(), 1u);
  }  // the stand-in ends by itself once it saw the session paused
  EXPECT_NE(Record().find("paused"), std::string::npos) << Record();
  EXPECT_EQ(Activity(), 1u);
  EXPECT_TRUE(window.isVisible());
  ExpectGone(RecordedPid());
}

// A producer destroys its viewer from inside its event loop; the quit that ends the wait must
// still end that loop afterwards.
TEST_F(LauncherTest, QuitDuringTheWaitEndsItAndStaysDelivered) {
  int pid = 0;
  bool waited = false;
  QTimer::singleShot(0, qApp, [&] {
    {
      TalMonitorViewer viewer("A", "B", true, "Job");
      pid = RecordedPid();
      QTimer::singleShot(100, qApp, &QCoreApplication::quit);
    }  // the stand-in never ends by itself: only the quit ends this wait
    waited = true;
  });
  QTimer::singleShot(20000, qApp, [] { QCoreApplication::exit(3); });
  EXPECT_EQ(QCoreApplication::exec(), 0);
  EXPECT_TRUE(waited);
  EXPECT_EQ(Activity(), 1u);
  ExpectGone(pid);
}

TEST_F(LauncherTest, AViewerThatCannotStartLeavesEverythingAsItWas) {
  ScopedEnv missing("TALMON_VIEWER", "talmon-no-such-viewer");
  QMainWindow window;
  window.show();
  {
    TalMonitorViewer viewer("A", "B", true, "Job");
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.isEnabled());
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
  }
  EXPECT_EQ(Activity(), 1u);  // paused and played again, with nothing to wait for
  EXPECT_FALSE(std::ifstream(record_).good());
}

TEST_F(LauncherTest, TalMonViewerNamesAnotherExecutable) {
  const std::string other = data_.file("bin/other-viewer");
  ASSERT_EQ(rename(data_.file("bin/TalMonView").c_str(), other.c_str()), 0);
  ScopedEnv viewerEnv("TALMON_VIEWER", other.c_str());
  int pid = 0;
  {
    TalMonitorViewer viewer("A", "B", false, "Job");
    EXPECT_EQ(Arguments(), "[A][0007][B][Job]");
    pid = RecordedPid();
  }
  ExpectGone(pid);
}

}  // namespace
