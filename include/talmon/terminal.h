// Monitor rows shown in a text terminal: the terminal drawing device, which turns the
// interpreter's pixels into character cells (one cell per 7 px), and TalMonRenderTerminal,
// the one call a terminal viewer needs. Any thread; one device per thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
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

  // Forgets every line, link target and drawing state (font, colours, background mode): the
  // device is as new, and keeps the storage its lines had grown.
  void Reset();
  const TalMonTerminalOptions& Options() const { return options_; }
  // The lines of the rows begun since Reset, in row order.
  std::vector<std::string> Lines() const;
  // The same into lines, whose strings keep their storage: a caller that renders block after
  // block reuses it instead of allocating every line anew.
  void Lines(std::vector<std::string>& lines) const;

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
  // Trivial, so that a line's storage costs nothing until the row paints it (Reach).
  struct Cell {
    char32_t ch;
    uint8_t back;  // 0 none, 1 subtle, 2 error red
    bool bold;
    bool dim;
    bool underline;
    bool reverse;
    bool highlight;
    uint32_t link;  // 1 + index into links_; 0 for none
  };
  // A row's line. Its cells hold what was painted from column 0 up to painted; those beyond,
  // up to options_.columns, are blank. Most rows fill a fraction of a wide terminal, and a
  // paint then never pays for the width it leaves empty. The row's number is kept in rows_.
  struct RowLine {
    uint32_t painted;
  };

  // A cell nothing has painted: a blank with no attribute and no link.
  static Cell Blank();
  // The cell column of x, which may lie outside [0, columns).
  int64_t ColumnOf(int32_t x) const;
  // The current line's cells, blank up to end (at most options_.columns) where nothing was
  // painted yet; null when no row has begun.
  Cell* Reach(int64_t end);
  // Calls paint on each cell of the current line from the column of fromX up to, not
  // including, the column of toX.
  template <typename F>
  void ForCells(int32_t fromX, int32_t toX, F paint);
  void Put(int64_t column, char32_t ch);
  // Replaces out with the text and escape codes of a line's first count cells.
  void Encode(const Cell* cells, size_t count, std::string& out) const;

  TalMonTerminalOptions options_;
  TalMonFont font_ = TalMonFont::kNormal;
  TalMonColor textColour_ = COLOR_WINDOWTEXT;
  TalMonColor backColour_ = COLOR_3DFACE;
  TalMonBkMode mode_ = TalMonBkMode::kOpaque;
  // One block for all lines, the k-th begun at k * options_.columns, grown by doubling: a
  // paint allocates a few times, not once per row.
  std::unique_ptr<Cell[]> cells_;
  size_t capacity_ = 0;                            // lines cells_ has room for
  std::vector<RowLine> lines_;                     // in the order rows were first begun
  std::vector<std::pair<uint32_t, size_t>> rows_;  // row => index in lines_, by row
  size_t next_ = 0;          // the entry of rows_ after the one BeginRow found last
  RowLine* line_ = nullptr;  // the current row's
  Cell* lineCells_ = nullptr;
  std::vector<std::string> links_;
};

// TalMonRenderTerminal with device's options, through a device the caller keeps from call to
// call (it is Reset first): a viewer that shows a long page block by block then allocates
// nothing per block once the first has grown the device and lines.
TALMON_EXPORT bool TalMonRenderTerminal(IMonitorReader& reader, uint32_t first, uint32_t count,
                                        TalMonTerminalDevice& device,
                                        std::vector<std::string>& lines);
