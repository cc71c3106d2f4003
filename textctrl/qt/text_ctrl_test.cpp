// The Qt text control on the offscreen platform: pixels of what it paints, how it scrolls by
// Refresh, keys, wheel, resizing and its bars, link clicks, hostile rows, and a live writer
// in another process.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QImage>
#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>
#include <memory>
#include <string>
#include <vector>

#include "talmon/image_path.h"
#include "talmon/session.h"
#include "talmon/text_ctrl.h"
#include "tests/support/temp_dir.h"
#include "textctrl/vector_reader.h"

namespace {

// Rows in memory that a test can add to while the control shows them.
using GrowingReader = talmon_test::VectorReader;

void Add(GrowingReader& reader, int n, const std::string& row = "row") {
  reader.rows().insert(reader.rows().end(), static_cast<size_t>(n), row);
}

std::vector<std::string> Rows(int n, const std::string& row = "row") {
  return std::vector<std::string>(static_cast<size_t>(n), row);
}

// A control of viewport width x height showing reader, on screen and refreshed.
struct Shown {
  Shown(IMonitorReader* reader, int width, int height) {
    ctrl.resize(width, height);
    ctrl.SetMonitor(reader);
    ctrl.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&ctrl));
    ctrl.Refresh(true);
    Settle();
  }
  // Lets the area show or hide its bars, which it does in posted events.
  void Settle() { QCoreApplication::processEvents(); }
  QImage Image() { return ctrl.viewport()->grab().toImage(); }
  QColor Role(QPalette::ColorRole role) const { return ctrl.palette().color(role); }
  int32_t Pos() { return ctrl.GetVerticalBar()->GetPos(); }
  TalMonTextCtrl ctrl;
};

bool Near(QColor a, QColor b) {
  return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
             std::abs(a.blue() - b.blue()) <=
         24;
}

const QRgb kErrorRed = qRgb(255, 50, 50);

// One pixel that matters for each look: NoRole stands for the error boxes' red.
TEST(TextCtrlPaint, BackgroundFrameAndDecorationColours) {
  const struct {
    std::vector<std::string> rows;
    int mode;
    bool border;
    QPoint at;
    QPalette::ColorRole role;
  } cases[] = {
      {{}, 0, false, {50, 50}, QPalette::Button},
      {{}, 1, false, {50, 0}, QPalette::Light},
      {{}, 1, false, {50, 99}, QPalette::Button},
      {{}, 0, true, {0, 0}, QPalette::Light},
      {{}, 0, true, {199, 99}, QPalette::Dark},
      {{"(error xxxx)"}, 0, false, {7, 6}, QPalette::NoRole},
      {{"(field 1)"}, 0, false, {150, 8}, QPalette::Base},
      {{"(progress 50)(total 100)"}, 0, false, {20, 14}, QPalette::Highlight},
      {{"(progress 50)(total 100)"}, 0, false, {180, 14}, QPalette::Button},
  };
  for (const auto& c : cases) {
    GrowingReader reader(c.rows);
    Shown shown(&reader, 200, 100);
    shown.ctrl.SetBackgroundMode(c.mode);
    shown.ctrl.SetBorder(c.border);
    const QColor want = c.role == QPalette::NoRole ? QColor(kErrorRed) : shown.Role(c.role);
    const QColor got = shown.Image().pixelColor(c.at);
    EXPECT_TRUE(Near(got, want)) << "case: " << &c - cases << ": " << got.name().toStdString();
  }
}

// A view of 100 px inside the margins, scrolled to the end: 100 mod 21 = 16 > 11, so the rows
// move up by 5 px and the last one ends on the bottom margin; at the top they start on it. A
// separator's etched line lies 14 px below its row's top.
TEST(TextCtrlPaint, RowsAlignWithTheBottomMarginAtTheEnd) {
  GrowingReader reader(Rows(20, "(separator)"));
  Shown shown(&reader, 200, 110);
  const struct {
    int pos;
    std::vector<int> lines;  // y of every etched line in view
  } cases[] = {{15, {14, 35, 56, 77, 98}}, {0, {19, 40, 61, 82, 103}}, {3, {19, 40, 61, 82, 103}}};
  for (const auto& c : cases) {
    shown.ctrl.GetVerticalBar()->ClampPos(c.pos);
    const QImage image = shown.Image();
    std::vector<int> lines;
    for (int y = 0; y < image.height(); ++y) {
      if (image.pixel(50, y) == shown.Role(QPalette::Dark).rgb()) lines.push_back(y);
    }
    EXPECT_EQ(lines, c.lines) << "case: position " << c.pos;
  }
}

TEST(TextCtrlScroll, RefreshFollowsTheEndHoldsAViewScrolledUpAndResizes) {
  GrowingReader reader(Rows(30));
  Shown shown(&reader, 200, 5 * 21 + 10);  // a page of five rows
  EXPECT_EQ(shown.Pos(), 25);
  Add(reader, 10);
  shown.ctrl.Refresh(true);
  EXPECT_EQ(shown.Pos(), 35);
  Add(reader, 10);
  shown.ctrl.Refresh(false);
  EXPECT_EQ(shown.Pos(), 35) << "no follow asked";
  QTest::keyClick(&shown.ctrl, Qt::Key_End);
  shown.ctrl.resize(200, 10 * 21 + 10);
  EXPECT_EQ(shown.Pos(), 40) << "a view at the end stays there";
  shown.ctrl.GetVerticalBar()->ClampPos(10);
  Add(reader, 10);
  shown.ctrl.Refresh(true);
  shown.ctrl.resize(200, 5 * 21 + 10);
  EXPECT_EQ(shown.Pos(), 10) << "scrolled up: stays";
  EXPECT_EQ(shown.ctrl.GetContentHeight(), 60 * 21);
}

TEST(TextCtrlScroll, KeysScrollTheirBar) {
  const struct {
    Qt::Key key;
    int32_t vertical;
    int32_t horizontal;
  } cases[] = {
      {Qt::Key_PageUp, 5, 50},  {Qt::Key_PageDown, 15, 50}, {Qt::Key_End, 95, 50},
      {Qt::Key_Home, 0, 50},    {Qt::Key_Up, 9, 50},        {Qt::Key_Down, 11, 50},
      {Qt::Key_Left, 10, 49},   {Qt::Key_Right, 10, 51},    {Qt::Key_A, 10, 50},
      {Qt::Key_Return, 10, 50},
  };
  for (const auto& c : cases) {
    GrowingReader reader(Rows(100));
    Shown shown(&reader, 200, 5 * 21 + 10);
    shown.ctrl.GetVerticalBar()->ClampPos(10);
    shown.ctrl.GetHorizontalBar()->SetRange(1000, 200);
    shown.ctrl.GetHorizontalBar()->ClampPos(50);
    QKeyEvent press(QEvent::KeyPress, c.key, Qt::NoModifier);
    QApplication::sendEvent(&shown.ctrl, &press);
    EXPECT_EQ(shown.Pos(), c.vertical) << "case: key " << c.key;
    EXPECT_EQ(shown.ctrl.GetHorizontalBar()->GetPos(), c.horizontal) << "case: key " << c.key;
    // Keys the control does not use reach the dialog around it.
    const bool used = c.key != Qt::Key_A && c.key != Qt::Key_Return;
    EXPECT_EQ(press.isAccepted(), used) << "case: key " << c.key;
  }
}

TEST(TextCtrlScroll, WheelScrollsWholeLinesAndKeepsTheRest) {
  const struct {
    int lines;
    std::vector<int> deltas;
    int32_t moved;
  } cases[] = {
      {3, {120}, -3}, {3, {-240}, 6},    {1, {60}, 0},           {1, {60, 60}, -1},
      {3, {40}, -1},  {1, {90, 90}, -1}, {1, {60, -60, -60}, 1},
  };
  const int saved = QApplication::wheelScrollLines();
  for (const auto& c : cases) {
    QApplication::setWheelScrollLines(c.lines);
    GrowingReader reader(Rows(100));
    Shown shown(&reader, 200, 5 * 21 + 10);
    shown.ctrl.GetVerticalBar()->ClampPos(50);
    for (int delta : c.deltas) {
      QWheelEvent wheel(QPointF(20, 20), shown.ctrl.mapToGlobal(QPointF(20, 20)), QPoint(),
                        QPoint(0, delta), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
      QApplication::sendEvent(shown.ctrl.viewport(), &wheel);
    }
    EXPECT_EQ(shown.Pos(), 50) << "requests are posted, not applied at once";
    QCoreApplication::processEvents();
    EXPECT_EQ(shown.Pos(), 50 + c.moved) << "case: " << &c - cases;
  }
  QApplication::setWheelScrollLines(saved);
}

class LinkRecorder : public IMonTextCtrlAutomat {
 public:
  void OnLink(TalMonTextCtrl* control, const char* target) override {
    calls.push_back(target);
    EXPECT_NE(control, nullptr);
  }
  std::vector<std::string> calls;
};

TEST(TextCtrlInput, LinkClickReachesTheOwner) {
  GrowingReader reader({"(link https://example.org/a)first) and (link b)second)"});
  Shown shown(&reader, 400, 100);
  QWidget* view = shown.ctrl.viewport();
  // Without an owner a click does nothing and the link stays the hover link.
  QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(12, 14));
  EXPECT_EQ(shown.ctrl.GetHoverLink(), "https://example.org/a");
  LinkRecorder owner;
  shown.ctrl.SetAutomat(&owner);
  QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(12, 14));
  EXPECT_EQ(owner.calls, std::vector<std::string>{"https://example.org/a"});
  EXPECT_EQ(shown.ctrl.GetHoverLink(), "");
  QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(300, 14));  // beside the links
  QTest::mouseClick(view, Qt::RightButton, {}, QPoint(12, 14));
  EXPECT_EQ(owner.calls.size(), 1u);
  EXPECT_EQ(view->cursor().shape(), Qt::ArrowCursor);
}

// The area's own bar cannot hold a range below its page: the adapter keeps the range.
TEST(TextCtrlBars, StandardBarKeepsTheRange) {
  TalMonTextCtrl ctrl;
  TalScrollBarStandard bar(&ctrl, SB_VERT);
  bar.SetRange(0, 5);
  EXPECT_EQ(bar.GetRange(), 0);
  bar.SetRange(100, 30);
  EXPECT_EQ(ctrl.verticalScrollBar()->maximum(), 70);
  ctrl.verticalScrollBar()->setSliderPosition(40);  // the thumb being dragged
  EXPECT_TRUE(bar.Scroll(SB_THUMBTRACK, 3));
  EXPECT_EQ(bar.GetPos(), 40);
}

class EveryTenth : public TalMonScrollMarkers {
 public:
  uint32_t GetMarkerCount() override { return 100; }
  bool GetMarkerColor(uint32_t index, TalMonColor& colour) override {
    colour = TalMonRGB(0, 200, 0);
    return index % 10 == 0;
  }
};

TEST(TextCtrlBars, SelfDrawnBarPaintsMarkersAndFollowsADrag) {
  GrowingReader reader(Rows(100));
  Shown shown(&reader, 200, 10 * 21 + 10);  // a page of ten rows
  EveryTenth markers;
  shown.ctrl.SetVerticalBar(std::make_unique<TalMonScrollBar>());
  shown.ctrl.SetMarkers(&markers);
  shown.Settle();
  EXPECT_EQ(shown.Pos(), 90) << "the new bar keeps the position";
  EXPECT_FALSE(shown.ctrl.verticalScrollBar()->isVisible());
  QImage image = shown.Image();
  EXPECT_EQ(image.pixel(192, 0), qRgb(0, 200, 0)) << "row 0's marker";
  EXPECT_TRUE(Near(image.pixelColor(192, 215), shown.Role(QPalette::Button))) << "the thumb";
  EXPECT_TRUE(Near(image.pixelColor(184, 100), shown.Role(QPalette::Button))) << "beside it";
  EXPECT_TRUE(Near(image.pixelColor(192, 100), shown.Role(QPalette::Base))) << "the strip";

  QWidget* view = shown.ctrl.viewport();
  QTest::mousePress(view, Qt::LeftButton, {}, QPoint(192, 0));
  EXPECT_EQ(shown.Pos(), 0);
  QMouseEvent move(QEvent::MouseMove, QPointF(20, 110), view->mapToGlobal(QPointF(20, 110)),
                   Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(view, &move);
  EXPECT_EQ(shown.Pos(), 50) << "the drag follows the mouse off the strip";
  QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(20, 110));
  QMouseEvent after(QEvent::MouseMove, QPointF(192, 0), view->mapToGlobal(QPointF(192, 0)),
                    Qt::NoButton, Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(view, &after);
  EXPECT_EQ(shown.Pos(), 50) << "released: the drag is over";
  shown.ctrl.SetVerticalBar(nullptr);
  EXPECT_EQ(shown.ctrl.verticalScrollBar()->value(), 50);
}

// Rows are bytes from other processes. None may crash the control or make it read outside a
// row; images are found only by plain names inside the data directory.
TEST(TextCtrlBadInput, HostileRowsAndImageNames) {
  talmon_test::ScopedDataDir dir;
  ASSERT_EQ(mkdir(dir.file("icons").c_str(), 0700), 0);
  QImage red(16, 16, QImage::Format_ARGB32);
  red.fill(Qt::red);
  ASSERT_TRUE(red.save(QString::fromStdString(dir.file("icons/red.png"))));
  ASSERT_TRUE(red.save(QString::fromStdString(dir.file("outside.png"))));
  ASSERT_EQ(mkfifo(dir.file("icons/fifo.png").c_str(), 0600), 0);

  std::string nested, boxes;
  for (int i = 0; i < 200; ++i) {
    nested += "(bold (title ";
    boxes += "(error (link x)(right ";
  }
  GrowingReader reader({"(icon red)", "(icon ../outside)", "(icon fifo)", "(logo /etc/passwd)",
                        nested + "deep", boxes + "2^n", "(progress -5)(total 100)",
                        "(progress 1000000000)(total 7)", "(progress 5)(total -3)",
                        "(tab)" + std::string(10000, 'w') + "(tab)x", "(bold unclosed (title",
                        std::string(20000, '('), "\xff\xfe invalid \xc3 utf-8", "(raw 2147483647 x",
                        "(progress 99999999999999999999)"});
  Shown shown(&reader, 400, 15 * 21 + 10);
  shown.ctrl.GetVerticalBar()->ClampPos(0);
  const QImage image = shown.Image();
  EXPECT_EQ(image.pixel(10, 10), qRgb(255, 0, 0)) << "icons/red.png";
  for (int row : {1, 2, 3}) {
    EXPECT_NE(image.pixel(10, 10 + 21 * row), qRgb(255, 0, 0)) << "row " << row;
  }
  char path[512];
  for (const char* name : {"", ".", "..", "a/b", "tab\tname"}) {
    EXPECT_FALSE(TalMonImagePath(name, path, sizeof path)) << "case: " << name;
  }
  EXPECT_FALSE(TalMonImagePath("red", path, 10)) << "a path that does not fit";
}

// A producer in another process writes rows; they appear after Refresh, and the control keeps
// showing them after the page's files are deleted.
TEST(TextCtrlProcess, LiveWriterRowsAppearAfterRefresh) {
  talmon_test::ScopedDataDir dir;
  unsigned int session = 0;
  IMonitorReader* reader = nullptr;
  ASSERT_TRUE(TalMonitorDefineNewSession(&session));
  ASSERT_TRUE(TalOpenMonitorReader(session, "Live", &reader));  // before the page exists
  Shown shown(reader, 300, 200);
  EXPECT_EQ(shown.ctrl.GetVerticalBar()->GetRange(), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    IMonitorWriter* writer = nullptr;
    if (!TalOpenMonitorWriter(session, "Live", false, &writer)) _exit(2);
    writer->Write("(bold one)\ntwo\nthree\n(error four)\nfive");
    writer->Flush();
    TalCloseMonitorWriter(writer);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  shown.ctrl.Refresh(true);
  EXPECT_EQ(shown.ctrl.GetVerticalBar()->GetRange(), 5);
  EXPECT_EQ(shown.Image().pixel(7, 5 + 3 * 21 + 1), kErrorRed) << "row 3 is an error row";
  for (const std::string& name : dir.list())
    unlink(dir.file(name).c_str());
  shown.ctrl.Refresh(true);
  EXPECT_EQ(shown.Image().pixel(7, 5 + 3 * 21 + 1), kErrorRed) << "the page was deleted";
  shown.ctrl.SetMonitor(nullptr);
  TalCloseMonitorReader(reader);
}

}  // namespace
