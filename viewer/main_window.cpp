// The window rebuilds nothing it can keep: the sidebar's items are updated in place, and a
// session's tabs are rebuilt only when its list of pages changes (the merged tab then merges
// anew, off the UI thread).

#include "viewer/main_window.h"

#include <QAction>
#include <QCloseEvent>
#include <QDateTime>
#include <QHeaderView>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QShortcut>
#include <QSplitter>
#include <QStatusBar>
#include <QTabWidget>
#include <QTimer>
#include <QToolBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "talmon/session.h"
#include "viewer/change_watch.h"
#include "viewer/page_view.h"
#include "viewer/session_readers.h"

namespace talmon::viewer {

namespace {

enum Column { kNumber, kFirstPage, kStarted, kActivity, kColumns };

std::vector<std::string> PageNames(const TalMonSessionInfo& info) {
  std::vector<std::string> names;
  for (const TalMonPageInfo& page : info.pages)
    names.push_back(page.name);
  return names;
}

// "14:05:09" today, "2026-11-23 14:05" before.
QString Started(int64_t seconds) {
  const QDateTime started = QDateTime::fromSecsSinceEpoch(seconds);
  return started.date() == QDate::currentDate() ? started.toString("hh:mm:ss")
                                                : started.toString("yyyy-MM-dd hh:mm");
}

bool Live(TalMonSessionState state) {
  return state == TalMonSessionState::kPlaying || state == TalMonSessionState::kPaused ||
         state == TalMonSessionState::kStopping;
}

}  // namespace

QString StateText(const TalMonSessionInfo& info) {
  QString text = QObject::tr("Session %1: %2")
                     .arg(info.session)
                     .arg(QString::fromLatin1(TalMonSessionStateWord(info.state)));
  if (info.pauseHeld) text += QObject::tr(" (a Pause marker holds the producer)");
  if (info.state == TalMonSessionState::kCrashed) {
    text += QObject::tr(": its producer ended without closing the session");
  }
  return text;
}

MainWindow::MainWindow(const Request& request, QWidget* parent)
    : QMainWindow(parent), request_(request) {
  setWindowTitle(request.title.empty() ? QStringLiteral("TalMonView")
                                       : QString::fromStdString(request.title));
  setWindowIcon(QIcon::fromTheme("talmonview"));
  sessions_ = new QTreeWidget;
  sessions_->setColumnCount(kColumns);
  sessions_->setHeaderLabels({tr("Session"), tr("First page"), tr("Started"), tr("Activity")});
  sessions_->setRootIsDecorated(false);
  sessions_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
  tabs_ = new QTabWidget;
  tabs_->setDocumentMode(true);
  auto* splitter = new QSplitter;
  splitter->addWidget(sessions_);
  splitter->addWidget(tabs_);
  splitter->setStretchFactor(1, 1);
  splitter->setSizes({330, 770});
  setCentralWidget(splitter);
  state_ = new QLabel;
  statusBar()->addPermanentWidget(state_);
  BuildActions();
  connect(sessions_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
    if (item != nullptr && !refreshing_) ShowSession(item->data(kNumber, Qt::UserRole).toUInt());
  });
  watch_ = new ChangeWatch(this);
  connect(watch_, &ChangeWatch::Changed, this, &MainWindow::RefreshAll);
  QSettings settings;
  restoreGeometry(settings.value("geometry").toByteArray());
  if (!settings.contains("geometry")) resize(1100, 680);
  RefreshAll();
  if (session_ == 0 && request_.session != 0) {
    Say(tr("Session %1 has no files in the data directory.").arg(request_.session));
  }
}

MainWindow::~MainWindow() = default;

void MainWindow::BuildActions() {
  QToolBar* bar = addToolBar(tr("Session"));
  bar->setObjectName("session");
  bar->setMovable(false);
  bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  play_ = bar->addAction(style()->standardIcon(QStyle::SP_MediaPlay), tr("Play"),
                         [this] { SetActivity(kTalMonPlaying); });
  pause_ = bar->addAction(style()->standardIcon(QStyle::SP_MediaPause), tr("Pause"),
                          [this] { SetActivity(kTalMonPaused); });
  stop_ = bar->addAction(style()->standardIcon(QStyle::SP_MediaStop), tr("Stop"),
                         [this] { SetActivity(kTalMonStopped); });
  bar->addSeparator();
  find_ = new QLineEdit;
  find_->setPlaceholderText(tr("Find (Ctrl+F)"));
  find_->setClearButtonEnabled(true);
  find_->setMaximumWidth(280);
  bar->addWidget(find_);
  connect(find_, &QLineEdit::returnPressed, this, [this] { FindInView(find_->text()); });
  auto shortcut = [this](QKeySequence keys, auto&& slot) {
    auto* s = new QShortcut(keys, this);
    connect(s, &QShortcut::activated, this, slot);
  };
  shortcut(QKeySequence(Qt::Key_Space), [this] { TogglePause(); });
  shortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), [this] { close(); });
  shortcut(QKeySequence::Find, [this] {
    find_->setFocus();
    find_->selectAll();
  });
  shortcut(QKeySequence(Qt::Key_F3), [this] {
    if (CurrentView() == nullptr || !CurrentView()->JumpToMatch(false)) Say(tr("No match."));
  });
  shortcut(QKeySequence(Qt::SHIFT | Qt::Key_F3), [this] {
    if (CurrentView() == nullptr || !CurrentView()->JumpToMatch(true)) Say(tr("No match."));
  });
  shortcut(QKeySequence(Qt::Key_Escape), [this] {
    if (CurrentView() != nullptr) CurrentView()->Cancel();
  });
}

PageView* MainWindow::CurrentView() const {
  return qobject_cast<PageView*>(tabs_->currentWidget());
}

void MainWindow::Say(const QString& text) {
  status_ = text;
  statusBar()->showMessage(text);
}

void MainWindow::RefreshAll() {
  std::vector<TalMonSessionInfo> sessions;
  if (!TalMonListSessions(sessions)) {
    std::string why;
    std::string dir;
    TalMonGetDataDirectory(dir, &why);
    Say(QString::fromStdString(why.empty() ? "No usable data directory." : why));
  }
  ListSessions(sessions);
  if (session_ == 0 && !sessions.empty()) {
    const unsigned int wanted = request_.session != 0 ? request_.session : sessions.back().session;
    for (const TalMonSessionInfo& info : sessions) {
      if (info.session == wanted) ShowSession(wanted);
    }
    return;
  }
  const TalMonSessionInfo* shown = nullptr;
  for (const TalMonSessionInfo& info : sessions) {
    if (info.session == session_) shown = &info;
  }
  if (shown != nullptr) SyncTabs(*shown);
  ShowState(shown);
  for (int i = 0; i < tabs_->count(); ++i) {
    if (auto* view = qobject_cast<PageView*>(tabs_->widget(i))) view->Refresh();
  }
}

void MainWindow::ListSessions(const std::vector<TalMonSessionInfo>& sessions) {
  refreshing_ = true;
  while (sessions_->topLevelItemCount() > static_cast<int>(sessions.size())) {
    delete sessions_->takeTopLevelItem(sessions_->topLevelItemCount() - 1);
  }
  for (size_t i = 0; i < sessions.size(); ++i) {
    const TalMonSessionInfo& info = sessions[i];
    QTreeWidgetItem* item = sessions_->topLevelItem(static_cast<int>(i));
    if (item == nullptr) item = new QTreeWidgetItem(sessions_);
    item->setText(kNumber, QString::asprintf("%04u", info.session));
    item->setData(kNumber, Qt::UserRole, info.session);
    item->setText(kFirstPage,
                  info.pages.empty() ? QString() : QString::fromStdString(info.pages[0].name));
    item->setText(kStarted, Started(info.startTime));
    item->setText(kActivity, QString::fromLatin1(TalMonSessionStateWord(info.state)));
    if (info.session == session_) sessions_->setCurrentItem(item);
  }
  refreshing_ = false;
}

void MainWindow::ShowSession(unsigned int session) {
  if (session == session_) return;
  session_ = session;
  pages_.clear();
  while (tabs_->count() > 0) {
    QWidget* view = tabs_->widget(0);
    tabs_->removeTab(0);
    delete view;
  }
  TalMonSessionInfo info;
  if (session != 0 && TalMonGetSessionInfo(session, info)) SyncTabs(info);
  ShowState(session != 0 ? &info : nullptr);
  for (int i = 0; i < sessions_->topLevelItemCount(); ++i) {
    QTreeWidgetItem* item = sessions_->topLevelItem(i);
    if (item->data(kNumber, Qt::UserRole).toUInt() == session) sessions_->setCurrentItem(item);
  }
}

// A page deleted while shown keeps its tab (its reader still reads what it had); new pages
// get tabs, and the merged tab merges anew over the new list.
void MainWindow::SyncTabs(const TalMonSessionInfo& info) {
  const std::vector<std::string> names = PageNames(info);
  const bool firstBuild = pages_.empty();
  bool added = false;
  for (const std::string& name : names) {
    if (std::find(pages_.begin(), pages_.end(), name) != pages_.end()) continue;
    pages_.push_back(name);
    auto* view = new PageView(PageReader(session_, name), request_.follow, false);
    connect(view, &PageView::Message, this, &MainWindow::Say);
    tabs_->addTab(view, QString::fromStdString(name));
    if (name == request_.view) tabs_->setCurrentWidget(view);
    added = true;
  }
  if (!added) return;
  if (tabs_->count() > static_cast<int>(pages_.size())) {
    QWidget* old = tabs_->widget(0);
    tabs_->removeTab(0);
    delete old;
  }
  auto* merged = new PageView(MergedReader(session_, pages_), request_.follow, true);
  connect(merged, &PageView::Message, this, &MainWindow::Say);
  tabs_->insertTab(0, merged, tr("All pages"));
  if (request_.view.empty() && firstBuild) tabs_->setCurrentIndex(0);
}

void MainWindow::ShowState(const TalMonSessionInfo* info) {
  const bool live = info != nullptr && Live(info->state);
  const bool paused = live && info->state == TalMonSessionState::kPaused;
  play_->setEnabled(paused);
  pause_->setEnabled(live && info->state == TalMonSessionState::kPlaying);
  stop_->setEnabled(live && info->state != TalMonSessionState::kStopping);
  state_->setText(info != nullptr ? StateText(*info) : tr("No session"));
}

void MainWindow::SetActivity(int activity) {
  if (session_ == 0) return;
  static const char* const kDone[] = {"stopped", "resumed", "paused"};
  if (TalMonitorSetActivity(session_, activity)) {
    Say(tr("Session %1 %2.").arg(session_).arg(QString::fromLatin1(kDone[activity])));
  } else {
    Say(tr("Session %1 cannot be changed: its producer has ended.").arg(session_));
  }
  RefreshAll();
}

void MainWindow::TogglePause() {
  if (session_ == 0) return;  // 0 would be taken as the last session
  unsigned int activity = 0;
  TalMonitorGetActivity(session_, &activity);
  if (activity == kTalMonPaused) {
    SetActivity(kTalMonPlaying);
  } else if (activity == kTalMonPlaying) {
    SetActivity(kTalMonPaused);
  }
}

void MainWindow::FindInView(const QString& text) {
  if (PageView* view = CurrentView()) view->Find(text);
}

void MainWindow::closeEvent(QCloseEvent* event) {
  QSettings().setValue("geometry", saveGeometry());
  QMainWindow::closeEvent(event);
}

WaitWindow::WaitWindow(unsigned int session, const QString& title, QWidget* parent)
    : QWidget(parent), session_(session) {
  setWindowTitle(title.isEmpty() ? tr("Please wait") : title);
  auto* layout = new QVBoxLayout(this);
  auto* label = new QLabel(title.isEmpty() ? tr("Session %1").arg(session) : title);
  QFont bold = label->font();
  bold.setBold(true);
  label->setFont(bold);
  layout->addWidget(label);
  resize(560, 260);
  auto* watch = new ChangeWatch(this);
  connect(watch, &ChangeWatch::Changed, this, &WaitWindow::Refresh);
  // Once shown: a window closed before it is shown would show all the same.
  QTimer::singleShot(0, this, &WaitWindow::Refresh);
}

void WaitWindow::Refresh() {
  TalMonSessionInfo info;
  if (!TalMonGetSessionInfo(session_, info) || !Live(info.state)) {
    close();
    return;
  }
  const std::vector<std::string> names = PageNames(info);
  if (names != pages_ || view_ == nullptr) {
    pages_ = names;
    delete view_;
    view_ = new PageView(MergedReader(session_, pages_), true, true);
    layout()->addWidget(view_);
  }
  view_->Refresh();
}

}  // namespace talmon::viewer
