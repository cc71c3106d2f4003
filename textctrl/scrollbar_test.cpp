// Scroll bar rules and the self-drawn bar's geometry.

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "talmon/scrollbar.h"
#include "textctrl/recording_device.h"

namespace {

TalMonScrollBar Bar(int32_t range, int32_t page, int32_t pos) {
  TalMonScrollBar bar;
  bar.SetRange(range, page);
  bar.SetPos(pos);
  return bar;
}

TEST(ScrollBar, ScrollRequests) {
  const struct {
    int32_t range, page, pos;
    int code;
    int32_t position;
    bool result;
    int32_t expected;
  } cases[] = {
      {100, 30, 0, SB_BOTTOM, 0, true, 70},
      {20, 30, 5, SB_BOTTOM, 0, true, 0},  // content shorter than the page
      {100, 30, 70, SB_LINEDOWN, 0, true, 70},
      {100, 30, 10, SB_LINEDOWN, 0, true, 11},
      {100, 30, 0, SB_LINEUP, 0, true, 0},
      {100, 30, 50, SB_PAGEUP, 0, true, 20},
      {100, 30, 50, SB_PAGEDOWN, 0, true, 70},
      {100, 30, 50, SB_TOP, 0, true, 0},
      {100, 30, 0, SB_THUMBTRACK, 40, true, 40},
      {100, 30, 0, SB_THUMBPOSITION, 90, true, 70},
      {100, 30, 0, SB_THUMBPOSITION, -5, true, 0},
      {100, 30, 0, SB_THUMBTRACK, INT32_MAX, true, 70},
      {100, 30, 50, SB_ENDSCROLL, 10, false, 50},
      {100, 30, 50, -1, 10, false, 50},
      {INT32_MAX, 30, INT32_MAX, SB_LINEDOWN, 0, true, INT32_MAX - 30},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "range " << c.range << " page " << c.page << " pos " << c.pos
                                    << " code " << c.code << " " << c.position);
    TalMonScrollBar bar = Bar(c.range, c.page, c.pos);
    EXPECT_EQ(bar.Scroll(c.code, c.position), c.result);
    EXPECT_EQ(bar.GetPos(), c.expected);
  }
}

TEST(ScrollBar, ResizeKeepsTheEndInView) {
  const struct {
    int32_t range, page, pos, newPage, expected;
  } cases[] = {
      {100, 30, 70, 40, 60},                         // at the end: stays at the end
      {100, 30, 70, 20, 80}, {100, 30, 10, 40, 10},  // elsewhere: stays
      {100, 30, 65, 40, 60},                         // not at the end, but clamped
      {20, 30, 0, 10, 0},                            // everything was visible: not "at the end"
  };
  for (const auto& c : cases) {
    TalMonScrollBar bar = Bar(c.range, c.page, c.pos);
    bar.Resize(c.newPage);
    EXPECT_EQ(bar.GetPos(), c.expected)
        << "case: pos " << c.pos << " page " << c.page << " => " << c.newPage;
  }
}

class Marks : public TalMonScrollMarkers {
 public:
  uint32_t GetMarkerCount() override { return 4; }
  bool GetMarkerColor(uint32_t index, TalMonColor& colour) override {
    if (index == 3) colour = kTalMonErrorColor;
    return index != 1;  // row 1 has no mark; the others keep the default white
  }
};

TEST(ScrollBar, DrawsStripThumbAndMarkers) {
  // Client (0, 0, 200, 100): strip (185, 0, 200, 100), 100 px for 10 rows.
  TalMonScrollBar bar = Bar(10, 4, 3);
  TalMonRecordingDevice device;
  Marks marks;
  EXPECT_TRUE(bar.Draw(device, {0, 0, 200, 100}, {0, 0}, false, &marks));
  std::vector<std::pair<TalMonRect, TalMonColor>> fills;
  for (const auto& f : device.Of(TalMonRecordedCall::kFill))
    fills.emplace_back(f.rect, f.colour);
  const TalMonRect thumb{185, 30, 200, 71};  // 40 px, one more
  EXPECT_EQ(fills, (std::vector<std::pair<TalMonRect, TalMonColor>>{
                       {{185, 0, 200, 100}, COLOR_WINDOW},
                       {thumb, COLOR_3DFACE},
                       {{186, 0, 199, 10}, kTalMonWhite},
                       {{186, 20, 199, 30}, kTalMonWhite},
                       {{186, 30, 199, 40}, kTalMonErrorColor}}))
      << device.Describe();
  auto frames = device.Of(TalMonRecordedCall::kFrame3d);
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].rect, thumb);
  EXPECT_EQ(frames[0].colour, COLOR_BTNHIGHLIGHT);

  // With the button down over the strip, the position follows the point first.
  EXPECT_TRUE(bar.Draw(device, {0, 0, 200, 100}, {190, 85}, true, nullptr));
  EXPECT_EQ(bar.GetPos(), 6);  // 8.5 clamped to range - page
  // Hidden while everything fits.
  device.Clear();
  EXPECT_TRUE(Bar(3, 4, 0).Draw(device, {0, 0, 200, 100}, {0, 0}, false, nullptr));
  EXPECT_TRUE(device.calls.empty());
  // A negative count is no rows, and the position is kept as it is: strip only, false.
  bar.SetCount(-4, -1);
  EXPECT_EQ(bar.GetRange(), 0);
  EXPECT_EQ(bar.GetPos(), 6);
  EXPECT_FALSE(bar.Draw(device, {0, 0, 200, 100}, {0, 0}, false, nullptr));
  EXPECT_EQ(device.Of(TalMonRecordedCall::kFill).size(), 1u);
}

TEST(ScrollBar, ClickHitsTheStripOnly) {
  const struct {
    TalMonPoint point;
    bool hit;
    int32_t pos;
  } cases[] = {
      {{185, 50}, true, 5},  {{199, 0}, true, 0},   {{199, 99}, true, 6},
      {{184, 50}, false, 2}, {{200, 50}, false, 2}, {{190, 100}, false, 2},
  };
  for (const auto& c : cases) {
    TalMonScrollBar bar = Bar(10, 4, 2);
    EXPECT_EQ(bar.Click({0, 0, 200, 100}, 0, c.point), c.hit)
        << "case: " << c.point.x << "," << c.point.y;
    EXPECT_EQ(bar.GetPos(), c.pos) << "case: " << c.point.x << "," << c.point.y;
  }
  // A bar that is not shown takes no click.
  EXPECT_FALSE(Bar(3, 4, 0).Click({0, 0, 200, 100}, 0, {199, 50}));
}

}  // namespace
