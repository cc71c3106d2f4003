// The Qt event pump. A quit request (QEvent::Quit to the application) met while pumping ends
// the producer's wait with false and is then asked for again as a queued call to
// QCoreApplication::quit, not kept as an event: showing a window can drop a pending quit
// event, while a queued call survives until the application's own loop runs it.

#include "dialogs/qt_event_pump.h"

#include <poll.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>
#include <memory>

namespace {

// A quit request seen by a wait, reported by the next pump of the same thread.
thread_local bool tQuitSeen = false;

// Takes the quit requests sent to the application while it is installed.
class QuitCatcher : public QObject {
 public:
  explicit QuitCatcher(QCoreApplication* app) : app_(app) { app_->installEventFilter(this); }
  ~QuitCatcher() override { app_->removeEventFilter(this); }
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched != app_ || event->type() != QEvent::Quit) return false;
    seen = true;
    return true;
  }
  bool seen = false;

 private:
  QCoreApplication* app_;
};

QCoreApplication* AppOfThisThread() {
  QCoreApplication* app = QCoreApplication::instance();
  return app != nullptr && app->thread() == QThread::currentThread() ? app : nullptr;
}

bool PumpPending() {
  QCoreApplication* app = AppOfThisThread();
  if (app == nullptr) return true;
  bool quit = false;
  {
    QuitCatcher catcher(app);
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    quit = catcher.seen;
  }
  if (tQuitSeen) quit = true;
  tQuitSeen = false;
  if (quit) QMetaObject::invokeMethod(app, &QCoreApplication::quit, Qt::QueuedConnection);
  return !quit;
}

void Idle() {
  if (AppOfThisThread() != nullptr) {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
}

// Sleeps in the thread's event dispatcher until an event, fd or the timer wakes it; what woke
// it is handled there, and a quit request among it is kept for the next pump.
void WaitEvents(int fd, int timeoutMs) {
  QCoreApplication* app = AppOfThisThread();
  QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
  if (app == nullptr || dispatcher == nullptr) {
    pollfd p{fd, POLLIN, 0};
    poll(&p, fd >= 0 ? 1 : 0, timeoutMs);
    return;
  }
  std::unique_ptr<QSocketNotifier> readable;
  if (fd >= 0) {
    readable = std::make_unique<QSocketNotifier>(static_cast<qintptr>(fd), QSocketNotifier::Read);
    // Handled: the wait only needs to wake; the library reads the descriptor itself.
    QObject::connect(readable.get(), &QSocketNotifier::activated, readable.get(),
                     [n = readable.get()] { n->setEnabled(false); });
  }
  QTimer safety;
  safety.setSingleShot(true);
  safety.start(std::max(timeoutMs, 0));
  QuitCatcher catcher(app);
  dispatcher->processEvents(QEventLoop::WaitForMoreEvents);
  if (catcher.seen) tQuitSeen = true;
}

const TalMonEventPump kPump{&PumpPending, &Idle, &WaitEvents};

// Registers the pump when libtalmon-ui is loaded and takes it back when it is unloaded.
struct Registration {
  Registration() { TalMonRegisterEventPump(&kPump); }
  ~Registration() { TalMonRegisterEventPump(nullptr); }
} gRegistration;

}  // namespace

namespace talmon {

const TalMonEventPump& QtEventPump() {
  return kPump;
}

}  // namespace talmon
