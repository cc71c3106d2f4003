// The terminal device and the terminal rendering of monitor rows.

#include "talmon/terminal.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr uint32_t kMaxColumns = 1u << 16;
constexpr uint32_t kMaxRows = 1u << 20;
constexpr char32_t kUnsafe = U'?';
constexpr char32_t kEllipsis = U'\u2026';
constexpr char32_t kFullBlock = U'\u2588';  // the eighths follow: U+2589 is 7/8 ... U+258F 1/8
constexpr char32_t kTrack = U'\u2591';
constexpr char32_t kRule = U'\u2500';
constexpr char32_t kDivider = U'\u2502';
constexpr char32_t kBullet = U'\u2022';
constexpr char32_t kChecked = U'\u2612';
constexpr char32_t kUnchecked = U'\u2610';

// The character an ASCII byte shows as (DecodeShown).
inline char32_t ShownAscii(unsigned char b) {
  return b == '\t' ? U' ' : (b < 0x20 || b == 0x7F) ? kUnsafe : char32_t{b};
}

// Walks UTF-8 text, calling emit for each character shown: a valid sequence gives its code
// point; a tab a blank; control characters (C0, DEL, C1) and bytes that are no valid UTF-8
// give "?", one per byte, so that nothing a row holds can reach the terminal as a command.
template <typename F>
void DecodeShown(const char* text, size_t length, F emit) {
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  size_t i = 0;
  while (i < length) {
    unsigned char b = s[i];
    if (b < 0x80) {
      emit(ShownAscii(b));
      ++i;
      continue;
    }
    size_t need = 0;
    char32_t cp = 0;
    char32_t min = 0;
    if (b >= 0xC2 && b <= 0xDF) {
      need = 1, cp = b & 0x1F, min = 0x80;
    } else if (b >= 0xE0 && b <= 0xEF) {
      need = 2, cp = b & 0x0F, min = 0x800;
    } else if (b >= 0xF0 && b <= 0xF4) {
      need = 3, cp = b & 0x07, min = 0x10000;
    }
    bool ok = need != 0;
    for (size_t k = 1; ok && k <= need; ++k) {
      if (i + k >= length || (s[i + k] & 0xC0) != 0x80) {
        ok = false;
      } else {
        cp = (cp << 6) | (s[i + k] & 0x3F);
      }
    }
    if (ok && (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))) ok = false;
    if (!ok) {
      emit(kUnsafe);
      ++i;
      continue;
    }
    emit(cp <= 0x9F ? kUnsafe : cp);
    i += need + 1;
  }
}

// The length of the ASCII run text starts with. Rows are mostly ASCII: such a run takes a
// cell per byte, and DecodeShown resumes after it as it would have at that byte.
size_t AsciiRun(const char* text, size_t length) {
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  size_t n = 0;
  // Eight bytes at a time while none has its high bit set.
  for (uint64_t word = 0; n + sizeof word <= length; n += sizeof word) {
    std::memcpy(&word, s + n, sizeof word);
    if ((word & 0x8080808080808080ull) != 0) break;
  }
  while (n < length && s[n] < 0x80)
    ++n;
  return n;
}

// How many cells the text takes: one per character shown (DecodeShown).
int64_t CountShown(const char* text, size_t length) {
  const size_t ascii = AsciiRun(text, length);
  int64_t cells = static_cast<int64_t>(ascii);
  DecodeShown(text + ascii, length - ascii, [&](char32_t) { ++cells; });
  return cells;
}

// Writes the UTF-8 of cp at p (room for 4 bytes); returns the end.
inline char* PutUtf8(char* p, char32_t cp) {
  if (cp < 0x80) {
    *p++ = static_cast<char>(cp);
  } else if (cp < 0x800) {
    *p++ = static_cast<char>(0xC0 | (cp >> 6));
    *p++ = static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    *p++ = static_cast<char>(0xE0 | (cp >> 12));
    *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *p++ = static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    *p++ = static_cast<char>(0xF0 | (cp >> 18));
    *p++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *p++ = static_cast<char>(0x80 | (cp & 0x3F));
  }
  return p;
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
    return;
  }
  char bytes[4];
  out.append(bytes, static_cast<size_t>(PutUtf8(bytes, cp) - bytes));
}

// A link target as it may stand inside OSC 8: printable ASCII, other bytes percent-encoded,
// control characters dropped (an ESC or BEL would end the sequence early).
std::string SafeTarget(const char* target) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const unsigned char* p = reinterpret_cast<const unsigned char*>(target); *p; ++p) {
    if (*p < 0x20 || *p == 0x7F) continue;
    if (*p >= 0x80) {
      out += '%';
      out += kHex[*p >> 4];
      out += kHex[*p & 0xF];
    } else {
      out += static_cast<char>(*p);
    }
  }
  return out;
}

int64_t FloorDiv(int64_t a, int64_t b) {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// A window of count rows of another reader, from first: the rows a terminal shows.
class RowWindow : public IMonitorReader {
 public:
  RowWindow(IMonitorReader& reader, uint32_t first, uint32_t count)
      : reader_(reader), first_(first), count_(count) {}
  bool GetCount(uint32_t& count) override {
    count = count_;
    return true;
  }
  bool GetRow(uint32_t row, const char*& text, uint32_t& length) override {
    return row < count_ && reader_.GetRow(first_ + row, text, length);
  }

 private:
  IMonitorReader& reader_;
  uint32_t first_;
  uint32_t count_;
};

}  // namespace

TalMonTerminalDevice::TalMonTerminalDevice(const TalMonTerminalOptions& options)
    : options_(options) {
  options_.columns = std::min(options_.columns, kMaxColumns);
}

TalMonTerminalDevice::~TalMonTerminalDevice() = default;

void TalMonTerminalDevice::Reset() {
  // The cells' storage stays for the next paint.
  lines_.clear();
  rows_.clear();
  next_ = 0;
  line_ = nullptr;
  lineCells_ = nullptr;
  links_.clear();
  font_ = TalMonFont::kNormal;
  textColour_ = COLOR_WINDOWTEXT;
  backColour_ = COLOR_3DFACE;
  mode_ = TalMonBkMode::kOpaque;
}

TalMonTerminalDevice::Cell TalMonTerminalDevice::Blank() {
  return Cell{U' ', 0, false, false, false, false, false, 0};
}

int64_t TalMonTerminalDevice::ColumnOf(int32_t x) const {
  // The nearest cell boundary: the layout's small insets (2 to 4 px) vanish, and an icon's
  // 20 px take three cells.
  return FloorDiv(int64_t{x} - kMargin + kCellWidth / 2, kCellWidth);
}

TalMonTerminalDevice::Cell* TalMonTerminalDevice::Reach(int64_t end) {
  if (line_ == nullptr) return nullptr;
  const auto want = static_cast<uint32_t>(std::clamp<int64_t>(end, 0, options_.columns));
  if (line_->painted < want) {
    std::fill(lineCells_ + line_->painted, lineCells_ + want, Blank());
    line_->painted = want;
  }
  return lineCells_;
}

template <typename F>
void TalMonTerminalDevice::ForCells(int32_t fromX, int32_t toX, F paint) {
  if (line_ == nullptr) return;
  const int64_t from = std::max<int64_t>(ColumnOf(fromX), 0);
  const int64_t to = std::min<int64_t>(ColumnOf(toX), options_.columns);
  if (from >= to) return;
  Cell* cells = Reach(to);
  for (int64_t c = from; c < to; ++c)
    paint(cells[c], c);
}

void TalMonTerminalDevice::Put(int64_t column, char32_t ch) {
  if (line_ == nullptr || column < 0 || column >= int64_t{options_.columns}) return;
  Reach(column + 1)[column].ch = ch;
}

void TalMonTerminalDevice::BeginRow(uint32_t row, int32_t) {
  // Both passes of a paint begin the same rows in the same ascending order: a new row is
  // nearly always appended, an old one found by its number.
  auto at = rows_.end();
  if (!rows_.empty() && rows_.back().first >= row) {
    // The row after the last one begun is the likely one in the second pass.
    const size_t next = next_ < rows_.size() && rows_[next_].first == row ? next_ : rows_.size();
    at = next < rows_.size() ? rows_.begin() + static_cast<std::ptrdiff_t>(next)
                             : std::lower_bound(rows_.begin(), rows_.end(), row,
                                                [](const std::pair<uint32_t, size_t>& r,
                                                   uint32_t n) { return r.first < n; });
  }
  const size_t columns = options_.columns;
  if (at == rows_.end() || at->first != row) {
    if (lines_.size() == capacity_) {
      // Only the painted cells move; the rest of each line is blank by its count.
      const size_t capacity = std::max<size_t>(capacity_ * 2, 16);
      std::unique_ptr<Cell[]> cells(new Cell[capacity * columns]);
      for (size_t k = 0; k < lines_.size(); ++k)
        std::copy_n(cells_.get() + k * columns, lines_[k].painted, cells.get() + k * columns);
      cells_ = std::move(cells);
      capacity_ = capacity;
    }
    at = rows_.insert(at, {row, lines_.size()});
    lines_.push_back(RowLine{0});
  }
  next_ = static_cast<size_t>(at - rows_.begin()) + 1;
  line_ = &lines_[at->second];
  lineCells_ = cells_.get() + at->second * columns;
}

TalMonFont TalMonTerminalDevice::SelectFont(TalMonFont font) {
  TalMonFont previous = font_;
  font_ = font;
  return previous;
}

void TalMonTerminalDevice::SetTextColor(TalMonColor colour) {
  textColour_ = colour;
}
void TalMonTerminalDevice::SetBkColor(TalMonColor colour) {
  backColour_ = colour;
}
void TalMonTerminalDevice::SetBkMode(TalMonBkMode mode) {
  mode_ = mode;
}

int32_t TalMonTerminalDevice::DrawText(const char* text, int32_t length, const TalMonRect& rect,
                                       TalMonPoint origin, uint32_t format) {
  const size_t n = static_cast<size_t>(std::max(length, 0));
  if ((format & kTalMonDtCalcRect) != 0) {
    const int64_t cells = CountShown(text, n);
    return static_cast<int32_t>(
        std::min<int64_t>(int64_t{origin.x} + cells * kCellWidth, INT32_MAX));
  }
  const int64_t first = ColumnOf(origin.x);
  const int64_t room = std::max<int64_t>(ColumnOf(rect.right) - first, 0);
  const bool bold = font_ == TalMonFont::kBold || font_ == TalMonFont::kBoldTypewriter;
  const bool dim = font_ == TalMonFont::kLittle;
  uint8_t back = 0;
  if (backColour_ == kTalMonErrorColor) back = 2;
  if (backColour_ == COLOR_WINDOW) back = 1;
  // The glyphs go straight to the cells [from, to): those of [first, first + room) that lie
  // on the line. No more glyphs than bytes, so the line need not reach further than that.
  int64_t from = std::max<int64_t>(first, 0);
  int64_t to = std::min<int64_t>(first + std::min<int64_t>(room, int64_t(n)), options_.columns);
  Cell* cells = line_ != nullptr && from < to ? Reach(to) : nullptr;
  if (cells == nullptr) from = to = 0;
  // Opaque text paints its back colour; transparent text (once a title was laid out in this
  // paint, or over the gradient background) keeps the box's.
  const bool opaque = mode_ == TalMonBkMode::kOpaque;
  auto paint = [cells, bold, dim, back, opaque](int64_t c, char32_t ch) {
    Cell& cell = cells[c];
    cell.ch = ch;
    cell.bold = bold;
    cell.dim = dim;
    if (opaque) cell.back = back;
  };
  // The leading ASCII run goes straight to the cells that lie on the line, a byte per cell.
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
  const size_t ascii = AsciiRun(text, n);
  const int64_t asciiEnd = std::min<int64_t>(first + static_cast<int64_t>(ascii), to);
  for (int64_t c = std::max(first, from); c < asciiEnd; ++c)
    paint(c, ShownAscii(bytes[c - first]));
  int64_t glyphs = static_cast<int64_t>(ascii);
  DecodeShown(text + ascii, n - ascii, [&](char32_t ch) {
    const int64_t c = first + glyphs++;
    if (c >= from && c < to) paint(c, ch);
  });
  int64_t shown = glyphs;
  if (shown > room) {
    // Cut with an ellipsis in the last cell that fits.
    shown = room;
    const int64_t c = first + room - 1;
    if (room > 0 && c >= from && c < to) paint(c, kEllipsis);
  }
  const int64_t end = int64_t{origin.x} + shown * kCellWidth;
  return static_cast<int32_t>(std::min<int64_t>(end, std::max(rect.right, origin.x)));
}

void TalMonTerminalDevice::FillSolidRect(const TalMonRect&, TalMonColor) {}
void TalMonTerminalDevice::Draw3dRect(const TalMonRect&, TalMonColor, TalMonColor) {}
void TalMonTerminalDevice::Line(int32_t, int32_t, int32_t, int32_t, TalMonColor) {}
void TalMonTerminalDevice::GradientH(const TalMonRect&, TalMonColor, TalMonColor) {}
void TalMonTerminalDevice::GradientV(const TalMonRect&, TalMonColor, TalMonColor) {}
bool TalMonTerminalDevice::BlendImage(const char*, int32_t, int32_t, TalMonPoint, uint8_t) {
  return false;
}

bool TalMonTerminalDevice::Element(const TalMonElement& e) {
  const TalMonRect& r = e.rect;
  switch (e.kind) {
    case TalMonElement::kTitle:
      ForCells(r.left, r.right, [](Cell& c, int64_t) { c.reverse = c.highlight = true; });
      break;
    case TalMonElement::kUnderlined:
      ForCells(r.left, r.right, [](Cell& c, int64_t) { c.underline = true; });
      break;
    case TalMonElement::kField:
      ForCells(r.left, r.right, [](Cell& c, int64_t) { c.back = 1; });
      break;
    case TalMonElement::kFlat:
      // The box stops 2 px short of the row's end to leave room for its frame.
      ForCells(r.left, r.right + 2, [](Cell& c, int64_t) { c.back = 1; });
      break;
    case TalMonElement::kError:
      ForCells(r.left, r.right, [](Cell& c, int64_t) { c.back = 2; });
      break;
    case TalMonElement::kLink: {
      uint32_t link = 0;
      std::string target = options_.hyperlinks ? SafeTarget(e.text) : std::string();
      // An empty target would open the link with the sequence that closes one: none then.
      if (!target.empty()) {
        links_.push_back(std::move(target));
        link = static_cast<uint32_t>(links_.size());
      }
      // The label's cells, without the button's 2 px on either side.
      ForCells(r.left + 2, r.right - 2, [link](Cell& c, int64_t) {
        c.back = 0;
        c.underline = true;
        c.link = link;
      });
      break;
    }
    case TalMonElement::kProgress: {
      // The fill, measured against the bar's inside, in eighths of the bar's cells.
      const int64_t from = std::max<int64_t>(ColumnOf(r.left), 0);
      const int64_t to =
          line_ != nullptr ? std::min<int64_t>(ColumnOf(r.right), options_.columns) : 0;
      // A bar that starts past the row's end (content wider than the row) has no cells.
      const int64_t eighths = std::max<int64_t>(to - from, 0) * 8;
      const int64_t inside = std::max<int64_t>(int64_t{r.right} - r.left - 2, 1);
      auto toEighths = [&](int32_t x) {
        int64_t v = (int64_t{x} - r.left - 1) * eighths;
        return std::clamp<int64_t>(FloorDiv(v + inside / 2, inside), 0, eighths);
      };
      const int64_t start = toEighths(e.inner.left);
      const int64_t end = std::max(toEighths(e.inner.right), start);
      ForCells(r.left, r.right, [&](Cell& c, int64_t column) {
        const int64_t base = (column - from) * 8;
        const int64_t covered =
            std::clamp<int64_t>(end - base, 0, 8) - std::clamp<int64_t>(start - base, 0, 8);
        c.highlight = covered > 0;
        c.dim = covered == 0;
        c.ch = covered == 0 ? kTrack : kFullBlock + static_cast<char32_t>(8 - covered);
      });
      break;
    }
    case TalMonElement::kPea:
      Put(ColumnOf(r.left + r.Width() / 2), kBullet);
      break;
    case TalMonElement::kSeparator:
      ForCells(r.left + 5, r.right - 5, [](Cell& c, int64_t) { c.ch = kRule; });
      break;
    case TalMonElement::kTrue:
    case TalMonElement::kFalse:
      Put(ColumnOf(r.left), e.kind == TalMonElement::kTrue ? kChecked : kUnchecked);
      break;
    case TalMonElement::kIcon:
    case TalMonElement::kLogo: {
      // The name in brackets, cut to the cells of the image's place and its 4 px gap.
      const int64_t first = ColumnOf(r.left - 1);
      const int64_t room = std::max<int64_t>(ColumnOf(r.right - 1 + 4) - first, 3);
      std::vector<char32_t> name;
      DecodeShown(e.text, std::char_traits<char>::length(e.text),
                  [&](char32_t ch) { name.push_back(ch); });
      if (static_cast<int64_t>(name.size()) > room - 2) name.resize(static_cast<size_t>(room - 2));
      Put(first, U'[');
      for (size_t i = 0; i < name.size(); ++i)
        Put(first + 1 + static_cast<int64_t>(i), name[i]);
      Put(first + 1 + static_cast<int64_t>(name.size()), U']');
      break;
    }
    case TalMonElement::kColumn:
      // The one cell at the divider's left edge.
      ForCells(r.left, r.left + kCellWidth, [](Cell& c, int64_t) {
        c.ch = kDivider;
        c.dim = true;
      });
      break;
  }
  return true;
}

void TalMonTerminalDevice::Encode(const Cell* cells, size_t count, std::string& out) const {
  const bool colour = options_.colour;
  // Cells past the painted ones are blank and are dropped with the trailing blanks.
  size_t used = count;
  while (used > 0) {
    const Cell& c = cells[used - 1];
    if (c.ch != U' ' || (colour && (c.back != 0 || c.reverse || c.underline))) break;
    --used;
  }
  if (!colour) {
    out.resize(used * 4);  // the longest a cell can take
    char* const begin = &out[0];
    char* p = begin;
    for (size_t i = 0; i < used; ++i)
      p = PutUtf8(p, cells[i].ch);
    out.resize(static_cast<size_t>(p - begin));
    return;
  }
  out.clear();
  out.reserve(used);
  Cell current = Blank();  // the terminal's state: no attribute, no link
  auto sameLook = [](const Cell& a, const Cell& b) {
    return a.back == b.back && a.bold == b.bold && a.dim == b.dim && a.underline == b.underline &&
           a.reverse == b.reverse && a.highlight == b.highlight;
  };
  for (size_t i = 0; i < used; ++i) {
    const Cell& c = cells[i];
    if (c.link != current.link) {
      if (current.link != 0) out += "\x1b]8;;\x1b\\";
      if (c.link != 0) {
        out += "\x1b]8;;";
        out += links_[c.link - 1];
        out += "\x1b\\";
      }
      current.link = c.link;
    }
    if (!sameLook(c, current)) {
      out += "\x1b[0";
      if (c.bold) out += ";1";
      if (c.dim) out += ";2";
      if (c.underline) out += ";4";
      if (c.reverse) out += ";7";
      if (c.highlight) out += ";34";
      if (c.back == 1) out += ";48;5;236";
      if (c.back == 2) out += ";97;41";
      out += "m";
      const uint32_t link = current.link;
      current = c;
      current.link = link;
    }
    AppendUtf8(out, c.ch);
  }
  if (current.link != 0) out += "\x1b]8;;\x1b\\";
  if (!sameLook(current, Blank())) out += "\x1b[0m";
}

std::vector<std::string> TalMonTerminalDevice::Lines() const {
  std::vector<std::string> out;
  Lines(out);
  return out;
}

void TalMonTerminalDevice::Lines(std::vector<std::string>& lines) const {
  lines.resize(rows_.size());
  for (size_t i = 0; i < rows_.size(); ++i) {
    const size_t k = rows_[i].second;
    Encode(cells_.get() + k * options_.columns, lines_[k].painted, lines[i]);
  }
}

bool TalMonRenderTerminal(IMonitorReader& reader, uint32_t first, uint32_t count,
                          const TalMonTerminalOptions& options, std::vector<std::string>& lines) {
  TalMonTerminalDevice device(options);
  return TalMonRenderTerminal(reader, first, count, device, lines);
}

bool TalMonRenderTerminal(IMonitorReader& reader, uint32_t first, uint32_t count,
                          TalMonTerminalDevice& device, std::vector<std::string>& lines) {
  // lines keeps its strings until the end: a caller rendering block after block into the
  // same vector then reuses their storage.
  const TalMonTerminalOptions& options = device.Options();
  uint32_t total = 0;
  if (options.columns == 0 || !reader.GetCount(total)) {
    lines.clear();
    return false;
  }
  if (first >= total || count == 0) {
    lines.clear();
    return true;
  }
  const uint32_t rows = std::min({count, total - first, kMaxRows});
  const auto columns = static_cast<int32_t>(options.columns);  // at most kMaxColumns

  RowWindow window(reader, first, rows);
  device.Reset();
  TalMonTextLayout layout;
  TalMonPaintInput input;
  input.reader = &window;
  const int32_t margins = 2 * TalMonTerminalDevice::kMargin;
  input.client = {0, 0, columns * TalMonTerminalDevice::kCellWidth + margins,
                  static_cast<int32_t>(rows) * layout.GetRowHeight() + margins};
  TalMonPaintOutput output;
  layout.Draw(device, input, output);
  device.Lines(lines);
  return true;
}
