// The Qt 6 text control of libtalmon-ui: a scroll area that paints the rows of an
// IMonitorReader through the markup interpreter, follows a live reader, scrolls by keys, wheel
// and bars, and reports link clicks to its owner. Used only from the thread that owns the
// widget (the Qt GUI thread).
#pragma once

#include <QAbstractScrollArea>
#include <QSize>
#include <cstdint>
#include <memory>
#include <string>

#include "talmon/export.h"
#include "talmon/monitor.h"
#include "talmon/scrollbar.h"
#include "talmon/textctrl.h"

class QScrollBar;
class TalMonTextCtrl;
class TalMonQtResources;

// Implemented by the owner of a text control to hear about link clicks. Only OnLink must be
// implemented.
class TALMON_EXPORT IMonTextCtrlAutomat {
 public:
  // The left button was released over a link; target is the link's target, valid during the
  // call.
  virtual void OnLink(TalMonTextCtrl* control, const char* target) = 0;
  virtual ~IMonTextCtrlAutomat();
};

// A bar kept in one of a QAbstractScrollArea's own scroll bars: value = position, pageStep =
// page, maximum = max(0, range - page). The bar cannot hold a range smaller than its page, so
// the range is kept here: GetRange of a bar set to range 0 is 0. The bar lies outside the
// viewport (GetWidth 0).
class TALMON_EXPORT TalScrollBarStandard : public TalScrollBarBase {
 public:
  // kind is SB_HORZ or SB_VERT; area must outlive the bar.
  explicit TalScrollBarStandard(QAbstractScrollArea* area, int kind = SB_VERT);
  ~TalScrollBarStandard() override;

  // SB_THUMBPOSITION and SB_THUMBTRACK take the position where the thumb is being dragged
  // (the bar's slider position), not the argument; then the rules of the base apply.
  bool Scroll(int code, int32_t position) override;
  int32_t GetRange() const override;
  bool SetRange(int32_t range, int32_t page) override;
  int32_t GetPos() const override;
  bool SetPos(int32_t position) override;
  int32_t GetPage() const override;
  bool SetPage(int32_t page) override;
  int32_t GetWidth() const override { return 0; }

  int GetKind() const { return kind_; }

 private:
  QScrollBar* Bar() const;
  void Apply();

  QAbstractScrollArea* area_;
  int kind_;
  int32_t range_ = 0;
  int32_t page_ = 0;
};

// The control. The viewport is the client area; the area's own scroll bars are the standard
// bars (the vertical one counts rows, the horizontal one pixels). Every paint reads the
// visible rows from the reader again and lays them out from scratch.
class TALMON_EXPORT TalMonTextCtrl : public QAbstractScrollArea, public TalMonTextLayout {
  Q_OBJECT

 public:
  explicit TalMonTextCtrl(QWidget* parent = nullptr);
  ~TalMonTextCtrl() override;

  // The reader is not owned; null shows only the background.
  void SetMonitor(IMonitorReader* reader);
  IMonitorReader* GetMonitor() const { return reader_; }
  // The automaton is not owned; null: link clicks do nothing.
  void SetAutomat(IMonTextCtrlAutomat* automat) { automat_ = automat; }
  IMonTextCtrlAutomat* GetAutomat() const { return automat_; }
  // 0: plain face colour; 1: a vertical gradient from the light edge colour to the face
  // colour, with text drawn transparent.
  void SetBackgroundMode(int mode);
  // A 3D frame painted inside the client area; a side whose content continues beyond the
  // view is left open. Off at construction.
  void SetBorder(bool border);
  bool HasBorder() const { return border_; }

  int32_t GetRowHeight() const override { return 21; }
  // Row height x row count (the count read now); 0 without a reader.
  int32_t GetContentHeight();
  // The larger of the viewport width and the widest row of the last paint.
  int32_t GetContentWidth() const;
  // The size the content wants: GetContentWidth() x GetContentHeight().
  void GetFittingSize(QSize& size);

  // Reads the reader's new rows: updates it, sets the vertical range to the row count and,
  // when follow is true and the view was at the end, keeps it at the end. A view the user
  // scrolled away from the end stays where it is.
  virtual void Refresh(bool follow);

  // Puts bar (owned from now on, may be a TalMonScrollBar painted inside the client area) in
  // place of the vertical standard bar, keeping range, page and position; null restores a
  // standard bar.
  void SetVerticalBar(std::unique_ptr<TalScrollBarBase> bar);
  TalScrollBarBase* GetVerticalBar() const { return vertical_.get(); }
  TalScrollBarBase* GetHorizontalBar() const { return horizontal_.get(); }
  // Row marks painted along a bar drawn inside the client area; not owned, null for none.
  void SetMarkers(TalMonScrollMarkers* markers);

  // The target of the link under the mouse at the last paint; "" when none.
  const std::string& GetHoverLink() const { return hoverLink_; }
  // QApplication::wheelScrollLines() when the control was made.
  uint32_t GetWheelLines() const { return wheelLines_; }

  // A scroll request to the vertical or horizontal bar (SB_LINEUP ... SB_BOTTOM), followed by
  // a repaint; nothing without that bar.
  void OnVScroll(int code, int32_t position = 0);
  void OnHScroll(int code, int32_t position = 0);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void changeEvent(QEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;

 private:
  void ResizeBars();
  void PostScroll(int code, int64_t count);
  TalMonPaintInput PaintInput();

  IMonitorReader* reader_ = nullptr;
  IMonTextCtrlAutomat* automat_ = nullptr;
  uint32_t wheelLines_ = 3;
  // What is left of the wheel's turn after whole lines were scrolled (delta x lines).
  int64_t wheelRemainder_ = 0;
  std::unique_ptr<TalScrollBarBase> horizontal_;
  std::unique_ptr<TalScrollBarBase> vertical_;
  TalMonScrollMarkers* markers_ = nullptr;
  int32_t contentWidth_ = 0;
  int32_t contentHeight_ = 0;
  std::unique_ptr<TalMonQtResources> resources_;
  std::string hoverLink_;
  int backgroundMode_ = 0;
  bool border_ = false;
  TalMonPoint mouse_{INT32_MIN, INT32_MIN};
  bool leftButtonDown_ = false;
  bool draggingBar_ = false;
};
