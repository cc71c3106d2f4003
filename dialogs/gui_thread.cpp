// The library's own UI thread. A QApplication that lives on a second thread must be deleted
// on that thread before static destruction reaches Qt's own objects, or the process crashes
// at exit; Qt makes some of those objects only when it first shows a window, so the exit
// handler that stops the thread is registered again after each window is shown (handlers run
// in reverse order of registration).

#include "dialogs/gui_thread.h"

#include <QApplication>
#include <QPixmapCache>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace {

std::mutex gMutex;
// A QThread, not a bare thread: Qt's per-thread caches (fonts and the like) hold timers of
// this thread, and a QThread empties them on this thread when it finishes.
std::unique_ptr<QThread> gThread;
QApplication* gApp = nullptr;  // the library's own application, living on gThread
bool gEnded = false;           // the exit handler stopped the thread: no new one

bool IsSet(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0';
}

QtMessageHandler gHostHandler = nullptr;

// Qt warns that an application made off the main thread may misbehave; here that is the
// design, and the host's output is not the place for it. Everything else passes on.
void DropOffMainThreadWarning(QtMsgType type, const QMessageLogContext& context,
                              const QString& message) {
  if (message.contains(QLatin1String("not created in the main() thread"))) return;
  if (gHostHandler != nullptr) {
    gHostHandler(type, context, message);
  } else {
    std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
  }
}

void UiThreadMain(std::promise<QApplication*>* ready) {
  static int argc = 1;
  static char name[] = "talmon";
  static char* argv[] = {name, nullptr};
  gHostHandler = qInstallMessageHandler(DropOffMainThreadWarning);
  auto app = std::make_unique<QApplication>(argc, argv);
  qInstallMessageHandler(gHostHandler);
  app->setQuitOnLastWindowClosed(false);
  // Ready once the loop runs: a request to leave it cannot come before it started.
  QTimer::singleShot(0, app.get(), [&app, ready] { ready->set_value(app.get()); });
  app->exec();
  // Windows still open (boxes whose owners never went away) go with the application.
  std::vector<QPointer<QWidget>> windows;
  for (QWidget* w : QApplication::topLevelWidgets())
    windows.emplace_back(w);
  for (const QPointer<QWidget>& w : windows)
    delete w.data();
  // The pixmap cache is a static of Qt's with a timer of this thread: emptied here, its timer
  // stops here, not in static destruction on another thread.
  QPixmapCache::clear();
  app.reset();
}

void StopUiThread() {
  std::lock_guard<std::mutex> lock(gMutex);
  if (gApp == nullptr) return;
  QMetaObject::invokeMethod(
      gApp, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
  gThread->wait();
  gThread.reset();
  gApp = nullptr;
  gEnded = true;
}

// With gMutex held.
QApplication* StartUiThread() {
  if (gApp == nullptr && !gEnded) {
    std::promise<QApplication*> ready;
    std::future<QApplication*> started = ready.get_future();
    gThread.reset(QThread::create(UiThreadMain, &ready));
    gThread->start();
    gApp = started.get();
    std::atexit(StopUiThread);
  }
  return gApp;
}

}  // namespace

namespace talmon {

bool HaveDisplay() {
  return IsSet("QT_QPA_PLATFORM") || IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY");
}

bool OnGuiThread() {
  const QCoreApplication* app = QCoreApplication::instance();
  return qobject_cast<const QApplication*>(app) != nullptr &&
         app->thread() == QThread::currentThread();
}

bool RunOnGuiThread(const std::function<void()>& task, bool start) {
  QCoreApplication* app = QCoreApplication::instance();
  if (app == nullptr) {
    if (!start || !HaveDisplay()) return false;
    std::lock_guard<std::mutex> lock(gMutex);
    app = StartUiThread();
    if (app == nullptr) return false;
  }
  if (qobject_cast<QApplication*>(app) == nullptr) return false;
  if (app->thread() == QThread::currentThread()) {
    task();
  } else {
    QMetaObject::invokeMethod(app, task, Qt::BlockingQueuedConnection);
  }
  return true;
}

void KeepExitHandlerLast() {
  std::lock_guard<std::mutex> lock(gMutex);
  if (gApp != nullptr) std::atexit(StopUiThread);
}

}  // namespace talmon
