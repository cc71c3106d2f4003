// The rendering side of the terminal tool: rows of a reader printed as terminal lines, and
// the follower that keeps printing the new rows of live pages and redraws their changing tail.
// Single-threaded.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "talmon/monitor.h"
#include "talmon/row_batch.h"
#include "talmon/terminal.h"

namespace talmon::cli {

// Prints rows as lines, one line per row, a block of rows per rendering so that memory stays
// flat however long the page is. Tab columns line up within a block.
class RowPrinter {
 public:
  static constexpr uint32_t kBlockRows = 256;

  RowPrinter(std::FILE* out, const TalMonTerminalOptions& options);
  ~RowPrinter();
  void SetColumns(uint32_t columns);
  // Prints rows [first, end) of reader; stops early at a row the reader cannot give. Returns
  // the number of rows printed.
  uint32_t Print(IMonitorReader& reader, uint32_t first, uint32_t end);
  // Prints the rows given.
  void Print(const std::vector<std::string>& rows);

 private:
  class Block;
  // Renders and writes the first count rows of the block; the number of lines written.
  uint32_t PrintBlock(uint32_t count);

  std::FILE* out_;
  TalMonTerminalOptions options_;
  // Kept from block to block, with the storage they have grown.
  std::unique_ptr<Block> block_;
  std::unique_ptr<TalMonTerminalDevice> device_;
  std::vector<std::string> lines_;
};

// Follows pages the way `tail -f` follows files: each page is read on its own and every new
// row is printed once, when it arrives; the rows that arrive together are printed in the
// view's order (by stamp for the merged view, pages by name for the page-order view), which is
// as much of that order as is known when they are printed. The last rows printed of each page
// (its window) are compared at every Step with what the page now holds, because a producer's
// temporary row is replaced in place and dropped rows lower the count: changed rows are
// printed again below, so that no state a reader saw is lost, or on a terminal redrawn in
// place when they are the last lines on the screen.
class PageFollower {
 public:
  enum class Order { kStamp, kPageName };

  PageFollower(RowPrinter& printer, std::FILE* out, bool redraw, Order order)
      : printer_(printer), out_(out), redraw_(redraw), order_(order) {}
  ~PageFollower();
  PageFollower(const PageFollower&) = delete;
  PageFollower& operator=(const PageFollower&) = delete;

  // Follows page through reader, which it then owns; false (reader closed) when that page is
  // followed already.
  bool Add(const std::string& page, IMonitorReader* reader);
  const std::vector<std::string>& Pages() const { return names_; }
  // Takes every row of the followed pages as printed but the last rows of the view: the
  // last rows by stamp of the pages' own last rows (by stamp), or the last pages' rows (by
  // page name). The next Step prints those rows; call it before the first Step. By stamp,
  // that is the merged view's tail whenever no page is left behind by the merge (pages of
  // one producer never are).
  void StartAtTail(uint32_t rows);
  // How many of each page's last rows may still change and be redrawn; on a terminal at most
  // its height less one, as the cursor cannot move above the screen.
  void SetWindow(uint32_t rows) { windowRows_ = rows == 0 ? 1 : rows; }
  // Prints what is new or changed since the last Step; true when anything was. more: rows
  // were left for the next Step (at most kStepRows are taken from a page at a time). An empty
  // last row is the row a line feed has just begun: it is printed only once a row follows it,
  // or at the final Step, when nothing can add rows any more.
  bool Step(bool final, bool& more);

  static constexpr uint32_t kStepRows = 8192;

 private:
  struct Page;
  struct Row {
    uint32_t stamp;
    size_t page;
    uint32_t row;
    std::string text;
  };
  // Reads page's changed and new rows into rows; returns the first row that changed or is
  // new (the page's printed count when none did).
  uint32_t Collect(size_t page, bool final, std::vector<Row>& rows, bool& more);
  // On a terminal, moves back over the lines of page from row on when they are the last lines
  // printed, and clears them.
  void Redraw(size_t page, uint32_t row);
  void Sort(std::vector<Row>& rows) const;
  // Compares two followed pages by name, case ignored.
  bool NameBefore(size_t a, size_t b) const;
  // Prints rows, whose texts it takes.
  void Print(std::vector<Row>& rows);

  RowPrinter& printer_;
  std::FILE* out_;
  bool redraw_;
  Order order_;
  uint32_t windowRows_ = 32;
  std::vector<std::unique_ptr<Page>> pages_;
  std::vector<std::string> names_;
  // The page and row of each of the last lines printed, oldest first.
  std::deque<std::pair<size_t, uint32_t>> shown_;
  TalMonitorRowBatch batch_;  // Collect's read of a page, kept for its storage
};

}  // namespace talmon::cli
