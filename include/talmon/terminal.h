// Monitor rows shown in a text terminal: the terminal drawing device, which turns the
// interpreter's pixels into character cells (one cell per 7 px), and TalMonRenderTerminal,
// the one call a terminal viewer needs. Any thread; one device per thread at a time.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "talmon/export.h"
#include "talmon/monitor.h"
#include "talmon/textctrl.h"

struct TalMonTerminalOptions {
  uint32_t columns = 80;   // cells per line; 0 renders nothing
  bool colour = true;      // false: plain text, not a single escape sequence
  bool hyperlinks = true;  // links as OSC 8 hyperlinks (only with colour on)
};

// Renders rows [first, first + count) of reader, those that exist, into lines: one line per
// row, at most options.columns cells each, trailing blanks dropped. The rows are laid out in
// one paint, so tab columns line up across them (across these rows only: a different window
// of rows may place them differently). With colour on, a line carries ANSI SGR attributes and
// resets them at its end:
//   bold           bold (SGR 1)
//   title          reverse video in the highlight colour over the rest of the row
//   error          white on a red background over the error's box
//   field, flat    a subtle grey background; typewriter text too (its back colour), unless
//                  a title among the rows made all text transparent
//   little         dim; typewriter is plain
//   link           underlined, and with hyperlinks an OSC 8 link to its target:
//                  "\e]8;;TARGET\e\\label\e]8;;\e\\"
//   progress       block characters with eighths ("█▉▊▋▌▍▎▏") in the highlight colour over a
//                  track of "░"; the moving block for an unknown total
//   separator      "─" to the end of the row
//   column         "│" between the columns
//   icon, logo     the name in brackets, cut to the image's place: "[w]", "[logo]"
//   true, false    "☒", "☐"
// Text is UTF-8 and passes through, a sequence counting as one cell; control characters and
// bytes that are not UTF-8 become "?", so rows from other processes cannot drive the
// terminal. Content wider than the terminal is cut with "…".
// False when the reader cannot count its rows or columns is 0 (lines then empty).
//   row "(bold Total:) 42", colour off  =>  "Total: 42"
//   rows "(tab)a(tab)b", "(tab)longer(tab)b"  =>  "   a        b", "   longer   b"
TALMON_EXPORT bool TalMonRenderTerminal(IMonitorReader& reader, uint32_t first, uint32_t count,
                                        const TalMonTerminalOptions& options,
                                        std::vector<std::string>& lines);

// The device behind TalMonRenderTerminal, for callers that run the layout themselves. The
// client area maps to cells with 5 px margins: cell c starts at x = 5 + 7c, and an x belongs
// to the nearest cell boundary. Each row begun (BeginRow) since Reset has its line, which
// both passes of a paint share; only the drawing pass writes cells.
class TALMON_EXPORT TalMonTerminalDevice : public TalMonDevice {
 public:
  static constexpr int32_t kCellWidth = 7;
  static constexpr int32_t kMargin = 5;

  explicit TalMonTerminalDevice(const TalMonTerminalOptions& options);
  ~TalMonTerminalDevice() override;

  // Forgets every line and link target.
  void Reset();
  // The lines of the rows begun since Reset, in row order.
  std::vector<std::string> Lines() const;

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
  bool Element(const TalMonElement& element) override;
  void BeginRow(uint32_t row, int32_t top) override;

 private:
  struct Cell {
    char32_t ch = U' ';
    uint8_t back = 0;  // 0 none, 1 subtle, 2 error red
    bool bold = false;
    bool dim = false;
    bool underline = false;
    bool reverse = false;
    bool highlight = false;
    uint32_t link = 0;  // 1 + index into links_; 0 for none
  };
  using Cells = std::vector<Cell>;

  // The cell column of x, which may lie outside [0, columns).
  int64_t ColumnOf(int32_t x) const;
  // Calls paint on each cell of the current line from the column of fromX up to, not
  // including, the column of toX.
  template <typename F>
  void ForCells(int32_t fromX, int32_t toX, F paint);
  void Put(int64_t column, char32_t ch);
  std::string Encode(const Cells& cells) const;

  TalMonTerminalOptions options_;
  TalMonFont font_ = TalMonFont::kNormal;
  TalMonColor textColour_ = COLOR_WINDOWTEXT;
  TalMonColor backColour_ = COLOR_3DFACE;
  TalMonBkMode mode_ = TalMonBkMode::kOpaque;
  std::map<uint32_t, Cells> lines_;
  Cells* line_ = nullptr;
  std::vector<std::string> links_;
};
