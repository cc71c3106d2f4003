// The main of the Qt tests: one QApplication for the whole run, on the offscreen platform
// unless QT_QPA_PLATFORM names another (the X11 test sets xcb and brings its own server).
#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  testing::InitGoogleTest(&argc, argv);
  QApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
