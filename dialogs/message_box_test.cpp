// The message box on the offscreen platform: the buttons and icon of each type word and what
// Return, Escape, clicks and close requests answer, one width for all buttons, the window's
// caption buttons, a message that grows while the box is open, and hostile input.

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QStyle>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "talmon/message_box.h"
#include "textctrl/vector_reader.h"

namespace {

using Rows = talmon_test::VectorReader;

// In the order they were added.
std::vector<QPushButton*> Buttons(const QWidget& box) {
  const QList<QPushButton*> found = box.findChildren<QPushButton*>();
  return std::vector<QPushButton*>(found.begin(), found.end());
}

std::string Captions(const QWidget& box) {
  std::string out;
  for (const QPushButton* b : Buttons(box))
    out += (out.empty() ? "" : " ") + b->text().toStdString();
  return out;
}

QImage IconImage(const QIcon& icon) {
  return icon.pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
}

void Press(QWidget* target, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
  QKeyEvent press(QEvent::KeyPress, key, modifiers);
  QApplication::sendEvent(target, &press);
}

// Runs TalMonitorMessageBox(type) and, once the box is up, act on it. A box still open after
// act is ended with -99, so that a key that did nothing shows as a wrong result, not a hang.
int RunBox(unsigned int type, const std::function<void(TalMonMessageBox&)>& act,
           std::string* captions = nullptr, QImage* icon = nullptr) {
  Rows reader;
  reader.rows() = {"(title A question)", "Go on?"};
  QTimer::singleShot(0, [&] {
    auto* box = qobject_cast<TalMonMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    // The box ends by its buttons and keys only: no caption button to close it.
    EXPECT_FALSE(box->windowFlags() & (Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint |
                                       Qt::WindowMaximizeButtonHint));
    if (captions != nullptr) *captions = Captions(*box);
    if (icon != nullptr) *icon = IconImage(box->windowIcon());
    act(*box);
    if (box->isVisible()) box->done(-99);
  });
  return TalMonitorMessageBox(&reader, type);
}

std::function<void(TalMonMessageBox&)> Key(Qt::Key key) {
  return [key](TalMonMessageBox& box) { Press(&box, key); };
}

std::function<void(TalMonMessageBox&)> Click(int index) {
  return [index](TalMonMessageBox& box) {
    QTest::mouseClick(Buttons(box).at(static_cast<size_t>(index)), Qt::LeftButton);
  };
}

// Return on a focused button chooses it, whichever is the default.
std::function<void(TalMonMessageBox&)> FocusAndReturn(int index) {
  return [index](TalMonMessageBox& box) {
    QPushButton* button = Buttons(box).at(static_cast<size_t>(index));
    button->setFocus();
    Press(button, Qt::Key_Return);
  };
}

// A close request answers as the cancel choice, and is refused where there is none.
void Close(TalMonMessageBox& box) {
  box.close();
}

TEST(MessageBoxTypes, ButtonsIconAndWhatEachAnswerReturns) {
  using Icon = QStyle::StandardPixmap;
  const Icon info = QStyle::SP_MessageBoxInformation, question = QStyle::SP_MessageBoxQuestion;
  const struct {
    unsigned int type;
    const char* captions;
    Icon icon;
    std::function<void(TalMonMessageBox&)> act;
    int result;
  } cases[] = {
      {0x24, "&Yes &No", question, Click(0), 6},
      {0x24, "&Yes &No", question, Click(1), 7},
      {0x24, "&Yes &No", question, Key(Qt::Key_Escape), 7},
      {0x24, "&Yes &No", question, FocusAndReturn(1), 7},
      {0x24, "&Yes &No", question, Close, 7},
      {0, "&Ok", info, Key(Qt::Key_Return), 1},
      {0, "&Ok", info, Key(Qt::Key_Escape), -99},  // no cancel choice: Escape does nothing
      {0, "&Ok", info, Close, -99},
      {0x11, "&Ok &Cancel", QStyle::SP_MessageBoxCritical, Key(Qt::Key_Escape), 2},
      {1, "&Ok &Cancel", info,
       [](TalMonMessageBox& box) { Press(&box, Qt::Key_Pause, Qt::ControlModifier); }, 2},
      {0x102, "&Abort &Retry &Ignore", info, Key(Qt::Key_Return), 3},  // Abort stays default
      {0x32, "&Abort &Retry &Ignore", QStyle::SP_MessageBoxWarning, Key(Qt::Key_Escape), 5},
      {3, "&Yes &No &Cancel", info, Click(2), 2},
      {5, "&Retry &Cancel", info, Key(Qt::Key_Enter), 4},
      {6, "", info, Key(Qt::Key_Return), -1},  // no buttons: Return ends with -1
      {0x0F, "", info, Key(Qt::Key_Escape), -99},
  };
  for (const auto& c : cases) {
    std::string captions;
    QImage icon;
    EXPECT_EQ(RunBox(c.type, c.act, &captions, &icon), c.result) << "case: " << &c - cases;
    EXPECT_EQ(captions, c.captions) << "case: " << &c - cases;
    EXPECT_EQ(icon, IconImage(QApplication::style()->standardIcon(c.icon)))
        << "case: " << &c - cases;
  }
}

TEST(MessageBox, ButtonsShareTheWidthOfTheWidestCaption) {
  const struct {
    std::vector<const char*> captions;
    bool longest;  // the widest caption passes 40 units
  } cases[] = {{{"&Ok", "&Cancel", "Keep the files and go on with the next step"}, true},
               {{"&Ok", "&No"}, false}};
  for (const auto& c : cases) {
    TalMonMessageBox box(nullptr);
    int widest = 0;
    for (size_t i = 0; i < c.captions.size(); ++i) {
      box.AddButton(static_cast<unsigned int>(i + 1), i == 0, 0, c.captions[i]);
      widest = std::max(widest, box.fontMetrics().horizontalAdvance(c.captions[i]));
    }
    ASSERT_TRUE(box.ShowModeless());
    EXPECT_EQ(widest > box.FromDlgX(40), c.longest);
    const int want = std::max(widest, box.FromDlgX(40)) + 2 * box.FromDlgX(7);
    const auto buttons = Buttons(box);
    for (const QPushButton* b : buttons)
      EXPECT_EQ(b->width(), want) << "case: " << c.captions.back();
    // Right-aligned in one row under the text.
    EXPECT_EQ(buttons.back()->geometry().right() + 1, box.width() - box.FromDlgX(10));
    EXPECT_GT(buttons.front()->y(), box.GetTextCtrl().geometry().bottom());
    box.done(0);
  }
}

// The box rereads its reader every 100 ms: rows added while it is open appear, and the box
// grows with its message up to the screen.
TEST(MessageBox, ShowsRowsAddedWhileOpenAndGrowsWithThem) {
  Rows reader;
  reader.rows() = {"(title Copying)", "(progress 1)(total 10)"};
  TalMonMessageBox box(nullptr);
  box.AddButton(1, 1, 1, "&Ok");
  box.GetTextCtrl().SetMonitor(&reader);
  ASSERT_TRUE(box.ShowModeless());
  const int height = box.height();
  EXPECT_EQ(box.GetTextCtrl().height(), 200);
  for (int i = 0; i < 20; ++i)
    reader.rows().push_back("copied file " + std::to_string(i));
  QTRY_COMPARE_WITH_TIMEOUT(box.GetTextCtrl().GetVerticalBar()->GetRange(), 22, 2000);
  QTRY_VERIFY_WITH_TIMEOUT(box.height() > height, 2000);
  EXPECT_GE(box.GetTextCtrl().height(), 22 * 21);
  reader.rows().resize(5000, std::string(3000, 'w'));
  QTest::qWait(300);
  EXPECT_LE(box.width(), box.screen()->availableGeometry().width());
  EXPECT_LE(box.height(), box.screen()->availableGeometry().height());
  box.done(0);
}

// No reader, a null icon, a 10,000-byte title, invalid UTF-8, null strings: the box shows and
// keeps refreshing.
TEST(MessageBoxBadInput, NullReaderAndHostileTitles) {
  const std::string huge(10000, 't');
  for (const char* title :
       {huge.c_str(), "bad \xff\xfe utf-8 \xc3", static_cast<const char*>(nullptr)}) {
    TalMonMessageBox box(nullptr);
    box.SetTitle(title);
    box.SetIcon(QIcon());
    box.AddButton(1, 0, 0, nullptr);
    ASSERT_TRUE(box.ShowModeless());
    QTest::qWait(150);
    EXPECT_TRUE(box.isVisible() && box.windowIcon().isNull());
    box.done(0);
  }
}

// With the application running on the main thread, a TalMonThread box is shown there: made
// and started on that thread directly, or from a worker through the application's loop.
TEST(MessageBoxThread, ShownOnTheApplicationsThread) {
  {
    TalMonThread thread;
    ASSERT_NE(thread.GetDialog(), nullptr);
    thread.GetDialog()->AddButton(1, 1, 1, "&Ok");
    EXPECT_TRUE(thread.Start());
    EXPECT_TRUE(thread.GetDialog()->isVisible());
    EXPECT_FALSE(thread.GetDialog()->windowFlags() & Qt::WindowSystemMenuHint);
    EXPECT_FALSE(thread.Start()) << "started twice";
  }
  std::atomic<bool> shownElsewhere{false}, done{false};
  std::thread worker([&] {
    {
      TalMonThread thread;
      shownElsewhere = thread.GetDialog() != nullptr && thread.Start() &&
                       thread.GetDialog()->thread() != QThread::currentThread();
    }
    done = true;
  });
  // The worker's calls run in this thread's loop, its destructor's too.
  QTRY_VERIFY_WITH_TIMEOUT(done.load(), 5000);
  worker.join();
  EXPECT_TRUE(shownElsewhere);
}

}  // namespace
