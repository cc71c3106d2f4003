// The Qt drawing device of the text control: the interpreter's primitives on a QPainter, with
// the control's five fonts, the desktop's colours from the widget's palette and images found
// by name. Internal to libtalmon-ui; used on the GUI thread during one paint.
#pragma once

#include <QColor>
#include <QFont>
#include <QFontMetrics>
#include <QHash>
#include <QPalette>
#include <QPixmap>
#include <QRect>
#include <QStaticText>
#include <QString>
#include <cstdint>
#include <vector>

#include "talmon/textctrl.h"

class QPainter;

// v within 32 bits: coordinates from the layout and Qt's may be anything.
inline int32_t TalMonClamp32(int64_t v) {
  return static_cast<int32_t>(v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : v);
}

// The colour a device shows for colour: an RGB value as it is, a system colour id through the
// palette's role for it (face: Button, window: Base, window text: Text, shadow: Dark, light
// edge: Light, highlight and caption: Highlight, gradient end: Highlight lightened, caption
// text: HighlightedText). Unknown ids show as the window text colour.
QColor TalMonQtColor(const QPalette& palette, TalMonColor colour);

// What paints of one control share: the five fonts with their metrics, and the images already
// looked up. Rebuilt when the widget's font changes.
class TalMonQtResources {
 public:
  // normal: base; bold: base in bold; typewriter: the system's fixed font, and its bold form;
  // little: base one pixel smaller.
  explicit TalMonQtResources(const QFont& base);

  const QFont& Font(TalMonFont font) const { return fonts_[Index(font)]; }
  const QFontMetrics& Metrics(TalMonFont font) const { return metrics_[Index(font)]; }
  // The image called name (UTF-8) at width x height: the icon theme's icon of that name, else
  // NAME.png in the data directory's icons/ folder. A null pixmap when there is none, for a
  // name that is not a plain file name, and for a file that is not a regular file or whose
  // picture is larger than 4096 x 4096. Each name and size is looked up once.
  QPixmap Image(const char* name, int width, int height);
  // The width of length bytes of UTF-8 text in font, and the text laid out for drawing. A
  // screen repaints the same runs again and again, so both are kept from paint to paint.
  struct Run {
    int width = 0;
    QStaticText text;
  };
  const Run& Measure(TalMonFont font, const char* text, int length);

 private:
  static int Index(TalMonFont font) { return static_cast<int>(font); }

  QFont fonts_[5];
  std::vector<QFontMetrics> metrics_;
  QHash<QString, QPixmap> images_;
  QHash<QByteArray, Run> runs_;
};

class TalMonQtDevice : public TalMonDevice {
 public:
  // Paints with painter inside bounds (the viewport), whose pixels outside it are never
  // touched.
  TalMonQtDevice(QPainter& painter, const QPalette& palette, TalMonQtResources& resources,
                 const QRect& bounds);

  TalMonFont SelectFont(TalMonFont font) override;
  void SetTextColor(TalMonColor colour) override;
  void SetBkColor(TalMonColor colour) override;
  void SetBkMode(TalMonBkMode mode) override;
  int32_t DrawText(const char* text, int32_t length, const TalMonRect& rect, TalMonPoint origin,
                   uint32_t format) override;
  void FillSolidRect(const TalMonRect& rect, TalMonColor colour) override;
  void Draw3dRect(const TalMonRect& rect, TalMonColor topLeft, TalMonColor bottomRight) override;
  void Line(int32_t x1, int32_t y1, int32_t x2, int32_t y2, TalMonColor colour) override;
  void GradientH(const TalMonRect& rect, TalMonColor left, TalMonColor right) override;
  void GradientV(const TalMonRect& rect, TalMonColor top, TalMonColor bottom) override;
  bool BlendImage(const char* name, int32_t width, int32_t height, TalMonPoint at,
                  uint8_t alpha) override;

 private:
  QColor Colour(TalMonColor colour) const { return TalMonQtColor(palette_, colour); }
  // rect within the bounds, as a QRect; empty when nothing of it is visible.
  QRect Visible(const TalMonRect& rect) const;
  void Fill(const TalMonRect& rect, const QColor& colour);
  void Gradient(const TalMonRect& rect, TalMonColor from, TalMonColor to, bool vertical);

  QPainter& painter_;
  const QPalette& palette_;
  TalMonQtResources& resources_;
  QRect bounds_;
  TalMonFont font_ = TalMonFont::kNormal;
  TalMonColor textColour_ = COLOR_WINDOWTEXT;
  TalMonColor backColour_ = COLOR_3DFACE;
  TalMonBkMode mode_ = TalMonBkMode::kOpaque;
  // The font last set on the painter: -1 before the first text.
  int painterFont_ = -1;
};
