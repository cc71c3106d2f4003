// The text control on a real X server (the test command starts one): the window maps, takes
// the keyboard focus when activated, scrolls by keys and paints its rows.

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QTest>
#include <string>
#include <vector>

#include "talmon/text_ctrl.h"
#include "textctrl/vector_reader.h"

namespace {

TEST(TextCtrlOnX11, ShowsScrollsAndPaintsOnARealDisplay) {
  ASSERT_EQ(QGuiApplication::platformName(), "xcb");
  talmon_test::VectorReader reader(std::vector<std::string>(50, "(error row)"));
  TalMonTextCtrl ctrl;
  ctrl.resize(300, 5 * 21 + 10);
  ctrl.SetMonitor(&reader);
  ctrl.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&ctrl));
  // No window manager gives focus here: the test asks for it.
  ctrl.activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&ctrl));
  ctrl.Refresh(true);
  EXPECT_EQ(ctrl.GetVerticalBar()->GetPos(), 45);
  QTest::keyClick(&ctrl, Qt::Key_Home);
  EXPECT_EQ(ctrl.GetVerticalBar()->GetPos(), 0);
  const QImage image = ctrl.viewport()->grab().toImage();
  EXPECT_EQ(image.pixelColor(7, 6), QColor(255, 50, 50));
}

}  // namespace
