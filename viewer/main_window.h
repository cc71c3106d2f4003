// TalMonView's main window: the sessions of the data directory in a sidebar, and the chosen
// session's pages as tabs beside a merged tab, with play / pause / stop and find. GUI thread.
#pragma once

#include <QMainWindow>
#include <string>
#include <vector>

#include "talmon/session_list.h"
#include "viewer/command_line.h"

class QAction;
class QLabel;
class QLineEdit;
class QTabWidget;
class QTreeWidget;

namespace talmon::viewer {

class ChangeWatch;
class PageView;

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(const Request& request, QWidget* parent = nullptr);
  ~MainWindow() override;

  // Lists the sessions again, follows the shown session's pages and activity, refreshes the
  // views. Runs on every change of the data directory.
  void RefreshAll();
  // Shows session (its tabs rebuilt); 0: none.
  void ShowSession(unsigned int session);
  // Sets the shown session's activity (0 stop, 1 play, 2 pause) and says so.
  void SetActivity(int activity);
  // Pauses a playing session, resumes a paused one.
  void TogglePause();
  void FindInView(const QString& text);

  unsigned int Session() const { return session_; }
  QTreeWidget* Sessions() const { return sessions_; }
  QTabWidget* Tabs() const { return tabs_; }
  PageView* CurrentView() const;
  QAction* PauseAction() const { return pause_; }
  const QString& StatusText() const { return status_; }

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildActions();
  void ListSessions(const std::vector<TalMonSessionInfo>& sessions);
  void SyncTabs(const TalMonSessionInfo& info);
  void ShowState(const TalMonSessionInfo* info);
  void Say(const QString& text);

  Request request_;
  unsigned int session_ = 0;
  std::vector<std::string> pages_;  // the pages of the shown session, as its tabs show them
  QTreeWidget* sessions_;
  QTabWidget* tabs_;
  QLabel* state_;
  QLineEdit* find_;
  QAction* play_;
  QAction* pause_;
  QAction* stop_;
  ChangeWatch* watch_;
  QString status_;
  bool refreshing_ = false;
};

// The wait display: the title and the session's rows, live; closes itself once the session
// has ended (finished, crashed, or gone).
class WaitWindow : public QWidget {
  Q_OBJECT

 public:
  WaitWindow(unsigned int session, const QString& title, QWidget* parent = nullptr);
  void Refresh();

 private:
  unsigned int session_;
  std::vector<std::string> pages_;
  PageView* view_ = nullptr;
};

// One line about a session's activity for people: "Session 7: paused".
QString StateText(const TalMonSessionInfo& info);

}  // namespace talmon::viewer
