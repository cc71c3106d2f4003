// TalMonRecordingDevice: a drawing device with fixed metrics that logs every call, for tests
// of layout rules (this module's, the Qt control's) and the layout benchmark. Internal to
// libtalmon's build; one thread.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "talmon/textctrl.h"

struct TalMonRecordedCall {
  enum Op {
    kSelectFont,
    kTextColor,
    kBkColor,
    kBkMode,
    kDrawText,     // DrawText with kTalMonTextDraw
    kMeasureText,  // DrawText with kTalMonTextMeasure
    kFill,
    kFrame3d,
    kLine,
    kGradientH,
    kGradientV,
    kImage,
  };
  Op op = kSelectFont;
  TalMonRect rect;          // text: the layout rectangle; line: (x1, y1, x2, y2); image: place
  TalMonColor colour = 0;   // fill, line; frame and gradients: the first colour
  TalMonColor colour2 = 0;  // frame: bottom-right; gradients: the second colour
  std::string text;         // text as given; image: its name
  TalMonPoint origin;       // text: where it starts
  int32_t reached = 0;      // text: the x returned
  // The device state when the call was made.
  TalMonFont font = TalMonFont::kNormal;
  TalMonColor textColour = COLOR_WINDOWTEXT;
  TalMonColor backColour = COLOR_3DFACE;
  TalMonBkMode mode = TalMonBkMode::kOpaque;
};

class TalMonRecordingDevice : public TalMonDevice {
 public:
  // Every character is this wide in every font; text fits the 21 px row.
  static constexpr int32_t kCharWidth = 7;

  // Measuring gives origin.x + 7 per byte. Drawing gives the same while the text fits before
  // rect.right, else rect.right (the text is cut with an ellipsis), never less than origin.x.
  int32_t DrawText(const char* text, int32_t length, const TalMonRect& rect, TalMonPoint origin,
                   uint32_t format) override;
  TalMonFont SelectFont(TalMonFont font) override;
  void SetTextColor(TalMonColor colour) override;
  void SetBkColor(TalMonColor colour) override;
  void SetBkMode(TalMonBkMode mode) override;
  void FillSolidRect(const TalMonRect& rect, TalMonColor colour) override;
  void Draw3dRect(const TalMonRect& rect, TalMonColor topLeft, TalMonColor bottomRight) override;
  void Line(int32_t x1, int32_t y1, int32_t x2, int32_t y2, TalMonColor colour) override;
  void GradientH(const TalMonRect& rect, TalMonColor left, TalMonColor right) override;
  void GradientV(const TalMonRect& rect, TalMonColor top, TalMonColor bottom) override;
  // Logged either way; true only for names in images.
  bool BlendImage(const char* name, int32_t width, int32_t height, TalMonPoint at,
                  uint8_t alpha) override;

  // The calls of one kind, in order.
  std::vector<TalMonRecordedCall> Of(TalMonRecordedCall::Op op) const;
  // One line per call, for failure messages.
  std::string Describe() const;
  void Clear() {
    calls.clear();
    count = 0;
  }

  std::vector<TalMonRecordedCall> calls;
  // Every call counts; with keepCalls false nothing is logged (long inputs).
  uint64_t count = 0;
  bool keepCalls = true;
  std::set<std::string> images;

 private:
  TalMonRecordedCall& Log(TalMonRecordedCall::Op op);

  TalMonRecordedCall scratch_;
  TalMonFont font_ = TalMonFont::kNormal;
  TalMonColor textColour_ = COLOR_WINDOWTEXT;
  TalMonColor backColour_ = COLOR_3DFACE;
  TalMonBkMode mode_ = TalMonBkMode::kOpaque;
};
