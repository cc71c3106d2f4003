// The row loop of a paint: background, frame, which rows are drawn where when scrolled, and
// what the paint reports back.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "textctrl/layout_testing.h"

namespace {

using talmon_test::PaintRows;
using Op = TalMonRecordedCall;

std::vector<std::string> NumberedRows(int n) {
  std::vector<std::string> rows;
  for (int i = 0; i < n; ++i)
    rows.push_back("r" + std::to_string(i));
  return rows;
}

TEST(Paint, ScrolledRowsAndTheEndOfTheView) {
  struct Case {
    const char* name;
    int32_t height, range, page, pos;
    const char* firstRow;  // the first row of the drawing pass and its top, then the next top
    int32_t firstTop, secondTop;
    const char* lastRow;  // the last row drawn and its bottom
    int32_t lastBottom;
  };
  const Case cases[] = {
      // 100 px inside the margins: 100 mod 21 = 16 > 11, so the rows move up by 5 px and the
      // last row's bottom meets the bottom margin.
      {"at the end", 110, 10, 5, 5, "r4", -21, 0, "r9", 105},
      {"not at the end", 110, 10, 5, 2, "r1", -16, 5, "r7", 131},
      // 95 px: 95 mod 21 = 11, not above 11: moved down by 11 px instead.
      {"small remainder", 105, 9, 4, 5, "r4", -5, 16, "r8", 100},
      {"at the top", 110, 10, 5, 0, "r0", 5, 26, "r5", 131},
      {"everything fits", 110, 3, 5, 0, "r0", 5, 26, "r2", 68},
  };
  for (const Case& c : cases) {
    TalMonScrollBar bar;
    bar.SetRange(c.range, c.page);
    bar.SetPos(c.pos);
    TalMonPaintInput input;
    input.vertical = &bar;
    auto paint = PaintRows(NumberedRows(c.range), input, 200, c.height);
    auto texts = paint.device.Of(Op::kDrawText);
    ASSERT_GE(texts.size(), 2u) << "case: " << c.name;
    EXPECT_EQ(texts[0].text, c.firstRow) << "case: " << c.name;
    EXPECT_EQ(texts[0].rect.top, c.firstTop) << "case: " << c.name;
    EXPECT_EQ(texts[1].rect.top, c.secondTop) << "case: " << c.name;
    EXPECT_EQ(texts.back().text, c.lastRow) << "case: " << c.name;
    EXPECT_EQ(texts.back().rect.bottom, c.lastBottom) << "case: " << c.name;
    // The bar's width comes off the right edge while the content does not fit.
    EXPECT_EQ(texts[0].rect.right, c.page < c.range ? 200 - 16 - 5 : 195) << "case: " << c.name;
    EXPECT_EQ(bar.GetPos(), c.pos) << "case: " << c.name;  // painting never scrolls
  }
}

TEST(Paint, FrameOpensWhereTheContentGoesOn) {
  struct Case {
    const char* name;
    std::vector<std::string> rows;
    int32_t hpos, vpos;  // -1: no bar
    TalMonRect frame;
  };
  const Case cases[] = {
      {"all visible", NumberedRows(2), -1, -1, {0, 0, 200, 110}},
      {"more rows below", NumberedRows(10), -1, -1, {0, 0, 200, 111}},
      {"wider content", {std::string(40, 'w')}, -1, -1, {0, 0, 201, 110}},
      {"scrolled both ways", NumberedRows(10), 5, 1, {-1, -1, 185, 111}},
      {"scrolled to the right end", {std::string(40, 'w')}, 85, -1, {-1, 0, 200, 110}},
  };
  for (const Case& c : cases) {
    TalMonScrollBar horizontal, vertical;
    horizontal.SetRange(1000, 200);
    horizontal.SetPos(c.hpos);
    vertical.SetRange(10, 5);
    vertical.SetPos(c.vpos);
    TalMonPaintInput input;
    input.border = true;
    if (c.hpos >= 0) input.horizontal = &horizontal;
    if (c.vpos >= 0) input.vertical = &vertical;
    auto paint = PaintRows(c.rows, input, 200, 110);
    auto frames = paint.device.Of(Op::kFrame3d);
    ASSERT_EQ(frames.size(), 1u) << "case: " << c.name;
    EXPECT_EQ(frames[0].rect, c.frame) << "case: " << c.name;
    EXPECT_EQ(frames[0].colour, COLOR_BTNHIGHLIGHT) << "case: " << c.name;
    EXPECT_EQ(frames[0].colour2, COLOR_BTNSHADOW) << "case: " << c.name;
    EXPECT_EQ(paint.output.contentHeight, 21 * static_cast<int32_t>(c.rows.size()))
        << "case: " << c.name;
  }
}

TEST(Paint, BackgroundAndReportedSizes) {
  // Without a reader only the background is painted.
  TalMonRecordingDevice device;
  TalMonTextLayout layout;
  TalMonPaintInput input;
  input.client = {0, 0, 200, 110};
  TalMonPaintOutput output;
  EXPECT_TRUE(layout.Draw(device, input, output));
  auto fills = device.Of(Op::kFill);
  ASSERT_EQ(fills.size(), 1u);
  EXPECT_EQ(fills[0].rect, (TalMonRect{0, 0, 200, 110}));
  EXPECT_EQ(fills[0].colour, COLOR_3DFACE);
  EXPECT_TRUE(device.Of(Op::kGradientV).empty());
  EXPECT_EQ(output.contentWidth, 0);

  // Background mode 1: a gradient, and text drawn transparent.
  input.backgroundMode = 1;
  TalMonScrollBar horizontal;
  horizontal.SetRange(1000, 200);
  horizontal.SetPos(30);
  input.horizontal = &horizontal;
  auto paint = PaintRows({"abc", "(field x)"}, input, 200, 110);
  auto gradients = paint.device.Of(Op::kGradientV);
  ASSERT_EQ(gradients.size(), 1u);
  EXPECT_EQ(gradients[0].rect, (TalMonRect{0, 0, 200, 110}));
  EXPECT_EQ(gradients[0].colour, COLOR_BTNHIGHLIGHT);
  EXPECT_EQ(gradients[0].colour2, COLOR_3DFACE);
  auto texts = paint.device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0].mode, TalMonBkMode::kTransparent);
  EXPECT_EQ(texts[0].origin.x, 5 - 30);  // scrolled 30 px to the right
  // The widest row reached the row's right edge (the field box takes the row).
  EXPECT_EQ(paint.output.contentWidth, 195);
}

}  // namespace
