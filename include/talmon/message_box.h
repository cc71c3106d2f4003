// Message boxes whose message is live markup: TalMonMessageBox (a dialog around a text
// control fed by a reader), TalMonitorMessageBox (a box from a system-style type word) and
// TalMonThread (a box shown while the caller goes on working). Thread rules are given per
// class.
#pragma once

#include <QDialog>
#include <QIcon>
#include <QPointer>
#include <QSize>
#include <cstdint>
#include <vector>

#include "talmon/export.h"
#include "talmon/monitor.h"
#include "talmon/text_ctrl.h"

class QPushButton;

// A dialog in the manner of the desktop's message box: the rows of a reader as its message,
// refreshed every 100 ms, and a row of push buttons whose identifiers end it. Configure it
// (AddButton, SetIcon, SetTitle, SetHaveSysMenu, GetTextCtrl().SetMonitor) before showing it;
// afterwards it belongs to the GUI thread.
class TALMON_EXPORT TalMonMessageBox : public QDialog {
  Q_OBJECT

 public:
  explicit TalMonMessageBox(QWidget* parent);
  ~TalMonMessageBox() override;

  // Appends a button with caption text ("&Ok": Alt+O presses it). Non-zero isDefault makes it
  // the default (Return), non-zero isCancel the cancel choice (Escape, closing the window);
  // a later call overrides an earlier one.
  void AddButton(unsigned int id, int isDefault, int isCancel, const char* text);
  // The window's icon; a null icon: none.
  void SetIcon(const QIcon& icon);
  // The caption, UTF-8; the application's name until set.
  void SetTitle(const char* title);
  // false: the window gets no system menu.
  void SetHaveSysMenu(bool haveSysMenu);
  TalMonTextCtrl& GetTextCtrl() { return text_; }

  // Shows the box modally and returns the identifier of the button that ended it; -1 when
  // Return ended it with no default button.
  virtual intptr_t DoModal();
  // Shows the box without blocking; it ends as DoModal's box does (finished(id) is emitted
  // and the box hides). False when it cannot be shown.
  bool ShowModeless();

  // Ends the box with result, as its buttons do.
  void done(int result) override;

  int GetDefaultId() const { return defaultId_; }
  int GetCancelId() const { return cancelId_; }
  // The size of every button, in pixels (after the box was laid out).
  QSize GetButtonSize() const { return buttonSize_; }
  // Pixels of x horizontal and y vertical dialog units of the box's font: 4 units are the
  // average character width, 8 units the font's height.
  int FromDlgX(int x) const;
  int FromDlgY(int y) const;

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  struct Button {
    unsigned int id;
    QByteArray caption;
  };

  void InitDialog();
  void ApplyWindowFlags(bool afterButtons);
  void CreateButtons();
  void UpdateLayout();
  void Place();
  QSize ClientSize(QSize text) const;
  void GrowToContent();
  void CentreOnParent();
  bool HandleKey(const QKeyEvent& key);

  QWidget* parent_;
  // Layout in dialog units.
  static constexpr int kMarginLeft = 10, kMarginRight = 10, kMarginTop = 10, kMarginBottom = 7;
  static constexpr int kIconGap = 10, kButtonRowGap = 7, kButtonPadX = 7, kButtonPadY = 4;
  static constexpr int kButtonGap = 7, kButtonMinWidth = 40;
  int defaultId_ = -1;
  int cancelId_ = -1;
  QSize textSize_{300, 200};
  QSize buttonSize_;
  QSize dluScale_;  // pixels of 1000 x 1000 dialog units
  QIcon icon_;
  QSize iconSize_;
  QString title_;
  TalMonTextCtrl text_;
  bool haveSysMenu_ = true;
  bool showIconControl_ = false;
  std::vector<Button> buttons_;
  std::vector<QPushButton*> pushButtons_;
  int timerId_ = 0;
  bool initialised_ = false;
  bool ending_ = false;
};

// Shows reader's rows in a box chosen by type (bits 0-3 the buttons, bits 4-7 the icon, as
// the desktop's message box reads them) and returns the identifier of the button chosen:
//   0 OK: 1          1 OK, Cancel: 1, 2       2 Abort, Retry, Ignore: 3, 4, 5
//   3 Yes, No, Cancel: 6, 7, 2               4 Yes, No: 6, 7       5 Retry, Cancel: 4, 2
//   6 to 15: no buttons (only Return ends the box, with -1)
// The first button is the default. Any thread: on the thread of the running QApplication the
// box is modal over the active window; from another thread, or with no application at all
// (then on a UI thread of the library's own), the call waits for the box. -1 at once, showing
// nothing, with only a QCoreApplication or with no display (none of QT_QPA_PLATFORM, DISPLAY,
// WAYLAND_DISPLAY set). reader stays the caller's; null shows an empty box.
extern "C" TALMON_EXPORT int TalMonitorMessageBox(IMonitorReader* reader, unsigned int type);

// A box shown while its creator goes on working: the creator configures GetDialog() (buttons,
// reader, title, icon) and calls Start(); the box then shows the reader's rows live until the
// user closes it or the object is destroyed. The box informs, it does not ask: its result is
// not reported. Without a QApplication in the process, one UI thread of the library owns one
// and runs every such box; with the application running, its own thread shows the box. Create,
// Start and destroy the object on one thread; touch the box only before Start.
class TALMON_EXPORT TalMonThread {
 public:
  TalMonThread();
  virtual ~TalMonThread();
  TalMonThread(const TalMonThread&) = delete;
  TalMonThread& operator=(const TalMonThread&) = delete;

  // The owned box; null when no box can be shown in this process (no display, or only a
  // QCoreApplication).
  TalMonMessageBox* GetDialog();
  // Shows the box without a system menu and returns once it is on screen; false when it
  // cannot be shown or was started before.
  bool Start();

 private:
  QPointer<TalMonMessageBox> dialog_;
  bool started_ = false;
};
