#include "viewer/change_watch.h"

#include <QSocketNotifier>

#include "talmon/session.h"
#include "talmon/session_list.h"

namespace talmon::viewer {

namespace {
constexpr int kCoalesceMs = 50;
constexpr int kFallbackMs = 1000;
}  // namespace

ChangeWatch::ChangeWatch(QObject* parent) : QObject(parent) {
  coalesce_.setSingleShot(true);
  coalesce_.setInterval(kCoalesceMs);
  connect(&coalesce_, &QTimer::timeout, this, &ChangeWatch::Changed);
  const int fd = TalMonitorGetChangeDescriptor();
  if (fd < 0) {
    fallback_.setInterval(kFallbackMs);
    connect(&fallback_, &QTimer::timeout, this, &ChangeWatch::Changed);
    fallback_.start();
    return;
  }
  notifier_ = new QSocketNotifier(static_cast<qintptr>(fd), QSocketNotifier::Read, this);
  connect(notifier_, &QSocketNotifier::activated, this, [this] {
    TalWaitMonitorChange(0);  // consumes what woke us
    if (!coalesce_.isActive()) coalesce_.start();
  });
}

}  // namespace talmon::viewer
