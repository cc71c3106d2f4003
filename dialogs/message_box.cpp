// The message box: layout in dialog units of its own font, buttons of one size, keys and
// close requests as the desktop's message box answers them, and a text control refreshed
// every 100 ms that grows the box as its message grows.

#include "talmon/message_box.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QScreen>
#include <algorithm>

namespace {

constexpr int kRefreshMs = 100;
// The text area's smallest size when the user shrinks the box.
constexpr int kMinTextWidth = 200;
constexpr int kMinTextHeight = 100;
// The share of the screen a growing message may take.
constexpr double kMaxScreenShare = 0.9;

}  // namespace

TalMonMessageBox::TalMonMessageBox(QWidget* parent)
    : QDialog(parent), parent_(parent), title_(QCoreApplication::applicationName()), text_(this) {}

TalMonMessageBox::~TalMonMessageBox() = default;

void TalMonMessageBox::AddButton(unsigned int id, int isDefault, int isCancel, const char* text) {
  buttons_.push_back({id, QByteArray(text != nullptr ? text : "")});
  if (isDefault != 0) defaultId_ = static_cast<int>(id);
  if (isCancel != 0) cancelId_ = static_cast<int>(id);
}

void TalMonMessageBox::SetIcon(const QIcon& icon) {
  icon_ = icon;
  iconSize_ = icon.isNull() ? QSize(0, 0) : icon.actualSize(QSize(32, 32));
}

void TalMonMessageBox::SetTitle(const char* title) {
  title_ = QString::fromUtf8(title != nullptr ? title : "");
}

void TalMonMessageBox::SetHaveSysMenu(bool haveSysMenu) {
  haveSysMenu_ = haveSysMenu;
}

int TalMonMessageBox::FromDlgX(int x) const {
  return static_cast<int>(int64_t{x} * dluScale_.width() / 1000);
}

int TalMonMessageBox::FromDlgY(int y) const {
  return static_cast<int>(int64_t{y} * dluScale_.height() / 1000);
}

// The caption never has a close, minimize or maximize button: the box ends by its buttons and
// keys. The edits run in this order: those of the box's set-up, then, once the buttons are
// known, the one for a box that nothing can cancel.
void TalMonMessageBox::ApplyWindowFlags(bool afterButtons) {
  Qt::WindowFlags flags =
      windowFlags() | Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
  if (!afterButtons) {
    flags &= ~(Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint |
               Qt::WindowMaximizeButtonHint);
    if (!haveSysMenu_) flags &= ~Qt::WindowSystemMenuHint;
  } else if (cancelId_ == -1) {
    flags &= ~Qt::WindowSystemMenuHint;
  }
  setWindowFlags(flags);
}

void TalMonMessageBox::CreateButtons() {
  const QFontMetrics metrics(font());
  int width = FromDlgX(kButtonMinWidth);
  int height = 0;
  for (const Button& b : buttons_) {
    // Measured as given, "&" included, as the widest caption sets every button's width.
    width = std::max(width, metrics.horizontalAdvance(QString::fromUtf8(b.caption)));
    height = std::max(height, metrics.height());
    auto* button = new QPushButton(QString::fromUtf8(b.caption), this);
    button->setAutoDefault(false);
    button->installEventFilter(this);
    const int id = static_cast<int>(b.id);
    connect(button, &QPushButton::clicked, this, [this, id] { done(id); });
    pushButtons_.push_back(button);
  }
  buttonSize_ = QSize(width + 2 * FromDlgX(kButtonPadX), height + 2 * FromDlgY(kButtonPadY));
  for (QPushButton* button : pushButtons_)
    button->setFixedSize(buttonSize_);
}

// The client size that shows text (the text control's size) above the button row.
QSize TalMonMessageBox::ClientSize(QSize text) const {
  const int n = static_cast<int>(pushButtons_.size());
  const int row = n * buttonSize_.width() + std::max(n - 1, 0) * FromDlgX(kButtonGap);
  int contentWidth = text.width();
  int contentHeight = text.height();
  if (showIconControl_ && !icon_.isNull()) {
    contentWidth += FromDlgX(kIconGap) + iconSize_.width();
    contentHeight = std::max(contentHeight, iconSize_.height());
  }
  return QSize(FromDlgX(kMarginLeft) + std::max(contentWidth, row) + FromDlgX(kMarginRight),
               FromDlgY(kMarginTop) + contentHeight + FromDlgY(kButtonRowGap) +
                   buttonSize_.height() + FromDlgY(kMarginBottom));
}

void TalMonMessageBox::UpdateLayout() {
  setMinimumSize(ClientSize(QSize(kMinTextWidth, kMinTextHeight)));
  resize(ClientSize(textSize_));
  Place();
}

// The text takes the room above the buttons (two pixels wider than the margins leave, as the
// box has always drawn it); the buttons stand in one row at the bottom right.
void TalMonMessageBox::Place() {
  const QSize client = size();
  const int left = FromDlgX(kMarginLeft);
  const int right = FromDlgX(kMarginRight);
  const int top = FromDlgY(kMarginTop);
  const int buttonTop = client.height() - FromDlgY(kMarginBottom) - buttonSize_.height();
  text_.setGeometry(left - 1, top, client.width() - left - right + 2,
                    buttonTop - FromDlgY(kButtonRowGap) - top);
  const int n = static_cast<int>(pushButtons_.size());
  const int gap = FromDlgX(kButtonGap);
  int x = client.width() - right - (n * buttonSize_.width() + std::max(n - 1, 0) * gap);
  for (QPushButton* button : pushButtons_) {
    button->move(x, buttonTop);
    x += buttonSize_.width() + gap;
  }
}

void TalMonMessageBox::CentreOnParent() {
  const QWidget* over = parent_ != nullptr ? parent_->window() : nullptr;
  QRect area;
  if (over != nullptr && over->isVisible()) {
    area = over->frameGeometry();
  } else if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    area = screen->availableGeometry();
  }
  if (area.isValid()) move(area.center() - QPoint(width() / 2, height() / 2));
}

void TalMonMessageBox::InitDialog() {
  if (initialised_) return;
  initialised_ = true;
  setWindowTitle(title_);
  ApplyWindowFlags(false);
  setWindowIcon(icon_);
  const QFontMetrics metrics(font());
  dluScale_ = QSize(1000 * metrics.averageCharWidth() / 4, 1000 * metrics.height() / 8);
  textSize_ = QSize(300, 200);
  CreateButtons();
  UpdateLayout();
  ApplyWindowFlags(true);
  timerId_ = startTimer(kRefreshMs);
  text_.Refresh(false);
  CentreOnParent();
  for (size_t i = 0; i < buttons_.size(); ++i) {
    if (static_cast<int>(buttons_[i].id) != defaultId_) continue;
    pushButtons_[i]->setDefault(true);
    pushButtons_[i]->setFocus(Qt::OtherFocusReason);
    break;
  }
  text_.installEventFilter(this);
}

intptr_t TalMonMessageBox::DoModal() {
  InitDialog();
  return exec();
}

bool TalMonMessageBox::ShowModeless() {
  InitDialog();
  show();
  return isVisible();
}

// The box grows with its message, never shrinks by itself, and stays within the screen.
void TalMonMessageBox::GrowToContent() {
  QSize wanted;
  text_.GetFittingSize(wanted);
  wanted.rheight() += 10;  // the control's margins above and below the rows
  QSize limit(INT32_MAX / 4, INT32_MAX / 4);
  if (const QScreen* s = screen()) {
    const QSize chrome = ClientSize(QSize(0, 0));
    limit = s->availableGeometry().size() * kMaxScreenShare - chrome;
  }
  const QSize grown = textSize_.expandedTo(wanted.boundedTo(limit));
  if (grown == textSize_) return;
  textSize_ = grown;
  const QPoint centre = geometry().center();
  resize(ClientSize(textSize_).expandedTo(size()));
  move(centre - QPoint(width() / 2, height() / 2));
}

void TalMonMessageBox::timerEvent(QTimerEvent* event) {
  if (event->timerId() != timerId_) {
    QDialog::timerEvent(event);
    return;
  }
  text_.Refresh(false);
  GrowToContent();
}

void TalMonMessageBox::resizeEvent(QResizeEvent* event) {
  QDialog::resizeEvent(event);
  if (initialised_) Place();
}

// Return ends the box with the default button, or with the focused button, which becomes the
// default. Escape and Ctrl+Break end it with the cancel choice and are taken either way.
bool TalMonMessageBox::HandleKey(const QKeyEvent& key) {
  switch (key.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
      for (size_t i = 0; i < pushButtons_.size(); ++i) {
        if (focusWidget() == pushButtons_[i]) defaultId_ = static_cast<int>(buttons_[i].id);
      }
      done(defaultId_);
      return true;
    case Qt::Key_Escape:
    case Qt::Key_Cancel:
      if (cancelId_ != -1) done(cancelId_);
      return true;
    case Qt::Key_Pause:
      if (!(key.modifiers() & Qt::ControlModifier)) return false;
      if (cancelId_ != -1) done(cancelId_);
      return true;
    default:
      return false;
  }
}

void TalMonMessageBox::keyPressEvent(QKeyEvent* event) {
  if (!HandleKey(*event)) QDialog::keyPressEvent(event);
}

// Keys reach the box before the focused button or text control sees them.
bool TalMonMessageBox::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress && HandleKey(*static_cast<QKeyEvent*>(event))) {
    return true;
  }
  return QDialog::eventFilter(watched, event);
}

void TalMonMessageBox::done(int result) {
  ending_ = true;
  QDialog::done(result);
  ending_ = false;
}

// Alt+F4 or the window manager: the cancel choice, and nothing at all without one. The box's
// own ending (done) may close the window too, and that close goes through.
void TalMonMessageBox::closeEvent(QCloseEvent* event) {
  if (ending_) {
    event->accept();
    return;
  }
  if (cancelId_ == -1) {
    event->ignore();
    return;
  }
  done(cancelId_);
  event->accept();
}
