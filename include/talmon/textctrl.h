// The markup interpreter of the text control: the abstract drawing device it paints through,
// colours and geometry, the per-paint layout state (Context) and the row loop (Draw) shared by
// every viewer: the Qt text control, the terminal tool and tests with the recording device.
// A layout object and its devices are used by one thread at a time (the thread that paints).
#pragma once

#include <cstdint>
#include <string>

#include "talmon/export.h"
#include "talmon/monitor.h"

class TalScrollBarBase;

// A colour: either an RGB value 0x00BBGGRR or, with kTalMonSysColorFlag set, the id of a
// colour of the desktop theme (COLOR_...), which each device resolves in its own way.
using TalMonColor = uint32_t;
constexpr TalMonColor kTalMonSysColorFlag = 0x80000000u;
constexpr TalMonColor TalMonSysColor(uint32_t id) {
  return kTalMonSysColorFlag | id;
}
constexpr bool TalMonIsSysColor(TalMonColor c) {
  return (c & kTalMonSysColorFlag) != 0;
}
constexpr TalMonColor TalMonRGB(uint32_t r, uint32_t g, uint32_t b) {
  return (r & 0xFF) | ((g & 0xFF) << 8) | ((b & 0xFF) << 16);
}
constexpr TalMonColor COLOR_ACTIVECAPTION = TalMonSysColor(2);
constexpr TalMonColor COLOR_WINDOW = TalMonSysColor(5);
constexpr TalMonColor COLOR_WINDOWTEXT = TalMonSysColor(8);
constexpr TalMonColor COLOR_CAPTIONTEXT = TalMonSysColor(9);
constexpr TalMonColor COLOR_HIGHLIGHT = TalMonSysColor(13);
constexpr TalMonColor COLOR_3DFACE = TalMonSysColor(15);
constexpr TalMonColor COLOR_BTNSHADOW = TalMonSysColor(16);
constexpr TalMonColor COLOR_BTNHIGHLIGHT = TalMonSysColor(20);
constexpr TalMonColor COLOR_GRADIENTACTIVECAPTION = TalMonSysColor(27);
// The back colour of error boxes: red 255, green 50, blue 50.
constexpr TalMonColor kTalMonErrorColor = 0x003232FFu;
constexpr TalMonColor kTalMonWhite = 0x00FFFFFFu;
constexpr TalMonColor kTalMonBlack = 0x00000000u;

struct TalMonPoint {
  int32_t x = 0;
  int32_t y = 0;
};

// Left, top, right, bottom in client pixels; right and bottom are exclusive. Rectangles made
// by the layout may be empty or inverted (content wider than the row); devices draw nothing
// for those and must not fail on them.
struct TalMonRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  int32_t Width() const { return right - left; }
  int32_t Height() const { return bottom - top; }
  // left <= x < right and top <= y < bottom.
  bool Contains(TalMonPoint p) const {
    return p.x >= left && p.x < right && p.y >= top && p.y < bottom;
  }
  bool operator==(const TalMonRect& o) const {
    return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
  }
  bool operator!=(const TalMonRect& o) const { return !(*this == o); }
};

// Text format bits of DrawText.
constexpr uint32_t kTalMonDtBottom = 0x0008;
constexpr uint32_t kTalMonDtSingleLine = 0x0020;
constexpr uint32_t kTalMonDtCalcRect = 0x0400;
constexpr uint32_t kTalMonDtNoPrefix = 0x0800;
constexpr uint32_t kTalMonDtPathEllipsis = 0x4000;
constexpr uint32_t kTalMonDtEndEllipsis = 0x8000;
// What the interpreter passes: drawing, and measuring (the same plus kTalMonDtCalcRect).
constexpr uint32_t kTalMonTextDraw = 0xC828;
constexpr uint32_t kTalMonTextMeasure = 0xCC28;

enum class TalMonFont : uint8_t { kNormal, kBold, kTypewriter, kBoldTypewriter, kLittle };
enum class TalMonBkMode : uint8_t { kOpaque, kTransparent };

// A decorated item the interpreter is about to paint, offered to the device before its
// primitives (Element below). rect is, by kind:
//   kTitle      the gradient band (x, y, right, y + h - 2)
//   kUnderlined the gradient band (x, y + h - 3, right, y + h - 1)
//   kField      the box (x, y, right, y + h - 4), offered before the content is laid out
//   kError      the box (x, y, x reached by the content, y + h - 5)
//   kFlat       the box (x, top, right - 2, y + h - 3); top is y - 3 when joined to the row above
//   kLink       the button; text is the target, state is true while it is pressed
//   kProgress   the bar; inner is the fill, which may be empty or inverted
//   kPea        the bullet's frame
//   kSeparator  the etched line (x - 5, y + h / 2 + 4, right + 5, y + h / 2 + 6)
//   kTrue/kFalse the square
//   kIcon/kLogo the image's place (16 or 40 px square); text is the image name
//   kColumn     the divider (x - 10, top, x - 8, y + h - 3); state is true in a flat row
struct TalMonElement {
  enum Kind : uint8_t {
    kTitle,
    kUnderlined,
    kField,
    kError,
    kFlat,
    kLink,
    kProgress,
    kPea,
    kSeparator,
    kTrue,
    kFalse,
    kIcon,
    kLogo,
    kColumn,
  };
  Kind kind = kTitle;
  TalMonRect rect;
  TalMonRect inner;
  const char* text = "";
  bool state = false;
};

// The drawing surface of one paint. Colours may be system ids or RGB. The device keeps the
// selected font, text colour, back colour and background mode until they are set again.
class TALMON_EXPORT TalMonDevice {
 public:
  virtual ~TalMonDevice();

  // Selects font and returns the one selected before.
  virtual TalMonFont SelectFont(TalMonFont font) = 0;
  virtual void SetTextColor(TalMonColor colour) = 0;
  virtual void SetBkColor(TalMonColor colour) = 0;
  virtual void SetBkMode(TalMonBkMode mode) = 0;
  // Draws (format kTalMonTextDraw) or measures (kTalMonTextMeasure) length bytes of text, one
  // line, starting at origin.x with its top near origin.y, bottom-aligned in rect and cut with
  // an end ellipsis at rect.right. Returns the x reached: after drawing, the current position
  // (origin.x plus what was drawn); after measuring, the right edge of the text's full width
  // (it may pass rect.right). text need not be zero-terminated.
  virtual int32_t DrawText(const char* text, int32_t length, const TalMonRect& rect,
                           TalMonPoint origin, uint32_t format) = 0;
  virtual void FillSolidRect(const TalMonRect& rect, TalMonColor colour) = 0;
  // A one-pixel frame inside rect: top and left edges in topLeft, bottom and right in
  // bottomRight.
  virtual void Draw3dRect(const TalMonRect& rect, TalMonColor topLeft, TalMonColor bottomRight) = 0;
  // A one-pixel line from (x1, y1) up to, not including, (x2, y2).
  virtual void Line(int32_t x1, int32_t y1, int32_t x2, int32_t y2, TalMonColor colour) = 0;
  // Linear gradients over rect: left to right, and top to bottom.
  virtual void GradientH(const TalMonRect& rect, TalMonColor left, TalMonColor right) = 0;
  virtual void GradientV(const TalMonRect& rect, TalMonColor top, TalMonColor bottom) = 0;
  // Blends the image called name, made width x height, with its top-left at at, with its own
  // per-pixel alpha and the constant alpha. False (nothing drawn) when there is no such image.
  virtual bool BlendImage(const char* name, int32_t width, int32_t height, TalMonPoint at,
                          uint8_t alpha) = 0;

  // Offers a decorated item before its primitives are painted. A device that shows the item
  // in its own way (a terminal) returns true, and the interpreter then skips the item's
  // primitives; text inside the item is drawn through DrawText all the same. Default: false.
  virtual bool Element(const TalMonElement& element);
  // Called by Draw before each row of each pass: row is the reader's row number, top the
  // row's top edge. Default: nothing.
  virtual void BeginRow(uint32_t row, int32_t top);
};

// What one paint is given. mouse is in client coordinates; leftButtonDown is the live state
// of the left mouse button (a pressed link is one under the mouse while it is down).
struct TalMonPaintInput {
  IMonitorReader* reader = nullptr;  // null: only the background (and frame) are painted
  TalMonRect client;
  TalScrollBarBase* horizontal = nullptr;   // counts pixels; may be null
  TalScrollBarBase* vertical = nullptr;     // counts rows; may be null
  bool border = false;                      // the control has a frame
  int backgroundMode = 0;                   // 1: vertical gradient, text drawn transparent
  TalMonPoint mouse{INT32_MIN, INT32_MIN};  // the default lies in no rectangle
  bool leftButtonDown = false;
};

// What one paint reports back.
struct TalMonPaintOutput {
  int32_t contentWidth = 0;   // the largest x reached by a row in this paint
  int32_t contentHeight = 0;  // row height x row count; set only when the frame needed it
  std::string hoverLink;      // target of the link under the mouse, "" when none
  std::string pressedLink;    // the same while the left button is down
};

// The interpreter. Draw paints the visible rows of a reader; the protected members are the
// steps of the markup, for classes that paint rows their own way (the Qt text control
// derives from this class). Rows are arbitrary bytes from other processes: no input makes
// the interpreter read outside the row, recurse without bound or loop without end.
class TALMON_EXPORT TalMonTextLayout {
 public:
  static constexpr int kMaxTabSets = 16;
  static constexpr int kMaxColumns = 16;
  // Gap in pixels that a tab stop adds before the next column.
  static constexpr int32_t kColumnGap = 21;

  // A named set of tab columns shared by all rows of a paint.
  struct TabSet {
    std::string name;
    // Widths while measuring, absolute x positions while drawing.
    int32_t column[kMaxColumns] = {};
    int32_t next = 0;   // index of the next column in the current row
    int32_t start = 0;  // x at which the current cell started
  };

  // The layout state of one paint (see Draw for what is reset per row).
  struct Context {
    const char* cursor = nullptr;
    TalMonDevice* device = nullptr;
    int32_t x = 0;
    int32_t y = 0;
    int32_t right = 0;
    bool bold = false;
    bool little = false;
    bool typewriter = false;
    bool flat = false;
    TalMonColor textColor = COLOR_WINDOWTEXT;
    TalMonColor backColor = COLOR_3DFACE;
    TabSet tabSets[kMaxTabSets];
    int32_t tabSetCount = 0;
    bool previousRowFlat = false;
    bool drawing = false;
    std::string hoverLink;
    std::string pressedLink;
    TalMonPoint mouse{INT32_MIN, INT32_MIN};
    bool leftButtonDown = false;
    // Bounds on the work of one row: nesting depth and interpretation steps left.
    int depth = 0;
    uint64_t steps = 0;
  };

  TalMonTextLayout() = default;
  virtual ~TalMonTextLayout();

  // Every row has this height, whatever its fonts.
  virtual int32_t GetRowHeight() const { return 21; }

  // One paint: a measuring pass, then a drawing pass, over the rows in view. Reads the bars'
  // positions (and in the drawing pass their page and range), never changes them. The rows
  // run from the vertical bar's position; a failing GetRow ends them. Always true.
  bool Draw(TalMonDevice& device, const TalMonPaintInput& input, TalMonPaintOutput& output);

 protected:
  // Interprets markup from ctx.cursor to the end of the row or to the ")" that closes the
  // current level, which it consumes. False only for a null cursor.
  bool DrawParse(Context& ctx);
  // Moves to the next tab stop of the unnamed set or, when named, of the set whose name is the
  // argument at the cursor. False when the stop is ignored (a 17th set or a 17th column): x
  // and the set stay as they were.
  bool ParseTab(Context& ctx, bool named);
  // Lays out, and in the drawing pass draws, length bytes of plain text; advances x.
  bool DrawTextA(Context& ctx, const char* text, int32_t length);
  // True when cursor stands on "(" keyword followed by ")", "(" or " "; the cursor then moves
  // past that character, and hasArgument tells whether it was "(" or " ". Byte-exact:
  //   "(tab)x" "tab"  =>  true, no argument, cursor at "x"
  //   "(tab a)" "tab" =>  true, argument, cursor at "a"
  //   "(tabs)" "tab"  =>  false, cursor unchanged
  static bool MatchTag(const char*& cursor, const char* keyword, bool& hasArgument);
  // Moves cursor past literal when the text starts with it.
  static bool MatchLiteral(const char*& cursor, const char* literal);
  // Copies the characters up to the next ")" into out and moves the cursor past that ")" (to
  // the end of the row when there is none).
  static bool ReadArgument(const char*& cursor, std::string& out);
  // The set whose name equals name ignoring ASCII case; a new set when none does; null when
  // all 16 are in use.
  TabSet* FindTabSet(Context& ctx, const std::string& name);
  // Prepares ctx for a row: the row's text and position, plain style, window text on the face
  // colour, every set back at its first column, and the row's work bounds.
  void ResetRow(Context& ctx, const char* text, int32_t x, int32_t y, int32_t right) const;
  // Between the passes: each set's column widths become absolute x positions.
  static void ColumnsToPositions(Context& ctx);

 private:
  // Interprets the tag at ctx.cursor; false when no known tag starts there.
  bool ParseTag(Context& ctx);
  // One per kind of tag, called with the cursor past the keyword; arg tells whether an
  // argument or content follows, tag which of the kinds that share a step it is.
  void DrawColumn(Context& ctx, bool arg);
  void ParseProgress(Context& ctx, bool arg);
  void DrawPea(Context& ctx);
  void ParseBand(Context& ctx, int tag, bool arg);  // title, underlined
  void ParseField(Context& ctx, bool arg);
  void ParseStyle(Context& ctx, int tag, bool arg);  // bold, little, typewriter
  void ParseError(Context& ctx, bool arg);
  void ParseLink(Context& ctx, bool arg);
  void ParseImage(Context& ctx, int tag, bool arg);  // icon, logo
  void DrawSeparator(Context& ctx);
  void DrawCheck(Context& ctx, int tag);  // true, false
  void ParseFlat(Context& ctx, bool arg);
  void ParseRight(Context& ctx, bool arg);
  void ParseRaw(Context& ctx, bool arg);
};
