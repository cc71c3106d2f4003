// The recording device: fixed metrics, every call logged.

#include "textctrl/recording_device.h"

#include <algorithm>
#include <cstdio>

namespace {

const char* OpName(TalMonRecordedCall::Op op) {
  static const char* const kNames[] = {"font", "textcolor", "bkcolor",   "bkmode",
                                       "draw", "measure",   "fill",      "frame3d",
                                       "line", "gradienth", "gradientv", "image"};
  return kNames[op];
}

}  // namespace

TalMonRecordedCall& TalMonRecordingDevice::Log(TalMonRecordedCall::Op op) {
  ++count;
  if (keepCalls) calls.emplace_back();
  TalMonRecordedCall& c = keepCalls ? calls.back() : scratch_;
  c.op = op;
  c.font = font_;
  c.textColour = textColour_;
  c.backColour = backColour_;
  c.mode = mode_;
  return c;
}

int32_t TalMonRecordingDevice::DrawText(const char* text, int32_t length, const TalMonRect& rect,
                                        TalMonPoint origin, uint32_t format) {
  const bool measure = (format & kTalMonDtCalcRect) != 0;
  TalMonRecordedCall& c =
      Log(measure ? TalMonRecordedCall::kMeasureText : TalMonRecordedCall::kDrawText);
  c.rect = rect;
  c.text.assign(text, static_cast<size_t>(std::max(length, 0)));
  c.origin = origin;
  int64_t end = int64_t{origin.x} + int64_t{kCharWidth} * std::max(length, 0);
  if (!measure && end > rect.right) end = std::max<int64_t>(rect.right, origin.x);
  c.reached = static_cast<int32_t>(std::min<int64_t>(end, INT32_MAX));
  return c.reached;
}

TalMonFont TalMonRecordingDevice::SelectFont(TalMonFont font) {
  TalMonFont previous = font_;
  font_ = font;
  Log(TalMonRecordedCall::kSelectFont);
  return previous;
}

void TalMonRecordingDevice::SetTextColor(TalMonColor colour) {
  textColour_ = colour;
  Log(TalMonRecordedCall::kTextColor).colour = colour;
}

void TalMonRecordingDevice::SetBkColor(TalMonColor colour) {
  backColour_ = colour;
  Log(TalMonRecordedCall::kBkColor).colour = colour;
}

void TalMonRecordingDevice::SetBkMode(TalMonBkMode mode) {
  mode_ = mode;
  Log(TalMonRecordedCall::kBkMode);
}

void TalMonRecordingDevice::FillSolidRect(const TalMonRect& rect, TalMonColor colour) {
  TalMonRecordedCall& c = Log(TalMonRecordedCall::kFill);
  c.rect = rect;
  c.colour = colour;
}

void TalMonRecordingDevice::Draw3dRect(const TalMonRect& rect, TalMonColor topLeft,
                                       TalMonColor bottomRight) {
  TalMonRecordedCall& c = Log(TalMonRecordedCall::kFrame3d);
  c.rect = rect;
  c.colour = topLeft;
  c.colour2 = bottomRight;
}

void TalMonRecordingDevice::Line(int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                                 TalMonColor colour) {
  TalMonRecordedCall& c = Log(TalMonRecordedCall::kLine);
  c.rect = {x1, y1, x2, y2};
  c.colour = colour;
}

void TalMonRecordingDevice::GradientH(const TalMonRect& rect, TalMonColor left, TalMonColor right) {
  TalMonRecordedCall& c = Log(TalMonRecordedCall::kGradientH);
  c.rect = rect;
  c.colour = left;
  c.colour2 = right;
}

void TalMonRecordingDevice::GradientV(const TalMonRect& rect, TalMonColor top, TalMonColor bottom) {
  TalMonRecordedCall& c = Log(TalMonRecordedCall::kGradientV);
  c.rect = rect;
  c.colour = top;
  c.colour2 = bottom;
}

bool TalMonRecordingDevice::BlendImage(const char* name, int32_t width, int32_t height,
                                       TalMonPoint at, uint8_t) {
  TalMonRecordedCall& c = Log(TalMonRecordedCall::kImage);
  c.text = name != nullptr ? name : "";
  c.rect = {at.x, at.y, at.x + width, at.y + height};
  return images.count(c.text) != 0;
}

std::vector<TalMonRecordedCall> TalMonRecordingDevice::Of(TalMonRecordedCall::Op op) const {
  std::vector<TalMonRecordedCall> out;
  for (const TalMonRecordedCall& c : calls) {
    if (c.op == op) out.push_back(c);
  }
  return out;
}

std::string TalMonRecordingDevice::Describe() const {
  std::string out;
  char line[256];
  for (const TalMonRecordedCall& c : calls) {
    if (c.op == TalMonRecordedCall::kSelectFont || c.op == TalMonRecordedCall::kTextColor ||
        c.op == TalMonRecordedCall::kBkColor) {
      continue;
    }
    std::snprintf(line, sizeof line, "%s (%d,%d,%d,%d) %08x %08x font %d \"", OpName(c.op),
                  c.rect.left, c.rect.top, c.rect.right, c.rect.bottom, c.colour, c.colour2,
                  static_cast<int>(c.font));
    out += line;
    out += c.text;
    out += "\"\n";
  }
  return out;
}
