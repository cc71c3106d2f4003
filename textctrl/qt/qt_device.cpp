// The Qt drawing device. Coordinates from the layout may be huge or inverted (rows of any
// bytes); everything is cut to the viewport before it reaches the painter.

#include "textctrl/qt/qt_device.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QFontInfo>
#include <QIcon>
#include <QImageReader>
#include <QLinearGradient>
#include <QPainter>
#include <algorithm>

#include "talmon/image_path.h"

namespace {

constexpr int kMaxImageSide = 4096;
// Looked-up images and measured runs kept per control; each cache starts over when full.
constexpr int kMaxCachedImages = 256;
constexpr int kMaxCachedRuns = 4096;
// Longer runs are measured each time rather than kept.
constexpr int kMaxCachedRunLength = 512;

QPixmap ImageFromFile(const char* name, int width, int height) {
  char path[512];
  if (!TalMonImagePath(name, path, sizeof path)) return {};
  // A FIFO or a device under that name would block the paint or never end.
  const QString file = QString::fromLocal8Bit(path);
  if (!QFileInfo(file).isFile()) return {};
  QImageReader reader(file);
  const QSize size = reader.size();
  if (!size.isValid() || size.width() > kMaxImageSide || size.height() > kMaxImageSide) return {};
  reader.setScaledSize(QSize(width, height));
  const QImage image = reader.read();
  return image.isNull() ? QPixmap() : QPixmap::fromImage(image);
}

}  // namespace

QColor TalMonQtColor(const QPalette& palette, TalMonColor colour) {
  if (!TalMonIsSysColor(colour)) {
    return QColor(colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
  }
  switch (colour) {
    case COLOR_3DFACE:
      return palette.color(QPalette::Button);
    case COLOR_WINDOW:
      return palette.color(QPalette::Base);
    case COLOR_BTNSHADOW:
      return palette.color(QPalette::Dark);
    case COLOR_BTNHIGHLIGHT:
      return palette.color(QPalette::Light);
    case COLOR_HIGHLIGHT:
    case COLOR_ACTIVECAPTION:
      return palette.color(QPalette::Highlight);
    case COLOR_GRADIENTACTIVECAPTION:
      return palette.color(QPalette::Highlight).lighter(170);
    case COLOR_CAPTIONTEXT:
      return palette.color(QPalette::HighlightedText);
    default:
      return palette.color(QPalette::Text);
  }
}

TalMonQtResources::TalMonQtResources(const QFont& base) {
  QFont bold = base;
  bold.setBold(true);
  QFont typewriter = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  QFont boldTypewriter = typewriter;
  boldTypewriter.setBold(true);
  QFont little = base;
  little.setPixelSize(std::max(1, QFontInfo(base).pixelSize() - 1));
  fonts_[Index(TalMonFont::kNormal)] = base;
  fonts_[Index(TalMonFont::kBold)] = bold;
  fonts_[Index(TalMonFont::kTypewriter)] = typewriter;
  fonts_[Index(TalMonFont::kBoldTypewriter)] = boldTypewriter;
  fonts_[Index(TalMonFont::kLittle)] = little;
  for (const QFont& font : fonts_)
    metrics_.emplace_back(font);
}

QPixmap TalMonQtResources::Image(const char* name, int width, int height) {
  const QString key = QString::fromUtf8(name) + QLatin1Char('/') + QString::number(width) +
                      QLatin1Char('x') + QString::number(height);
  auto found = images_.constFind(key);
  if (found != images_.constEnd()) return found.value();
  QPixmap pixmap;
  char path[512];
  // The theme is asked only for names that could also be file names: no paths, no "..".
  if (TalMonImagePath(name, path, sizeof path)) {
    const QIcon icon = QIcon::fromTheme(QString::fromUtf8(name));
    pixmap = icon.isNull() ? ImageFromFile(name, width, height) : icon.pixmap(QSize(width, height));
  }
  if (images_.size() >= kMaxCachedImages) images_.clear();
  images_.insert(key, pixmap);
  return pixmap;
}

const TalMonQtResources::Run& TalMonQtResources::Measure(TalMonFont font, const char* text,
                                                         int length) {
  QByteArray key;
  key.reserve(length + 1);
  key.append(static_cast<char>(Index(font))).append(text, length);
  auto found = runs_.constFind(key);
  if (found != runs_.constEnd()) return found.value();
  if (runs_.size() >= kMaxCachedRuns) runs_.clear();
  Run run;
  const QString s = QString::fromUtf8(text, length);
  run.width = Metrics(font).horizontalAdvance(s);
  run.text.setText(s);
  run.text.setTextFormat(Qt::PlainText);
  run.text.setPerformanceHint(QStaticText::AggressiveCaching);
  if (length > kMaxCachedRunLength) {
    static thread_local Run scratch;
    scratch = run;
    return scratch;
  }
  return runs_.insert(key, run).value();
}

TalMonQtDevice::TalMonQtDevice(QPainter& painter, const QPalette& palette,
                               TalMonQtResources& resources, const QRect& bounds)
    : painter_(painter), palette_(palette), resources_(resources), bounds_(bounds) {}

TalMonFont TalMonQtDevice::SelectFont(TalMonFont font) {
  const TalMonFont previous = font_;
  font_ = font;
  return previous;
}

void TalMonQtDevice::SetTextColor(TalMonColor colour) {
  textColour_ = colour;
}

void TalMonQtDevice::SetBkColor(TalMonColor colour) {
  backColour_ = colour;
}

void TalMonQtDevice::SetBkMode(TalMonBkMode mode) {
  mode_ = mode;
}

QRect TalMonQtDevice::Visible(const TalMonRect& rect) const {
  const int64_t left = std::max<int64_t>(rect.left, bounds_.left());
  const int64_t top = std::max<int64_t>(rect.top, bounds_.top());
  const int64_t right = std::min<int64_t>(rect.right, int64_t{bounds_.right()} + 1);
  const int64_t bottom = std::min<int64_t>(rect.bottom, int64_t{bounds_.bottom()} + 1);
  if (left >= right || top >= bottom) return {};
  return QRect(static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
               static_cast<int>(bottom - top));
}

void TalMonQtDevice::Fill(const TalMonRect& rect, const QColor& colour) {
  const QRect r = Visible(rect);
  if (!r.isEmpty()) painter_.fillRect(r, colour);
}

int32_t TalMonQtDevice::DrawText(const char* text, int32_t length, const TalMonRect& rect,
                                 TalMonPoint origin, uint32_t format) {
  if (text == nullptr || length <= 0) return origin.x;
  const QFontMetrics& metrics = resources_.Metrics(font_);
  const TalMonQtResources::Run& run = resources_.Measure(font_, text, length);
  int64_t width = run.width;
  if ((format & kTalMonDtCalcRect) != 0) return TalMonClamp32(origin.x + width);

  const int64_t room = int64_t{rect.right} - origin.x;
  if (room <= 0) return origin.x;
  QString elided;
  if (width > room) {
    elided = metrics.elidedText(run.text.text(), Qt::ElideRight, static_cast<int>(room));
    width = metrics.horizontalAdvance(elided);
  }
  const int32_t end = TalMonClamp32(origin.x + width);
  // The text's top sits at origin.y (the current position, two pixels into the row), as the
  // boxes drawn around text expect; the row's bottom edge cuts what a tall font would pass.
  const TalMonRect cell{origin.x, origin.y, end,
                        std::min(TalMonClamp32(int64_t{origin.y} + metrics.height()), rect.bottom)};
  const QRect visible = Visible(cell);
  if (visible.isEmpty()) return end;
  if (mode_ == TalMonBkMode::kOpaque) painter_.fillRect(visible, Colour(backColour_));
  if (painterFont_ != static_cast<int>(font_)) {
    painter_.setFont(resources_.Font(font_));
    painterFont_ = static_cast<int>(font_);
  }
  painter_.setPen(Colour(textColour_));
  const bool cut = int64_t{origin.y} + metrics.height() > rect.bottom;
  if (cut) {
    painter_.save();
    painter_.setClipRect(visible);
  }
  if (elided.isNull()) {
    painter_.drawStaticText(QPoint(origin.x, origin.y), run.text);
  } else {
    painter_.drawText(QPoint(origin.x, origin.y + metrics.ascent()), elided);
  }
  if (cut) painter_.restore();
  return end;
}

void TalMonQtDevice::FillSolidRect(const TalMonRect& rect, TalMonColor colour) {
  Fill(rect, Colour(colour));
}

void TalMonQtDevice::Draw3dRect(const TalMonRect& r, TalMonColor topLeft, TalMonColor bottomRight) {
  if (r.Width() <= 0 || r.Height() <= 0) return;
  const QColor tl = Colour(topLeft);
  const QColor br = Colour(bottomRight);
  Fill({r.left, r.top, r.right - 1, r.top + 1}, tl);
  Fill({r.left, r.top, r.left + 1, r.bottom - 1}, tl);
  Fill({r.right - 1, r.top, r.right, r.bottom}, br);
  Fill({r.left, r.bottom - 1, r.right, r.bottom}, br);
}

void TalMonQtDevice::Line(int32_t x1, int32_t y1, int32_t x2, int32_t y2, TalMonColor colour) {
  const QColor c = Colour(colour);
  if (y1 == y2) {
    // The end point is not drawn, whichever way the line runs.
    Fill({std::min(x1, x2) + (x2 < x1 ? 1 : 0), y1, std::max(x1, x2) + (x2 < x1 ? 1 : 0), y1 + 1},
         c);
  } else if (x1 == x2) {
    Fill({x1, std::min(y1, y2) + (y2 < y1 ? 1 : 0), x1 + 1, std::max(y1, y2) + (y2 < y1 ? 1 : 0)},
         c);
  } else if (Visible(
                 {std::min(x1, x2), std::min(y1, y2), std::max(x1, x2) + 1, std::max(y1, y2) + 1})
                 .isEmpty() == false) {
    painter_.setPen(c);
    painter_.drawLine(x1, y1, x2, y2);
  }
}

void TalMonQtDevice::Gradient(const TalMonRect& rect, TalMonColor from, TalMonColor to,
                              bool vertical) {
  const QRect visible = Visible(rect);
  if (visible.isEmpty()) return;
  // The gradient spans the whole rectangle even where only part of it is visible.
  QLinearGradient gradient(rect.left, rect.top, vertical ? rect.left : rect.right,
                           vertical ? rect.bottom : rect.top);
  gradient.setColorAt(0, Colour(from));
  gradient.setColorAt(1, Colour(to));
  painter_.fillRect(visible, gradient);
}

void TalMonQtDevice::GradientH(const TalMonRect& rect, TalMonColor left, TalMonColor right) {
  Gradient(rect, left, right, false);
}

void TalMonQtDevice::GradientV(const TalMonRect& rect, TalMonColor top, TalMonColor bottom) {
  Gradient(rect, top, bottom, true);
}

bool TalMonQtDevice::BlendImage(const char* name, int32_t width, int32_t height, TalMonPoint at,
                                uint8_t alpha) {
  if (name == nullptr || width <= 0 || height <= 0) return false;
  const QPixmap pixmap = resources_.Image(name, width, height);
  if (pixmap.isNull()) return false;
  if (Visible(
          {at.x, at.y, TalMonClamp32(int64_t{at.x} + width), TalMonClamp32(int64_t{at.y} + height)})
          .isEmpty()) {
    return true;
  }
  painter_.save();
  painter_.setOpacity(alpha / 255.0);
  painter_.drawPixmap(QRect(at.x, at.y, width, height), pixmap);
  painter_.restore();
  return true;
}
