// Tells TalMonView's windows that the data directory changed (a page flushed, a marker
// renamed, a session made or removed), through libtalmon's one watch of it, coalesced to at
// most one signal per 50 ms. A slow timer stands in when the directory cannot be watched.
// GUI thread.
#pragma once

#include <QObject>
#include <QTimer>

class QSocketNotifier;

namespace talmon::viewer {

class ChangeWatch : public QObject {
  Q_OBJECT

 public:
  explicit ChangeWatch(QObject* parent = nullptr);

 signals:
  void Changed();

 private:
  QSocketNotifier* notifier_ = nullptr;
  QTimer coalesce_;
  QTimer fallback_;
};

}  // namespace talmon::viewer
