// TalMonView's windows offscreen, over data directories prepared by real writers and by the
// terminal tool's demo producer running in another process.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>
#include <functional>
#include <string>
#include <vector>

#include "talmon/session.h"
#include "tests/support/temp_dir.h"
#include "viewer/command_line.h"
#include "viewer/main_window.h"
#include "viewer/page_view.h"

namespace {

using talmon::viewer::Form;
using talmon::viewer::MainWindow;
using talmon::viewer::PageView;
using talmon::viewer::Request;
using talmon_test::ScopedDataDir;

TEST(ViewerCommandLine, FormsAndRefusals) {
  struct Case {
    std::vector<std::string> args;
    bool ok;
    Form form;
    unsigned int session;
    std::string view;
    bool follow;
    std::string title;
  };
  const Case cases[] = {
      {{}, true, Form::kBrowse, 0, "", true, ""},
      {{"12"}, true, Form::kBrowse, 12, "", true, ""},
      {{"--help"}, true, Form::kHelp, 0, "", true, ""},
      {{"*", "0007", "", "Job"}, true, Form::kSession, 7, "", true, "Job"},
      {{"", "0007", "follow", ""}, true, Form::kSession, 7, "", true, ""},
      {{"Log", "0007", "hold", "My", "Job"}, true, Form::kSession, 7, "Log", false, "My Job"},
      {{"7", "Job"}, true, Form::kWait, 7, "", true, "Job"},
      {{"7", ""}, true, Form::kWait, 7, "", true, ""},
      {{"7", "0007", "x", "Job"}, false, Form::kSession, 7, "", true, ""},  // unknown mode
      {{"A", "0000", "", "Job"}, false, Form::kSession, 0, "", true, ""},
      {{"0"}, false, Form::kBrowse, 0, "", true, ""},
      {{"10000"}, false, Form::kBrowse, 0, "", true, ""},
      {{"99999999999999999999"}, false, Form::kBrowse, 0, "", true, ""},
      {{"x"}, false, Form::kBrowse, 0, "", true, ""},
      {{"A", "B"}, false, Form::kBrowse, 0, "", true, ""},
      {{"A", "007", "B", "C"}, false, Form::kBrowse, 0, "", true, ""},
  };
  for (const Case& c : cases) {
    std::string label;
    for (const std::string& a : c.args)
      label += "[" + a + "]";
    Request r;
    std::string error;
    ASSERT_EQ(talmon::viewer::ParseCommandLine(c.args, r, error), c.ok) << "case: " << label;
    EXPECT_EQ(error.empty(), c.ok) << "case: " << label;
    if (!c.ok) continue;
    EXPECT_EQ(r.form, c.form) << "case: " << label;
    EXPECT_EQ(r.session, c.session) << "case: " << label;
    EXPECT_EQ(r.view, c.view) << "case: " << label;
    EXPECT_EQ(r.follow, c.follow) << "case: " << label;
    EXPECT_EQ(r.title, c.title) << "case: " << label;
  }
}

TEST(ViewerCommandLine, TheProgramAnswersABadLineWithCode2AndAMessage) {
  for (const QStringList& args : {QStringList{"x"}, QStringList{"0"}, QStringList{"A", "B"}}) {
    QProcess viewer;
    viewer.start(TALMON_VIEWER_PATH, args);
    ASSERT_TRUE(viewer.waitForFinished(10000)) << args.join(' ').toStdString();
    EXPECT_EQ(viewer.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(viewer.exitCode(), 2) << args.join(' ').toStdString();
    EXPECT_TRUE(viewer.readAllStandardError().startsWith("TalMonView: "));
  }
}

// Waits (pumping events) until done() holds or ten seconds pass.
bool WaitFor(const std::function<bool()>& done) {
  QElapsedTimer timer;
  timer.start();
  while (!done()) {
    if (timer.elapsed() > 10000) return false;
    QTest::qWait(20);
  }
  return true;
}

// Writes rows into page of session, flushed.
void WritePage(unsigned int session, const char* page, const std::vector<std::string>& rows,
               std::vector<IMonitorWriter*>& writers) {
  IMonitorWriter* w = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(session, page, false, &w));
  for (const std::string& row : rows)
    w->Write((row + "\n").c_str());
  w->Flush();
  writers.push_back(w);
}

std::string Row(IMonitorReader* reader, uint32_t row) {
  const char* text = nullptr;
  uint32_t length = 0;
  return reader != nullptr && reader->GetRow(row, text, length) ? std::string(text) : "<none>";
}

class ViewerWindowTest : public testing::Test {
 protected:
  void TearDown() override {
    for (IMonitorWriter* w : writers_)
      TalCloseMonitorWriter(w);
  }
  unsigned int NewSession() {
    unsigned int s = 0;
    EXPECT_TRUE(TalCreateMonitorSession(&s));
    return s;
  }
  PageView* Tab(MainWindow& window, const QString& name) {
    for (int i = 0; i < window.Tabs()->count(); ++i) {
      if (window.Tabs()->tabText(i) == name)
        return qobject_cast<PageView*>(window.Tabs()->widget(i));
    }
    return nullptr;
  }

  ScopedDataDir data_;
  // The window keeps its geometry in the user's settings: not in the tester's.
  talmon_test::ScopedEnv config_{"XDG_CONFIG_HOME", data_.path().c_str()};
  std::vector<IMonitorWriter*> writers_;
};

TEST_F(ViewerWindowTest, ListsSessionsAndShowsTheNewestPagesAndTheirMergedOrder) {
  const unsigned int first = NewSession();
  WritePage(first, "Old", {"old row"}, writers_);
  const unsigned int second = NewSession();
  IMonitorWriter* log = nullptr;
  IMonitorWriter* err = nullptr;
  ASSERT_TRUE(TalOpenMonitorWriter(second, "Log", false, &log));
  ASSERT_TRUE(TalOpenMonitorWriter(second, "Errors", false, &err));
  writers_.push_back(log);
  writers_.push_back(err);
  for (const char* row : {"L1\n", "L2\n"})
    log->Write(row);
  log->Flush();
  err->Write("E1\n");
  err->Flush();
  log->Write("L3\n");
  log->Flush();

  MainWindow window(Request{});
  window.show();
  ASSERT_EQ(window.Sessions()->topLevelItemCount(), 2);
  EXPECT_EQ(window.Sessions()->topLevelItem(0)->text(0), QString::asprintf("%04u", first));
  EXPECT_EQ(window.Sessions()->topLevelItem(0)->text(1), "Old");
  EXPECT_EQ(window.Sessions()->topLevelItem(1)->text(3), "playing");
  EXPECT_EQ(window.Session(), second);

  PageView* logView = Tab(window, "Log");
  ASSERT_NE(logView, nullptr);
  EXPECT_EQ(Row(logView->Reader(), 0), "L1");
  EXPECT_EQ(Row(logView->Reader(), 2), "L3");

  PageView* merged = Tab(window, "All pages");
  ASSERT_NE(merged, nullptr);
  EXPECT_EQ(window.Tabs()->currentWidget(), merged);
  ASSERT_TRUE(WaitFor([&] { return merged->Reader() != nullptr; }));
  // A row's place is where it began: a page's first row begins when the page is opened, each
  // later one at the line feed before it.
  const std::vector<std::string> expected = {"(little Log) L1", "(little Errors) E1",
                                             "(little Log) L2", "(little Log) L3"};
  for (uint32_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(Row(merged->Reader(), i), expected[i]) << "row " << i;
  }

  // Rows flushed later reach the open views through the data directory watch.
  log->Write("L4\n");
  log->Flush();
  EXPECT_TRUE(WaitFor([&] { return Row(logView->Reader(), 3) == "L4"; }));
}

TEST_F(ViewerWindowTest, FindMarksMatchingRowsAndJumpsBetweenThem) {
  const unsigned int session = NewSession();
  std::vector<std::string> rows;
  for (int i = 0; i < 300; ++i)
    rows.push_back(i == 40 || i == 250 ? "(bold disk Error) at " + std::to_string(i)
                                       : "row " + std::to_string(i));
  rows.push_back("(error) (bold) only tags");  // tag names are not text
  WritePage(session, "Log", rows, writers_);
  Request request;
  request.view = "Log";
  request.follow = false;
  MainWindow window(request);
  window.resize(800, 400);
  window.show();
  PageView* view = window.CurrentView();
  ASSERT_NE(view, nullptr);
  ASSERT_EQ(window.Tabs()->tabText(window.Tabs()->currentIndex()), "Log");
  window.FindInView("ERROR");
  ASSERT_TRUE(WaitFor([&] { return !view->Busy(); }));
  EXPECT_EQ(view->Matches(), (std::vector<uint32_t>{40, 250}));
  TalMonColor colour = 0;
  EXPECT_TRUE(view->GetMarkerColor(250, colour));
  EXPECT_FALSE(view->GetMarkerColor(251, colour));

  QTest::keyClick(&window, Qt::Key_F3);
  EXPECT_EQ(view->Control()->GetVerticalBar()->GetPos(), 40);
  QTest::keyClick(&window, Qt::Key_F3);
  const int32_t second = view->Control()->GetVerticalBar()->GetPos();
  EXPECT_GT(second, 40);  // 250, or as near as the last screen allows
  QTest::keyClick(&window, Qt::Key_F3, Qt::ShiftModifier);
  EXPECT_EQ(view->Control()->GetVerticalBar()->GetPos(), 40);
}

TEST_F(ViewerWindowTest, AnUnsafeDataDirectoryIsReportedNotShown) {
  const unsigned int session = NewSession();
  WritePage(session, "Log", {"row"}, writers_);
  ASSERT_EQ(chmod(data_.path().c_str(), 0777), 0);  // writable by anyone: refused
  MainWindow window(Request{});
  EXPECT_EQ(window.Sessions()->topLevelItemCount(), 0);
  EXPECT_EQ(window.Tabs()->count(), 0);
  EXPECT_TRUE(window.StatusText().contains("data directory")) << window.StatusText().toStdString();
  chmod(data_.path().c_str(), 0700);
}

TEST_F(ViewerWindowTest, TheWaitDisplayClosesWhenItsSessionEnds) {
  const unsigned int session = NewSession();
  WritePage(session, "Log", {"working"}, writers_);
  talmon::viewer::WaitWindow wait(session, "Job");
  wait.show();
  EXPECT_EQ(wait.windowTitle(), "Job");
  EXPECT_TRUE(wait.isVisible());
  TalCloseMonitorSession(session);
  EXPECT_TRUE(WaitFor([&] { return !wait.isVisible(); }));

  talmon::viewer::WaitWindow none(9999, "");  // a session that never was closes at once
  none.show();
  EXPECT_TRUE(WaitFor([&] { return !none.isVisible(); }));
}

TEST_F(ViewerWindowTest, PauseAndStopReachAProducerInAnotherProcess) {
  QProcess producer;
  producer.start(TALMON_CLI_PATH, {"demo", "--seconds", "60"});
  ASSERT_TRUE(producer.waitForStarted(10000));
  MainWindow window(Request{});
  window.show();
  ASSERT_TRUE(WaitFor([&] {
    window.RefreshAll();
    return window.Session() != 0;
  }));
  const unsigned int session = window.Session();
  ASSERT_TRUE(window.PauseAction()->isEnabled());
  window.PauseAction()->trigger();
  unsigned int activity = 0;
  TalMonitorGetActivity(session, &activity);
  EXPECT_EQ(activity, static_cast<unsigned>(kTalMonPaused));
  EXPECT_TRUE(window.StatusText().contains("paused")) << window.StatusText().toStdString();

  // A paused producer writes nothing more.
  IMonitorReader* log = nullptr;
  ASSERT_TRUE(TalOpenMonitorReader(session, "Log", &log));
  uint32_t before = 0;
  uint32_t after = 0;
  QTest::qWait(300);  // a step under way when the pause came ends first
  log->GetCount(before);
  QTest::qWait(500);
  log->GetCount(after);
  EXPECT_EQ(before, after);

  QTest::keyClick(&window, Qt::Key_Space);  // resumes
  TalMonitorGetActivity(session, &activity);
  EXPECT_EQ(activity, static_cast<unsigned>(kTalMonPlaying));
  EXPECT_TRUE(WaitFor([&] {
    log->GetCount(after);
    return after > before;
  }));
  TalCloseMonitorReader(log);

  window.SetActivity(kTalMonStopped);
  EXPECT_TRUE(producer.waitForFinished(10000));
  EXPECT_TRUE(WaitFor([&] {
    window.RefreshAll();
    return !window.PauseAction()->isEnabled() && window.StatusText().contains("stopped");
  }));
}

}  // namespace
