// TalMonitorMessageBox and TalMonThread: where a box runs (dialogs/gui_thread.h) and the box a
// type word chooses. Nothing here may throw into the caller: the C entry point answers -1.

#include <QApplication>
#include <QStyle>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "dialogs/gui_thread.h"
#include "talmon/message_box.h"

namespace {

struct TypeButton {
  unsigned int id;
  const char* caption;
  bool cancel;
};

// The buttons of a type word's bits 0-3; the first is always the default.
std::vector<TypeButton> ButtonsOf(unsigned int type) {
  switch (type & 0x0F) {
    case 0:
      return {{1, "&Ok", false}};
    case 1:
      return {{1, "&Ok", false}, {2, "&Cancel", true}};
    case 2:
      return {{3, "&Abort", false}, {4, "&Retry", false}, {5, "&Ignore", true}};
    case 3:
      return {{6, "&Yes", false}, {7, "&No", false}, {2, "&Cancel", true}};
    case 4:
      return {{6, "&Yes", false}, {7, "&No", true}};
    case 5:
      return {{4, "&Retry", false}, {2, "&Cancel", true}};
    default:
      return {};
  }
}

// The stock icon of bits 4-7; any value but 1, 2 and 3 gives the information icon.
QStyle::StandardPixmap IconOf(unsigned int type) {
  switch (type & 0xF0) {
    case 0x10:
      return QStyle::SP_MessageBoxCritical;
    case 0x20:
      return QStyle::SP_MessageBoxQuestion;
    case 0x30:
      return QStyle::SP_MessageBoxWarning;
    default:
      return QStyle::SP_MessageBoxInformation;
  }
}

void Configure(TalMonMessageBox& box, IMonitorReader* reader, unsigned int type) {
  bool first = true;
  for (const TypeButton& b : ButtonsOf(type)) {
    box.AddButton(b.id, first ? 1 : 0, b.cancel ? 1 : 0, b.caption);
    first = false;
  }
  box.SetIcon(box.style()->standardIcon(IconOf(type)));
  box.GetTextCtrl().SetMonitor(reader);
}

// The end of a box shown on another thread, waited for by the caller.
struct Outcome {
  std::mutex mutex;
  std::condition_variable ended;
  bool done = false;
  int result = -1;

  void Set(int r) {
    std::lock_guard<std::mutex> lock(mutex);
    if (done) return;
    done = true;
    result = r;
    ended.notify_all();
  }
  int Wait() {
    std::unique_lock<std::mutex> lock(mutex);
    ended.wait(lock, [this] { return done; });
    return result;
  }
};

// Shows the box on the GUI thread, modal to the application but without a nested loop, and
// waits on this thread for its end. A box deleted unanswered (the process is ending) gives -1.
int RunElsewhere(IMonitorReader* reader, unsigned int type) {
  auto outcome = std::make_shared<Outcome>();
  bool shown = false;
  const bool ran = talmon::RunOnGuiThread(
      [&] {
        auto* box = new TalMonMessageBox(QApplication::activeWindow());
        Configure(*box, reader, type);
        box->setWindowModality(Qt::ApplicationModal);
        QObject::connect(box, &QDialog::finished, box, [outcome, box](int r) {
          outcome->Set(r);
          box->deleteLater();
        });
        QObject::connect(box, &QObject::destroyed, [outcome] { outcome->Set(-1); });
        shown = box->ShowModeless();
        if (!shown) delete box;
      },
      true);
  if (!ran || !shown) return -1;
  talmon::KeepExitHandlerLast();
  return outcome->Wait();
}

}  // namespace

int TalMonitorMessageBox(IMonitorReader* reader, unsigned int type) {
  try {
    if (!talmon::OnGuiThread()) return RunElsewhere(reader, type);
    TalMonMessageBox box(QApplication::activeWindow());
    Configure(box, reader, type);
    return static_cast<int>(box.DoModal());
  } catch (...) {
    return -1;
  }
}

TalMonThread::TalMonThread() {
  talmon::RunOnGuiThread([this] { dialog_ = new TalMonMessageBox(nullptr); }, true);
}

TalMonThread::~TalMonThread() {
  // The box goes on the thread it belongs to; once the library's UI thread has ended (at
  // process exit) the box went with it.
  talmon::RunOnGuiThread([this] { delete dialog_.data(); }, false);
}

TalMonMessageBox* TalMonThread::GetDialog() {
  return dialog_.data();
}

bool TalMonThread::Start() {
  if (started_ || dialog_.isNull()) return false;
  started_ = true;
  bool shown = false;
  talmon::RunOnGuiThread(
      [this, &shown] {
        if (dialog_.isNull()) return;
        dialog_->SetHaveSysMenu(false);
        shown = dialog_->ShowModeless();
      },
      false);
  if (shown) talmon::KeepExitHandlerLast();
  return shown;
}
