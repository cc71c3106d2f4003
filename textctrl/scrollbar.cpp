// Scrolling rules and the self-drawn scroll bar.

#include "talmon/scrollbar.h"

#include <algorithm>
#include <cmath>

namespace {

int32_t Clamp32(int64_t v) {
  return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX));
}

// Truncates toward zero like a C cast, but defined for every double: NaN is 0 and values
// beyond 32 bits are clamped.
int32_t Truncate(double v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483647.0) return INT32_MAX;
  if (v <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(v);
}

}  // namespace

TalMonScrollMarkers::~TalMonScrollMarkers() = default;
TalScrollBarBase::~TalScrollBarBase() = default;

bool TalScrollBarBase::Scroll(int code, int32_t position) {
  const int64_t pos = GetPos();
  int64_t p = 0;
  switch (code) {
    case SB_LINEUP:
      p = pos - lineStep_;
      break;
    case SB_LINEDOWN:
      p = pos + lineStep_;
      break;
    case SB_PAGEUP:
      p = pos - GetPage();
      break;
    case SB_PAGEDOWN:
      p = pos + GetPage();
      break;
    case SB_THUMBPOSITION:
    case SB_THUMBTRACK:
      p = position;
      break;
    case SB_TOP:
      p = 0;
      break;
    case SB_BOTTOM:
      p = int64_t{GetRange()} - GetPage();
      break;
    default:
      return false;
  }
  ClampPos(Clamp32(p));
  return true;
}

bool TalScrollBarBase::Draw(TalMonDevice&, const TalMonRect&, TalMonPoint, bool,
                            TalMonScrollMarkers*) {
  return false;
}

bool TalScrollBarBase::Click(const TalMonRect&, uint32_t, TalMonPoint) {
  return false;
}

bool TalScrollBarBase::ClampPos(int32_t p) {
  const int64_t range = GetRange();
  const int64_t page = GetPage();
  int64_t q = p;
  if (page + q > range) q = range - page;
  if (q < 0) q = 0;
  return SetPos(Clamp32(q));
}

bool TalScrollBarBase::Resize(int32_t page) {
  const int64_t range = GetRange();
  const int64_t oldPage = GetPage();
  const int64_t pos = GetPos();
  const bool atEnd = oldPage < range && pos + oldPage == range;
  SetPage(page);
  return ClampPos(atEnd ? Clamp32(range - page) : static_cast<int32_t>(pos));
}

bool TalScrollBarBase::SetCount(int32_t count, int32_t page) {
  return SetRange(std::max(count, 0), page);
}

bool TalScrollBarBase::AtEnd() const {
  return int64_t{GetPos()} + GetPage() >= GetRange();
}

TalMonScrollBar::~TalMonScrollBar() = default;

bool TalMonScrollBar::SetRange(int32_t range, int32_t page) {
  range_ = range;
  page_ = page;
  return true;
}

bool TalMonScrollBar::SetPos(int32_t position) {
  position_ = position;
  return true;
}

bool TalMonScrollBar::SetPage(int32_t page) {
  page_ = page;
  return true;
}

int32_t TalMonScrollBar::GetWidth() const {
  return page_ < range_ ? kWidth : 0;
}

TalMonRect TalMonScrollBar::Strip(const TalMonRect& rect) const {
  TalMonRect strip = rect;
  strip.left = Clamp32(int64_t{rect.right} - GetWidth() + 1);
  return strip;
}

TalMonRect TalMonScrollBar::Thumb(const TalMonRect& strip) const {
  const double height = strip.Height();
  TalMonRect thumb = strip;
  thumb.top = Clamp32(int64_t{strip.top} + Truncate(double(position_) / range_ * height));
  thumb.bottom = Clamp32(int64_t{thumb.top} + Truncate(double(page_) / range_ * height) +
                         (page_ < range_ ? 1 : 0));
  return thumb;
}

bool TalMonScrollBar::DragTo(const TalMonRect& rect, TalMonPoint point) {
  const int32_t height = Strip(rect).Height();
  if (height <= 0) return false;
  return ClampPos(Truncate(double(range_) * point.y / height));
}

bool TalMonScrollBar::Draw(TalMonDevice& device, const TalMonRect& rect, TalMonPoint point,
                           bool leftButtonDown, TalMonScrollMarkers* markers) {
  if (GetWidth() == 0) return true;
  const TalMonRect strip = Strip(rect);
  device.FillSolidRect(strip, COLOR_WINDOW);
  if (leftButtonDown && strip.Contains(point)) DragTo(rect, point);
  if (range_ < 1) return false;

  const TalMonRect thumb = Thumb(strip);
  device.FillSolidRect(thumb, COLOR_3DFACE);
  device.Draw3dRect(thumb, COLOR_BTNHIGHLIGHT, COLOR_BTNSHADOW);

  if (markers != nullptr) {
    const double height = strip.Height();
    const int32_t tall = Truncate(double(lineStep_) / range_ * height);
    const uint32_t count = markers->GetMarkerCount();
    for (uint32_t i = 0; i < count; ++i) {
      TalMonColor colour = kTalMonWhite;
      if (!markers->GetMarkerColor(i, colour)) continue;
      const int32_t top =
          Clamp32(int64_t{strip.top} + Truncate(double(lineStep_) * i / range_ * height));
      device.FillSolidRect({strip.left + 1, top, strip.right - 1, Clamp32(int64_t{top} + tall)},
                           colour);
    }
  }
  return true;
}

bool TalMonScrollBar::Click(const TalMonRect& rect, uint32_t, TalMonPoint point) {
  if (!Strip(rect).Contains(point)) return false;
  DragTo(rect, point);
  return true;
}
