// TalMonitorViewer and TalMonitorWait: the viewer as a process of its own, the producer's
// window out of the way while it runs.

#include <QApplication>
#include <QMainWindow>
#include <QThread>
#include <QWidget>
#include <cstdio>
#include <string>

#include "dialogs/qt_event_pump.h"
#include "launcher/process.h"
#include "talmon/pages.h"
#include "talmon/session.h"
#include "talmon/viewer.h"

// The application's wait cursor from construction to destruction; nothing without a GUI
// application on this thread.
class TalMonWaitCursor {
 public:
  TalMonWaitCursor() : active_(HasGui()) {
    if (active_) QApplication::setOverrideCursor(Qt::WaitCursor);
  }
  ~TalMonWaitCursor() {
    if (active_) QApplication::restoreOverrideCursor();
  }
  TalMonWaitCursor(const TalMonWaitCursor&) = delete;
  TalMonWaitCursor& operator=(const TalMonWaitCursor&) = delete;

  // The window a wait display hid, given back by its destructor (its title is gone by then:
  // a hidden window is nobody's active or visible window).
  QWidget* hidden = nullptr;

  static bool HasGui() {
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr &&
           QCoreApplication::instance()->thread() == QThread::currentThread();
  }

 private:
  bool active_;
};

namespace {

using talmon::launcher::EndAndReap;

// The producer's main window: its first visible top-level QMainWindow, else the active
// window, else its first visible top-level window; null without one.
QWidget* MainWindow() {
  if (!TalMonWaitCursor::HasGui()) return nullptr;
  QWidget* visible = nullptr;
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (!w->isVisible() || w->windowType() == Qt::Desktop) continue;
    if (qobject_cast<QMainWindow*>(w) != nullptr) return w;
    if (visible == nullptr) visible = w;
  }
  QWidget* active = QApplication::activeWindow();
  return active != nullptr ? active : visible;
}

// The window to hide: the active window, else the first visible top-level window.
QWidget* WindowToHide() {
  if (!TalMonWaitCursor::HasGui()) return nullptr;
  if (QWidget* active = QApplication::activeWindow()) return active;
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (w->isVisible() && w->windowType() != Qt::Desktop) return w;
  }
  return nullptr;
}

void HideWindow(QWidget* window) {
  if (window == nullptr) return;
  window->hide();
  window->setEnabled(false);
}

// The window may have been deleted while the viewer ran.
void GiveBack(QWidget*& window) {
  if (window == nullptr || !QApplication::allWidgets().contains(window)) return;
  window->setEnabled(true);
  window->show();
  window = nullptr;
}

std::string MainWindowTitle() {
  QWidget* main = MainWindow();
  return main != nullptr ? main->windowTitle().toStdString() : std::string();
}

// printf into a string of whatever length the fields need.
template <typename... Args>
std::string Format(const char* format, Args... args) {
  const int size = std::snprintf(nullptr, 0, format, args...);
  std::string out(size > 0 ? static_cast<size_t>(size) : 0, '\0');
  std::snprintf(out.data(), out.size() + 1, format, args...);
  return out;
}

intptr_t Start(const std::string& commandLine) {
  return talmon::launcher::StartViewer(talmon::launcher::SplitAtBlanks(commandLine));
}

// Dispatches what is pending; false when a quit request was met (it is asked for again).
bool PumpPending() {
  return talmon::QtEventPump().pumpPending();
}

// Waits for pid to end in slices of 100 ms, dispatching events between them; a quit request
// ends the wait early.
void WaitForExit(int pid) {
  const TalMonEventPump& pump = talmon::QtEventPump();
  const int exited = talmon::launcher::ExitDescriptor(pid);
  while (!talmon::launcher::Reaped(pid)) {
    if (!PumpPending()) break;
    pump.waitEvents(exited, 100);
  }
  talmon::launcher::CloseDescriptor(exited);
}

const char* OrEmpty(const char* s) {
  return s != nullptr ? s : "";
}

}  // namespace

TalMonitorViewer::TalMonitorViewer(const char* viewerArg1, const char* viewerArg2,
                                   bool waitForClose, const char* title)
    : waitForClose_(waitForClose) {
  // Read while the window is still shown: a hidden window is nobody's main window.
  const std::string shown = title != nullptr ? std::string(title) : MainWindowTitle();
  hiddenWindow_ = WindowToHide();
  HideWindow(hiddenWindow_);
  waitCursor_ = new TalMonWaitCursor;
  const unsigned int session = TalMonitorWriterPage::GetSession();
  process_ = Start(Format("TalMonView %s %04d %s %s", OrEmpty(viewerArg1),
                          static_cast<int>(session), OrEmpty(viewerArg2), shown.c_str()));
  if (process_ == 0) {
    // Nobody would ever give the window back to a producer whose viewer never came.
    delete waitCursor_;
    waitCursor_ = nullptr;
    GiveBack(hiddenWindow_);
    return;
  }
  PumpPending();
}

TalMonitorViewer::~TalMonitorViewer() {
  if (waitForClose_) {
    const unsigned int session = TalMonitorWriterPage::GetSession();
    TalMonitorSetActivity(session, kTalMonPaused);
    WaitForExit(static_cast<int>(process_));
    TalMonitorSetActivity(session, kTalMonPlaying);
  }
  EndAndReap(static_cast<int>(process_));
  delete waitCursor_;
  GiveBack(hiddenWindow_);
}

TalMonitorViewer::TalMonitorViewer(const TalMonitorViewer& other) = default;
TalMonitorViewer& TalMonitorViewer::operator=(const TalMonitorViewer& other) = default;

TalMonitorWait::TalMonitorWait() {
  const std::string title = MainWindowTitle();
  waitCursor_ = new TalMonWaitCursor;
  waitCursor_->hidden = MainWindow();
  HideWindow(waitCursor_->hidden);
  const unsigned int session = TalMonitorWriterPage::GetSession();
  process_ = Start(Format("TalMonView %d %s", static_cast<int>(session), title.c_str()));
}

TalMonitorWait::~TalMonitorWait() {
  EndAndReap(static_cast<int>(process_));
  QWidget* hidden = waitCursor_ != nullptr ? waitCursor_->hidden : nullptr;
  delete waitCursor_;
  GiveBack(hidden);
}

TalMonitorWait::TalMonitorWait(const TalMonitorWait& other) = default;
TalMonitorWait& TalMonitorWait::operator=(const TalMonitorWait& other) = default;
