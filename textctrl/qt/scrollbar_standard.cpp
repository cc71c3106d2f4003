// The standard bars: the scrolling state lives in the area's own QScrollBar.

#include <QScrollBar>
#include <algorithm>

#include "talmon/text_ctrl.h"

TalScrollBarStandard::TalScrollBarStandard(QAbstractScrollArea* area, int kind)
    : area_(area), kind_(kind == SB_HORZ ? SB_HORZ : SB_VERT) {}

TalScrollBarStandard::~TalScrollBarStandard() = default;

QScrollBar* TalScrollBarStandard::Bar() const {
  return kind_ == SB_HORZ ? area_->horizontalScrollBar() : area_->verticalScrollBar();
}

// The bar's maximum is the last position at which a full page still fits.
void TalScrollBarStandard::Apply() {
  QScrollBar* bar = Bar();
  const int64_t maximum = std::max<int64_t>(0, int64_t{range_} - page_);
  bar->setRange(0, static_cast<int>(maximum));
  bar->setPageStep(std::max(page_, 0));
}

bool TalScrollBarStandard::Scroll(int code, int32_t position) {
  if (code == SB_THUMBPOSITION || code == SB_THUMBTRACK) position = Bar()->sliderPosition();
  return TalScrollBarBase::Scroll(code, position);
}

int32_t TalScrollBarStandard::GetRange() const {
  return range_;
}

bool TalScrollBarStandard::SetRange(int32_t range, int32_t page) {
  range_ = range;
  page_ = page;
  Apply();
  return true;
}

int32_t TalScrollBarStandard::GetPos() const {
  return Bar()->value();
}

// The bar keeps its value within [0, maximum]: a position past it is stored as the maximum.
bool TalScrollBarStandard::SetPos(int32_t position) {
  Bar()->setValue(position);
  return true;
}

int32_t TalScrollBarStandard::GetPage() const {
  return page_;
}

bool TalScrollBarStandard::SetPage(int32_t page) {
  page_ = page;
  Apply();
  return true;
}
