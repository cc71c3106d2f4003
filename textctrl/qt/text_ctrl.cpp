// The text control: paints through the shared interpreter on the Qt device, and turns keys,
// the wheel and the mouse into scroll requests and link clicks.

#include "talmon/text_ctrl.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>

#include "textctrl/qt/qt_device.h"

namespace {

// Key flags of a click, as the bars expect them.
constexpr uint32_t kMkLButton = 0x0001;
constexpr uint32_t kMkShift = 0x0004;
constexpr uint32_t kMkControl = 0x0008;
// One notch of a classic wheel.
constexpr int64_t kWheelDelta = 120;

TalMonPoint ToPoint(const QPointF& p) {
  return {TalMonClamp32(static_cast<int64_t>(p.x())), TalMonClamp32(static_cast<int64_t>(p.y()))};
}

uint32_t KeyFlags(const QMouseEvent& event) {
  uint32_t flags = (event.buttons() & Qt::LeftButton) ? kMkLButton : 0;
  if (event.modifiers() & Qt::ShiftModifier) flags |= kMkShift;
  if (event.modifiers() & Qt::ControlModifier) flags |= kMkControl;
  return flags;
}

}  // namespace

IMonTextCtrlAutomat::~IMonTextCtrlAutomat() = default;

TalMonTextCtrl::TalMonTextCtrl(QWidget* parent)
    : QAbstractScrollArea(parent),
      wheelLines_(static_cast<uint32_t>(std::max(QApplication::wheelScrollLines(), 0))),
      horizontal_(std::make_unique<TalScrollBarStandard>(this, SB_HORZ)),
      vertical_(std::make_unique<TalScrollBarStandard>(this, SB_VERT)),
      resources_(std::make_unique<TalMonQtResources>(font())) {
  // The layout paints the frame itself (SetBorder), inside the client area.
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::StrongFocus);
  // Every paint covers every pixel: nothing is erased first, so nothing flickers.
  viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
  viewport()->setAutoFillBackground(false);
  // The position is kept for the next paint; moving the mouse repaints nothing.
  viewport()->setMouseTracking(true);
  viewport()->setCursor(Qt::ArrowCursor);
  horizontalScrollBar()->setSingleStep(1);
  verticalScrollBar()->setSingleStep(1);
  connect(verticalScrollBar(), &QScrollBar::sliderMoved, this, [this](int position) {
    if (dynamic_cast<TalScrollBarStandard*>(vertical_.get()) != nullptr) {
      OnVScroll(SB_THUMBTRACK, position);
    }
  });
  connect(horizontalScrollBar(), &QScrollBar::sliderMoved, this,
          [this](int position) { OnHScroll(SB_THUMBTRACK, position); });
}

TalMonTextCtrl::~TalMonTextCtrl() = default;

void TalMonTextCtrl::SetMonitor(IMonitorReader* reader) {
  reader_ = reader;
  viewport()->update();
}

void TalMonTextCtrl::SetBackgroundMode(int mode) {
  backgroundMode_ = mode;
  viewport()->update();
}

void TalMonTextCtrl::SetBorder(bool border) {
  border_ = border;
  viewport()->update();
}

int32_t TalMonTextCtrl::GetContentHeight() {
  uint32_t count = 0;
  if (reader_ == nullptr) {
    contentHeight_ = 0;
  } else if (reader_->GetCount(count)) {
    contentHeight_ = TalMonClamp32(int64_t{GetRowHeight()} * count);
  }
  return reader_ == nullptr ? 0 : contentHeight_;
}

int32_t TalMonTextCtrl::GetContentWidth() const {
  return std::max(viewport()->width(), contentWidth_);
}

void TalMonTextCtrl::GetFittingSize(QSize& size) {
  size = QSize(GetContentWidth(), GetContentHeight());
}

void TalMonTextCtrl::Refresh(bool follow) {
  if (reader_ == nullptr) return;
  reader_->Update();
  if (vertical_ == nullptr) return;
  const bool keep = follow && vertical_->AtEnd();
  uint32_t count = 0;
  // A reader that cannot count now (its page went away) keeps the range it had, so the rows
  // it can still read stay in view.
  if (reader_->GetCount(count)) {
    contentHeight_ = TalMonClamp32(int64_t{GetRowHeight()} * count);
    vertical_->SetCount(TalMonClamp32(count), viewport()->height() / GetRowHeight());
  }
  if (keep) vertical_->Scroll(SB_BOTTOM, 0);
  viewport()->update();
}

void TalMonTextCtrl::SetVerticalBar(std::unique_ptr<TalScrollBarBase> bar) {
  if (bar == nullptr) bar = std::make_unique<TalScrollBarStandard>(this, SB_VERT);
  const int32_t range = vertical_->GetRange();
  const int32_t page = vertical_->GetPage();
  const int32_t position = vertical_->GetPos();
  const bool standard = dynamic_cast<TalScrollBarStandard*>(bar.get()) != nullptr;
  if (!standard) vertical_->SetRange(0, 0);  // empties the area's own bar
  vertical_ = std::move(bar);
  vertical_->SetRange(range, page);
  vertical_->ClampPos(position);
  setVerticalScrollBarPolicy(standard ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
  viewport()->update();
}

void TalMonTextCtrl::SetMarkers(TalMonScrollMarkers* markers) {
  markers_ = markers;
  viewport()->update();
}

void TalMonTextCtrl::OnVScroll(int code, int32_t position) {
  if (vertical_ == nullptr) return;
  vertical_->Scroll(code, position);
  viewport()->update();
}

void TalMonTextCtrl::OnHScroll(int code, int32_t position) {
  if (horizontal_ == nullptr) return;
  horizontal_->Scroll(code, position);
  viewport()->update();
}

TalMonPaintInput TalMonTextCtrl::PaintInput() {
  TalMonPaintInput input;
  input.reader = reader_;
  input.client = {0, 0, viewport()->width(), viewport()->height()};
  input.horizontal = horizontal_.get();
  input.vertical = vertical_.get();
  input.border = border_;
  input.backgroundMode = backgroundMode_;
  input.mouse = mouse_;
  input.leftButtonDown = leftButtonDown_;
  return input;
}

void TalMonTextCtrl::paintEvent(QPaintEvent*) {
  QPainter painter(viewport());
  TalMonQtDevice device(painter, palette(), *resources_, viewport()->rect());
  const TalMonPaintInput input = PaintInput();
  TalMonPaintOutput output;
  Draw(device, input, output);
  contentWidth_ = output.contentWidth;
  if (border_) contentHeight_ = output.contentHeight;
  hoverLink_ = output.hoverLink;
  // A bar drawn inside the client area goes over the rows' strip, after them. Its strip
  // starts a pixel right of where the rows end: that pixel gets the face colour.
  if (vertical_ != nullptr && vertical_->GetWidth() > 0) {
    const TalMonRect& c = input.client;
    device.FillSolidRect({c.right - vertical_->GetWidth(), c.top, c.right, c.bottom}, COLOR_3DFACE);
    vertical_->Draw(device, c, mouse_, leftButtonDown_, markers_);
  }
}

void TalMonTextCtrl::ResizeBars() {
  if (horizontal_ != nullptr) horizontal_->Resize(viewport()->width());
  if (vertical_ != nullptr) vertical_->Resize(viewport()->height() / GetRowHeight());
}

void TalMonTextCtrl::resizeEvent(QResizeEvent* event) {
  ResizeBars();
  QAbstractScrollArea::resizeEvent(event);
}

void TalMonTextCtrl::keyPressEvent(QKeyEvent* event) {
  switch (event->key()) {
    case Qt::Key_PageUp:
      OnVScroll(SB_PAGEUP);
      break;
    case Qt::Key_PageDown:
      OnVScroll(SB_PAGEDOWN);
      break;
    case Qt::Key_End:
      OnVScroll(SB_BOTTOM);
      break;
    case Qt::Key_Home:
      OnVScroll(SB_TOP);
      break;
    case Qt::Key_Left:
      OnHScroll(SB_LINELEFT);
      break;
    case Qt::Key_Up:
      OnVScroll(SB_LINEUP);
      break;
    case Qt::Key_Right:
      OnHScroll(SB_LINERIGHT);
      break;
    case Qt::Key_Down:
      OnVScroll(SB_LINEDOWN);
      break;
    default:
      // Return, Escape and the rest go on to the dialog that holds the control.
      QAbstractScrollArea::keyPressEvent(event);
      return;
  }
  event->accept();
}

void TalMonTextCtrl::PostScroll(int code, int64_t count) {
  // Scrolling past either end changes nothing, so more requests than rows are not posted.
  const int64_t limit = int64_t{std::max(vertical_ != nullptr ? vertical_->GetRange() : 0, 0)} + 1;
  for (int64_t i = std::min(count, limit); i > 0; --i) {
    QMetaObject::invokeMethod(
        this, [this, code] { OnVScroll(code); }, Qt::QueuedConnection);
  }
}

void TalMonTextCtrl::wheelEvent(QWheelEvent* event) {
  const int delta = event->angleDelta().y();
  if (delta == 0) {
    event->ignore();
    return;
  }
  // A notch (120) scrolls the wheel lines, posted one request each, so that a fast turn
  // scrolls in several repaints. Touchpads and fine wheels send parts of a notch: what does
  // not make a whole line is kept and added to the next delta, so two deltas of 60 with one
  // line make one line, while a single 60 scrolls nothing. A turn the other way starts over.
  const int64_t step = int64_t{delta} * wheelLines_;
  if ((wheelRemainder_ < 0) != (step < 0)) wheelRemainder_ = 0;
  wheelRemainder_ += step;
  const int64_t n = wheelRemainder_ / kWheelDelta;
  wheelRemainder_ -= n * kWheelDelta;
  if (n > 0) PostScroll(SB_LINEUP, n);
  if (n < 0) PostScroll(SB_LINEDOWN, -n);
  event->accept();
}

void TalMonTextCtrl::mousePressEvent(QMouseEvent* event) {
  setFocus(Qt::MouseFocusReason);
  mouse_ = ToPoint(event->position());
  if (event->button() != Qt::LeftButton) return;
  leftButtonDown_ = true;
  const TalMonRect client{0, 0, viewport()->width(), viewport()->height()};
  draggingBar_ = vertical_ != nullptr && vertical_->Click(client, KeyFlags(*event), mouse_);
  // Painted at once: a pressed link looks pressed, and the link under the button becomes the
  // hover link that the release reaches.
  viewport()->repaint();
}

void TalMonTextCtrl::mouseMoveEvent(QMouseEvent* event) {
  mouse_ = ToPoint(event->position());
  if (!draggingBar_ || !(event->buttons() & Qt::LeftButton)) return;
  // The drag follows the mouse, also off the bar's strip, until the button is released.
  if (auto* bar = dynamic_cast<TalMonScrollBar*>(vertical_.get())) {
    bar->DragTo({0, 0, viewport()->width(), viewport()->height()}, mouse_);
  }
  viewport()->update();
}

void TalMonTextCtrl::mouseReleaseEvent(QMouseEvent* event) {
  mouse_ = ToPoint(event->position());
  if (event->button() != Qt::LeftButton) return;
  leftButtonDown_ = false;
  draggingBar_ = false;
  viewport()->update();
  if (hoverLink_.empty() || automat_ == nullptr) return;
  // The owner may close or delete the control from OnLink: nothing of it is used afterwards.
  const std::string target = std::move(hoverLink_);
  hoverLink_.clear();
  automat_->OnLink(this, target.c_str());
}

bool TalMonTextCtrl::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::Leave) mouse_ = {INT32_MIN, INT32_MIN};
  return QAbstractScrollArea::viewportEvent(event);
}

void TalMonTextCtrl::changeEvent(QEvent* event) {
  if (event->type() == QEvent::FontChange) {
    resources_ = std::make_unique<TalMonQtResources>(font());
    viewport()->update();
  } else if (event->type() == QEvent::PaletteChange) {
    viewport()->update();
  }
  QAbstractScrollArea::changeEvent(event);
}

void TalMonTextCtrl::scrollContentsBy(int, int) {
  viewport()->update();
}
