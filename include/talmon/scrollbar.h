// Scroll bars of the text control: the scrolling rules every bar shares (TalScrollBarBase)
// and the slim bar with row markers that paints itself inside the client area
// (TalMonScrollBar). Used from the thread that paints the control.
#pragma once

#include <cstdint>

#include "talmon/export.h"
#include "talmon/textctrl.h"

// Scroll requests. The horizontal bar takes the same numbers.
constexpr int SB_LINEUP = 0;
constexpr int SB_LINELEFT = 0;
constexpr int SB_LINEDOWN = 1;
constexpr int SB_LINERIGHT = 1;
constexpr int SB_PAGEUP = 2;
constexpr int SB_PAGELEFT = 2;
constexpr int SB_PAGEDOWN = 3;
constexpr int SB_PAGERIGHT = 3;
constexpr int SB_THUMBPOSITION = 4;
constexpr int SB_THUMBTRACK = 5;
constexpr int SB_TOP = 6;
constexpr int SB_LEFT = 6;
constexpr int SB_BOTTOM = 7;
constexpr int SB_RIGHT = 7;
constexpr int SB_ENDSCROLL = 8;
// Bar kinds of a window's own bars.
constexpr int SB_HORZ = 0;
constexpr int SB_VERT = 1;

// Where marks go along a TalMonScrollBar: one index per row.
class TALMON_EXPORT TalMonScrollMarkers {
 public:
  virtual ~TalMonScrollMarkers();
  virtual uint32_t GetMarkerCount() = 0;
  // True when index has a mark; colour comes in as white and may be changed.
  virtual bool GetMarkerColor(uint32_t index, TalMonColor& colour) = 0;
};

// The rules of scrolling over range units of which page are visible, from position.
// Positions are rows for a vertical bar and pixels for a horizontal one.
class TALMON_EXPORT TalScrollBarBase {
 public:
  TalScrollBarBase() = default;
  virtual ~TalScrollBarBase();

  // Applies a request, then clamps (ClampPos):
  //   SB_LINEUP/SB_LINEDOWN  position -/+ line step      SB_PAGEUP/SB_PAGEDOWN  -/+ page
  //   SB_THUMBPOSITION, SB_THUMBTRACK  position          SB_TOP 0, SB_BOTTOM range - page
  // False, nothing changed, for SB_ENDSCROLL and any other code.
  //   range 100, page 30: SB_BOTTOM => 70;  range 20, page 30: SB_BOTTOM => 0
  virtual bool Scroll(int code, int32_t position);
  virtual int32_t GetRange() const = 0;
  virtual bool SetRange(int32_t range, int32_t page) = 0;
  virtual int32_t GetPos() const = 0;
  // Stores position as it is, without clamping.
  virtual bool SetPos(int32_t position) = 0;
  virtual int32_t GetPage() const = 0;
  virtual bool SetPage(int32_t page) = 0;
  // Pixels the bar takes from the right of the client area.
  virtual int32_t GetWidth() const = 0;
  // Paints the bar into rect (the client area) at the point under the mouse. Base: false.
  virtual bool Draw(TalMonDevice& device, const TalMonRect& rect, TalMonPoint point,
                    bool leftButtonDown, TalMonScrollMarkers* markers);
  // A left button press at point in rect; true when the bar took it. Base: false.
  virtual bool Click(const TalMonRect& rect, uint32_t flags, TalMonPoint point);

  // Sets p, moved back so that p + page does not pass range, and then up to 0.
  bool ClampPos(int32_t p);
  // Sets the page; a view that showed the last unit keeps showing it.
  //   range 100, position 70, page 30: Resize(40) => position 60
  bool Resize(int32_t page);
  // SetRange with a negative count taken as 0.
  bool SetCount(int32_t count, int32_t page);
  // True when the view shows the last unit: position + page >= range.
  bool AtEnd() const;

  int32_t GetLineStep() const { return lineStep_; }
  void SetLineStep(int32_t step) { lineStep_ = step; }

 protected:
  int32_t lineStep_ = 1;
};

// A bar 16 px wide drawn by the control itself at the right of its client area, shown only
// while the content does not fit, with an optional map of marked rows.
class TALMON_EXPORT TalMonScrollBar : public TalScrollBarBase {
 public:
  static constexpr int32_t kWidth = 16;

  TalMonScrollBar() = default;
  ~TalMonScrollBar() override;

  int32_t GetRange() const override { return range_; }
  bool SetRange(int32_t range, int32_t page) override;
  int32_t GetPos() const override { return position_; }
  bool SetPos(int32_t position) override;
  int32_t GetPage() const override { return page_; }
  bool SetPage(int32_t page) override;
  // kWidth while page < range, else 0.
  int32_t GetWidth() const override;
  // Fills the strip with the window colour; while the button is down over the strip, moves
  // the position to the point; then paints the thumb and the markers. True when it painted
  // the thumb; false with a range below 1. Nothing at all, true, while the bar is hidden.
  bool Draw(TalMonDevice& device, const TalMonRect& rect, TalMonPoint point, bool leftButtonDown,
            TalMonScrollMarkers* markers) override;
  // True when point lies on the strip; the position then follows the point (DragTo). The
  // press-and-drag loop is the caller's: it calls DragTo for each later mouse position.
  bool Click(const TalMonRect& rect, uint32_t flags, TalMonPoint point) override;
  // Moves the position to range x point.y / strip height, clamped to [0, range - page].
  bool DragTo(const TalMonRect& rect, TalMonPoint point);
  // The strip the bar occupies in the client rectangle rect.
  TalMonRect Strip(const TalMonRect& rect) const;
  // The thumb inside strip (range >= 1).
  TalMonRect Thumb(const TalMonRect& strip) const;

 private:
  int32_t range_ = 0;
  int32_t position_ = 0;
  int32_t page_ = 0;
};
