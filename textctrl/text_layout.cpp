// The markup interpreter and the row loop of a paint. The markup grammar is the one the
// trace side writes (doc/markup.md); everything here must cope with any bytes at all.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/listing.h"
#include "talmon/scrollbar.h"
#include "talmon/textctrl.h"

namespace {

// Positions are kept well inside 32 bits so that widths and sums of a few never overflow,
// whatever a row holds (a megabyte of text, thousands of tags).
constexpr int64_t kCoordLimit = int64_t{1} << 28;
int32_t Coord(int64_t v) {
  return static_cast<int32_t>(std::clamp(v, -kCoordLimit, kCoordLimit));
}

// Nesting deeper than this is read by the level above it, flat, instead of recursing. A
// writer holds at most 64 tags open and restates them all at each row start, so every level
// a writer can produce is honoured, with room for the levels a row adds on top of them.
constexpr int kMaxDepth = 128;
// Interpretation steps a row may take: error, link and right boxes read their content twice,
// so nested boxes multiply the work; past this, the rest of the row is dropped.
constexpr uint64_t kStepsBase = 4096;
constexpr uint64_t kStepsPerByte = 64;
// The longest run handed to the device at once.
constexpr size_t kMaxRun = size_t{1} << 30;

// atoi with its overflow defined: the value is clamped to 32 bits.
int32_t ToInt(const std::string& s) {
  long long v = std::strtoll(s.c_str(), nullptr, 10);
  return static_cast<int32_t>(std::clamp<long long>(v, INT32_MIN, INT32_MAX));
}

TalMonRect Deflate(TalMonRect r, int32_t d) {
  return {r.left + d, r.top + d, r.right - d, r.bottom - d};
}

void Sunken(TalMonDevice& device, const TalMonRect& r) {
  device.Draw3dRect(r, COLOR_BTNSHADOW, COLOR_BTNHIGHLIGHT);
}

enum Tag {
  kTab,
  kColumnTag,
  kProgressTag,
  kPeaTag,
  kTitleTag,
  kUnderlinedTag,
  kFieldTag,
  kBoldTag,
  kLittleTag,
  kTypewriterTag,
  kErrorTag,
  kLinkTag,
  kIconTag,
  kLogoTag,
  kSeparatorTag,
  kTrueTag,
  kFalseTag,
  kFlatTag,
  kRightTag,
  kRawTag,
  kTagCount
};

// In the order in which they are tested.
constexpr const char* kKeywords[kTagCount] = {
    "tab",       "column", "progress",   "pea",   "title", "underlined", "field",
    "bold",      "little", "typewriter", "error", "link",  "icon",       "logo",
    "separator", "true",   "false",      "flat",  "right", "raw"};

// For each byte, the first keyword that starts with it (kTagCount for none): the search for
// a tag starts there instead of at the first keyword.
struct FirstWithInitial {
  int tag[256];
  constexpr FirstWithInitial() : tag() {
    for (int& t : tag)
      t = kTagCount;
    for (int k = kTagCount - 1; k >= 0; --k)
      tag[static_cast<unsigned char>(kKeywords[k][0])] = k;
  }
  constexpr int operator[](unsigned char c) const { return tag[c]; }
};
constexpr FirstWithInitial kFirstWithInitial;

}  // namespace

TalMonDevice::~TalMonDevice() = default;
bool TalMonDevice::Element(const TalMonElement&) {
  return false;
}
void TalMonDevice::BeginRow(uint32_t, int32_t) {}

TalMonTextLayout::~TalMonTextLayout() = default;

bool TalMonTextLayout::MatchLiteral(const char*& cursor, const char* literal) {
  // Byte by byte: literals are a few letters, and the row's zero byte ends the walk as a
  // mismatch, so nothing past the row is read.
  size_t n = 0;
  for (; literal[n] != '\0'; ++n) {
    if (cursor[n] != literal[n]) return false;
  }
  cursor += n;
  return true;
}

bool TalMonTextLayout::MatchTag(const char*& cursor, const char* keyword, bool& hasArgument) {
  const char* c = cursor;
  if (*c != '(') return false;
  ++c;
  if (!MatchLiteral(c, keyword)) return false;
  switch (*c) {
    case ')':
      hasArgument = false;
      break;
    case '(':
    case ' ':
      hasArgument = true;
      break;
    default:
      return false;
  }
  cursor = c + 1;
  return true;
}

bool TalMonTextLayout::ReadArgument(const char*& cursor, std::string& out) {
  size_t n = std::strcspn(cursor, ")");
  out.assign(cursor, n);
  cursor += n;
  if (*cursor == ')') ++cursor;
  return true;
}

TalMonTextLayout::TabSet* TalMonTextLayout::FindTabSet(Context& ctx, const std::string& name) {
  const Korin::ICollator& collator = Korin::CollatorFactory::getPOSIXCollatorCI();
  for (int32_t i = 0; i < ctx.tabSetCount; ++i) {
    // Equal bytes are equal names; the collator is asked only about the rest (case).
    const std::string& own = ctx.tabSets[i].name;
    if (own == name || collator.compare(own.c_str(), name.c_str()) == 0) return &ctx.tabSets[i];
  }
  if (ctx.tabSetCount >= kMaxTabSets) return nullptr;
  TabSet& set = ctx.tabSets[ctx.tabSetCount++];
  set = TabSet();
  set.name = name;
  return &set;
}

bool TalMonTextLayout::ParseTab(Context& ctx, bool named) {
  std::string name;
  if (named) ReadArgument(ctx.cursor, name);
  TabSet* set = FindTabSet(ctx, name);
  if (set == nullptr) return false;
  int32_t k = set->next;
  if (k < 0 || k >= kMaxColumns) return false;
  if (!ctx.drawing) {
    if (k == 0) set->start = 0;
    // The first stop of a named set has no gap: a named set lines up cells, not indents.
    if (!(named && k == 0)) ctx.x = Coord(int64_t{ctx.x} + kColumnGap);
    int64_t width = int64_t{ctx.x} - set->start;
    if (width > set->column[k]) set->column[k] = Coord(width);
  } else {
    ctx.x = set->column[k];
  }
  set->next = k + 1;
  set->start = ctx.x;
  return true;
}

bool TalMonTextLayout::DrawTextA(Context& ctx, const char* text, int32_t length) {
  TalMonFont font = TalMonFont::kNormal;
  if (ctx.little) {
    font = TalMonFont::kLittle;
  } else if (ctx.bold) {
    font = ctx.typewriter ? TalMonFont::kBoldTypewriter : TalMonFont::kBold;
  } else if (ctx.typewriter) {
    font = TalMonFont::kTypewriter;
  }
  TalMonDevice& device = *ctx.device;
  TalMonFont previous = device.SelectFont(font);
  device.SetTextColor(ctx.textColor);
  device.SetBkColor(ctx.backColor);
  TalMonRect rect{ctx.x, ctx.y, ctx.right, ctx.y + GetRowHeight()};
  int32_t reached = device.DrawText(text, length, rect, {ctx.x, ctx.y + 2},
                                    ctx.drawing ? kTalMonTextDraw : kTalMonTextMeasure);
  ctx.x = Coord(reached);
  device.SelectFont(previous);
  return true;
}

bool TalMonTextLayout::DrawParse(Context& ctx) {
  if (ctx.cursor == nullptr) return false;
  if (ctx.depth >= kMaxDepth) return true;
  ++ctx.depth;
  while (*ctx.cursor != '\0') {
    if (ctx.steps == 0) {
      ctx.cursor += std::strlen(ctx.cursor);
      break;
    }
    --ctx.steps;
    char c = *ctx.cursor;
    if (c == '\t') {
      ParseTab(ctx, false);
      ++ctx.cursor;
    } else if (c == '(') {
      if (!ParseTag(ctx)) {
        DrawTextA(ctx, ctx.cursor, 1);
        ++ctx.cursor;
      }
    } else if (c == ')') {
      // Closes the current level. At the outermost level this ends the row: what follows an
      // unmatched ")" is left out on purpose, as every viewer of these pages has shown it.
      ++ctx.cursor;
      break;
    } else {
      size_t n = std::min(std::strcspn(ctx.cursor, "\t()"), kMaxRun);
      DrawTextA(ctx, ctx.cursor, static_cast<int32_t>(n));
      ctx.cursor += n;
    }
  }
  --ctx.depth;
  return true;
}

bool TalMonTextLayout::ParseTag(Context& ctx) {
  bool arg = false;
  const char first = ctx.cursor[1];
  int tag = kFirstWithInitial[static_cast<unsigned char>(first)];
  for (; tag < kTagCount; ++tag) {
    if (kKeywords[tag][0] == first && MatchTag(ctx.cursor, kKeywords[tag], arg)) break;
  }
  if (tag == kTagCount) return false;

  TalMonDevice& device = *ctx.device;
  const int32_t h = GetRowHeight();
  std::string text;
  switch (tag) {
    case kTab:
      ParseTab(ctx, arg);
      break;

    case kColumnTag: {
      if (!ParseTab(ctx, arg) || !ctx.drawing) break;
      // Below a flat row the divider starts higher, so that dividers join across rows.
      int32_t top = ctx.previousRowFlat ? ctx.y - 4 : ctx.y;
      int32_t bottom = ctx.y + h - 3;
      TalMonColor shadow = ctx.flat ? COLOR_BTNHIGHLIGHT : COLOR_BTNSHADOW;
      TalMonColor light = ctx.flat ? COLOR_BTNSHADOW : COLOR_BTNHIGHLIGHT;
      TalMonElement e{
          TalMonElement::kColumn, {ctx.x - 10, top, ctx.x - 8, bottom}, {}, "", ctx.flat};
      if (!device.Element(e)) {
        device.Line(ctx.x - 10, top, ctx.x - 10, bottom, shadow);
        device.Line(ctx.x - 9, top, ctx.x - 9, bottom, light);
      }
      break;
    }

    case kProgressTag: {
      int32_t value = 0;
      if (arg) {
        ReadArgument(ctx.cursor, text);
        value = ToInt(text);
      }
      int32_t total = 0;
      bool totalArg = false;
      if (MatchTag(ctx.cursor, "total", totalArg) && totalArg) {
        ReadArgument(ctx.cursor, text);
        total = ToInt(text);
      }
      TalMonRect bar{ctx.x, ctx.y + 4, ctx.right, ctx.y + 4 + h / 2};
      TalMonRect fill = Deflate(bar, 1);
      const int64_t width = fill.Width();
      if (total != 0 && value > total) {
        // Past its total the bar wraps around: 150 of 100 fills from the middle.
        fill.left = Coord(fill.left + width * (int64_t{value} % total) / total);
      } else if (total != 0) {
        fill.right = Coord(fill.left + width * value / total);
      } else {
        // Work of unknown length: a block a 25th wide that moves along with the value.
        fill.left = Coord(fill.left + width * (int64_t{value} % 25) / 25);
        fill.right = Coord(fill.left + width / 25);
      }
      if (ctx.drawing && !device.Element({TalMonElement::kProgress, bar, fill, "", false})) {
        Sunken(device, bar);
        device.FillSolidRect(fill, COLOR_HIGHLIGHT);
      }
      ctx.x = ctx.right;
      break;
    }

    case kPeaTag: {
      int32_t s = h - 4;
      TalMonRect r = Deflate({ctx.x - s - 5, ctx.y, ctx.x - 5, ctx.y + s}, 3);
      if (ctx.drawing && !device.Element({TalMonElement::kPea, r, {}, "", false})) {
        Sunken(device, r);
      }
      break;
    }

    case kTitleTag:
    case kUnderlinedTag: {
      TalMonRect band = tag == kTitleTag
                            ? TalMonRect{ctx.x, ctx.y, ctx.right, ctx.y + h - 2}
                            : TalMonRect{ctx.x, ctx.y + h - 3, ctx.right, ctx.y + h - 1};
      TalMonElement::Kind kind =
          tag == kTitleTag ? TalMonElement::kTitle : TalMonElement::kUnderlined;
      if (ctx.drawing && !device.Element({kind, band, {}, "", false})) {
        device.GradientH(band, COLOR_ACTIVECAPTION, COLOR_GRADIENTACTIVECAPTION);
      }
      if (tag == kTitleTag) {
        // The caption colour stays for the rest of the row, not just the title's content: text
        // after a title reads as part of its band. Transparent text outlasts the row (Draw).
        ctx.textColor = COLOR_CAPTIONTEXT;
        device.SetBkMode(TalMonBkMode::kTransparent);
      }
      ctx.x = Coord(int64_t{ctx.x} + 4);
      if (arg) DrawParse(ctx);
      break;
    }

    case kFieldTag: {
      ctx.x = Coord(int64_t{ctx.x} + 2);
      TalMonRect box{ctx.x, ctx.y, ctx.right, ctx.y + h - 4};
      bool shown = false;
      if (ctx.drawing) {
        shown = device.Element({TalMonElement::kField, box, {}, "", false});
        if (!shown) device.FillSolidRect(box, COLOR_WINDOW);
        ctx.backColor = COLOR_WINDOW;
      }
      ctx.x = Coord(int64_t{ctx.x} + 4);
      if (arg) DrawParse(ctx);
      ctx.x = ctx.right;
      if (ctx.drawing && !shown) {
        box.right = ctx.x;
        box.left -= 1;
        box.bottom += 1;
        Sunken(device, box);
      }
      break;
    }

    case kBoldTag:
      // Cleared at the end, not restored: in "(bold (bold a) b)" the b is plain, as it always
      // has been; the same holds for little and typewriter.
      ctx.bold = true;
      if (arg) DrawParse(ctx);
      ctx.bold = false;
      break;

    case kLittleTag:
      ctx.little = true;
      if (arg) DrawParse(ctx);
      ctx.little = false;
      break;

    case kTypewriterTag:
      // The window back colour outlives the typewriter content, as it always has.
      ctx.typewriter = true;
      ctx.backColor = COLOR_WINDOW;
      if (arg) DrawParse(ctx);
      ctx.typewriter = false;
      break;

    case kErrorTag: {
      // Laid out once to find the box, which is then painted under a second layout of the
      // same content. The red back colour stays for the rest of the row.
      TalMonRect box{ctx.x, ctx.y, ctx.right, ctx.y + h - 5};
      ctx.backColor = kTalMonErrorColor;
      const char* start = ctx.cursor;
      if (arg) DrawParse(ctx);
      box.right = ctx.x;
      if (ctx.drawing && !device.Element({TalMonElement::kError, box, {}, "", false})) {
        device.FillSolidRect(box, kTalMonErrorColor);
      }
      ctx.cursor = start;
      ctx.x = box.left;
      if (arg) DrawParse(ctx);
      break;
    }

    case kLinkTag: {
      if (arg) ReadArgument(ctx.cursor, text);
      TalMonRect button{ctx.x, ctx.y + 1, ctx.x, ctx.y + h - 4};
      ctx.x = Coord(int64_t{ctx.x} + 2);
      const char* label = ctx.cursor;
      DrawParse(ctx);
      ctx.x = Coord(int64_t{ctx.x} + 2);
      button.right = ctx.x;
      const bool over = button.Contains(ctx.mouse);
      const bool pressed = over && ctx.leftButtonDown;
      if (over) {
        ctx.hoverLink = text;
        if (pressed) ctx.pressedLink = text;
      }
      const TalMonColor back = ctx.backColor;
      if (ctx.drawing) {
        if (!device.Element({TalMonElement::kLink, button, {}, text.c_str(), pressed})) {
          device.FillSolidRect(button, COLOR_3DFACE);
          if (pressed) {
            device.Draw3dRect(button, COLOR_BTNSHADOW, COLOR_3DFACE);
          } else {
            device.Draw3dRect(button, COLOR_BTNHIGHLIGHT, COLOR_BTNSHADOW);
          }
        }
        ctx.backColor = COLOR_3DFACE;
      }
      const int32_t p = pressed ? 1 : 0;
      ctx.cursor = label;
      ctx.y = button.top + p;
      ctx.x = Coord(int64_t{button.left} + 2 + p);
      DrawParse(ctx);
      // y comes back to the button's top, one pixel below the row's top: what follows a
      // link in the same row sits one pixel lower. Kept so rows look as they always have.
      ctx.y -= p;
      ctx.x = Coord(int64_t{ctx.x} + 2 - p);
      if (ctx.drawing) ctx.backColor = back;
      break;
    }

    case kIconTag:
    case kLogoTag: {
      if (arg) ReadArgument(ctx.cursor, text);
      const int32_t size = tag == kIconTag ? 16 : 40;
      TalMonElement::Kind kind = tag == kIconTag ? TalMonElement::kIcon : TalMonElement::kLogo;
      TalMonRect place{ctx.x + 1, ctx.y + 1, ctx.x + 1 + size, ctx.y + 1 + size};
      if (ctx.drawing && !device.Element({kind, place, {}, text.c_str(), false})) {
        // An image that cannot be found leaves its place empty.
        device.BlendImage(text.c_str(), size, size, {place.left, place.top}, 255);
      }
      ctx.x = Coord(int64_t{ctx.x} + size + 4);
      break;
    }

    case kSeparatorTag: {
      TalMonRect line{ctx.x - 5, ctx.y + h / 2 + 4, ctx.right + 5, ctx.y + h / 2 + 6};
      if (ctx.drawing && !device.Element({TalMonElement::kSeparator, line, {}, "", false})) {
        Sunken(device, line);
      }
      ctx.x = ctx.right;
      break;
    }

    case kTrueTag:
    case kFalseTag: {
      const int32_t s = h - 12;
      TalMonRect square{ctx.x, ctx.y + 4, ctx.x + s, ctx.y + 4 + s};
      TalMonElement::Kind kind = tag == kTrueTag ? TalMonElement::kTrue : TalMonElement::kFalse;
      if (ctx.drawing && !device.Element({kind, square, {}, "", false})) {
        device.FillSolidRect(square, tag == kTrueTag ? kTalMonWhite : kTalMonBlack);
        Sunken(device, square);
      }
      ctx.x = Coord(int64_t{ctx.x} + s);
      break;
    }

    case kFlatTag: {
      // A flat tag with nothing after it is the writer re-opening a style at the start of a
      // row that holds nothing more: it must not draw an empty box nor make the row flat.
      if (*ctx.cursor == '\0') break;
      if (ctx.drawing) {
        const bool joined = ctx.previousRowFlat;
        TalMonRect box{ctx.x, ctx.y, ctx.right - 2, ctx.y + h - 3};
        TalMonRect shown = box;
        if (joined) shown.top -= 3;
        if (!device.Element({TalMonElement::kFlat, shown, {}, "", joined})) {
          device.FillSolidRect(box, COLOR_WINDOW);
          if (joined) {
            // Raised into the row above and without a top line: consecutive flat rows read
            // as one box.
            box.top -= 3;
            device.FillSolidRect(box, COLOR_WINDOW);
          } else {
            device.Line(box.left, box.top, box.right, box.top, COLOR_BTNSHADOW);
          }
          device.Line(box.left, box.top, box.left, box.bottom, COLOR_BTNSHADOW);
          device.Line(box.right, box.top, box.right, box.bottom + 1, COLOR_BTNHIGHLIGHT);
          device.Line(box.left, box.bottom, box.right, box.bottom, COLOR_BTNHIGHLIGHT);
        }
      }
      ctx.backColor = COLOR_WINDOW;
      ctx.x = Coord(int64_t{ctx.x} + 8);
      ctx.flat = true;
      if (arg) DrawParse(ctx);
      break;
    }

    case kRightTag: {
      const int32_t x0 = ctx.x;
      const char* start = ctx.cursor;
      const bool drawing = ctx.drawing;
      ctx.drawing = false;
      if (arg) DrawParse(ctx);
      ctx.drawing = drawing;
      const int64_t width = int64_t{ctx.x} - x0;
      ctx.cursor = start;
      ctx.x = Coord(int64_t{ctx.right} - width - 2);
      if (arg) DrawParse(ctx);
      break;
    }

    case kRawTag: {
      if (!arg) break;
      uint64_t n = 0;
      while (*ctx.cursor >= '0' && *ctx.cursor <= '9') {
        n = std::min<uint64_t>(n * 10 + static_cast<uint64_t>(*ctx.cursor - '0'), kMaxRun);
        ++ctx.cursor;
      }
      if (*ctx.cursor != '\0') ++ctx.cursor;  // the blank between length and text
      // Exactly n bytes, parentheses and tabs included, but never past the row's end. The
      // writer's ")" after the span is then read by the loop as the end of the current level:
      // at the outermost level it ends the row, as it always has.
      size_t length = strnlen(ctx.cursor, static_cast<size_t>(n));
      DrawTextA(ctx, ctx.cursor, static_cast<int32_t>(length));
      ctx.cursor += length;
      break;
    }
  }
  return true;
}

void TalMonTextLayout::ResetRow(Context& ctx, const char* text, int32_t x, int32_t y,
                                int32_t right) const {
  ctx.cursor = text;
  ctx.x = x;
  ctx.y = y;
  ctx.right = right;
  ctx.bold = ctx.little = ctx.typewriter = ctx.flat = false;
  ctx.textColor = COLOR_WINDOWTEXT;
  ctx.backColor = COLOR_3DFACE;
  for (int32_t i = 0; i < ctx.tabSetCount; ++i)
    ctx.tabSets[i].next = 0;
  ctx.depth = 0;
  ctx.steps = kStepsBase + kStepsPerByte * (text != nullptr ? std::strlen(text) : 0);
}

void TalMonTextLayout::ColumnsToPositions(Context& ctx) {
  for (int32_t i = 0; i < ctx.tabSetCount; ++i) {
    int32_t* column = ctx.tabSets[i].column;
    for (int k = 1; k < kMaxColumns; ++k)
      column[k] = Coord(int64_t{column[k]} + column[k - 1]);
  }
}

bool TalMonTextLayout::Draw(TalMonDevice& device, const TalMonPaintInput& input,
                            TalMonPaintOutput& output) {
  const int32_t h = GetRowHeight();
  const int32_t hpos = input.horizontal != nullptr ? input.horizontal->GetPos() : 0;
  const int32_t vpos = input.vertical != nullptr ? input.vertical->GetPos() : 0;
  const int64_t vpixels = int64_t{vpos} * h;

  Context ctx;
  ctx.device = &device;
  ctx.mouse = input.mouse;
  ctx.leftButtonDown = input.leftButtonDown;
  output.contentWidth = 0;

  // A paint starts on a fresh, opaque surface; nothing sets the mode back afterwards. A
  // title's transparent mode therefore holds for every later row and, set in the measuring
  // pass, for the whole drawing pass: text of a screen that shows a title is drawn without
  // its back colour. Kept so screens look as they always have.
  device.SetBkMode(TalMonBkMode::kOpaque);
  for (int pass = 0; pass < 2; ++pass) {
    ctx.previousRowFlat = false;
    ctx.drawing = pass == 1;
    TalMonRect rect = input.client;
    if (input.vertical != nullptr) rect.right -= input.vertical->GetWidth();

    if (ctx.drawing) {
      device.FillSolidRect(rect, COLOR_3DFACE);
      if (input.backgroundMode == 1) {
        device.GradientV(rect, COLOR_BTNHIGHLIGHT, COLOR_3DFACE);
        device.SetBkMode(TalMonBkMode::kTransparent);
      }
    }

    if (input.border) {
      uint32_t count = 0;
      if (input.reader != nullptr && input.reader->GetCount(count)) {
        output.contentHeight =
            static_cast<int32_t>(std::min<int64_t>(int64_t{h} * count, INT32_MAX));
      } else if (input.reader == nullptr) {
        output.contentHeight = 0;
      }
      // A side whose content continues beyond the view lies one pixel outside the client
      // area, so the frame shows open on that side.
      TalMonRect frame = rect;
      if (hpos != 0) frame.left -= 1;
      if (vpos != 0) frame.top -= 1;
      int64_t wide = std::max(input.client.Width(), output.contentWidth);
      if (!(int64_t{hpos} >= wide - rect.Width())) frame.right += 1;
      if (vpixels < int64_t{output.contentHeight} - rect.Height()) frame.bottom += 1;
      if (ctx.drawing) device.Draw3dRect(frame, COLOR_BTNHIGHLIGHT, COLOR_BTNSHADOW);
    }

    rect = Deflate(rect, 5);
    int64_t first = vpos;
    int64_t offset = 0;
    TalScrollBarBase* bar = input.vertical;
    if (ctx.drawing && bar != nullptr && bar->GetPage() < bar->GetRange()) {
      if (bar->GetPos() >= 1) {
        // The row above the view is drawn partly, above the top margin.
        first -= 1;
        offset = -h;
      }
      if (bar->AtEnd()) {
        // Scrolled to the end: the last row sits on the bottom margin.
        int32_t r = rect.Height() % h;
        if (r > 0) {
          if (r > h / 2 + 1) r -= h;
          offset += r;
        }
      }
    }

    if (input.reader != nullptr) {
      while (offset < int64_t{rect.Height()} + h) {
        if (first < 0 || first > UINT32_MAX) break;
        const char* text = nullptr;
        uint32_t length = 0;
        const uint32_t row = static_cast<uint32_t>(first);
        if (!input.reader->GetRow(row, text, length) || text == nullptr) break;
        const int32_t top = Coord(rect.top + offset);
        device.BeginRow(row, top);
        ResetRow(ctx, text, Coord(int64_t{rect.left} - hpos), top, rect.right);
        DrawParse(ctx);
        ctx.previousRowFlat = ctx.flat;
        output.contentWidth = std::max(output.contentWidth, ctx.x);
        offset += h;
        first += 1;
      }
    }
    if (!ctx.drawing) ColumnsToPositions(ctx);
  }
  // The links seen by either pass: the Context, and with it these, lives for the whole paint.
  output.hoverLink = ctx.hoverLink;
  output.pressedLink = ctx.pressedLink;
  return true;
}
