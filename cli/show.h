// The rendering side of the terminal tool: rows of a reader printed as terminal lines, and
// the follower that keeps printing a live reader's new rows and redraws its changing tail.
// Single-threaded.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "talmon/monitor.h"
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

 private:
  class Block;

  std::FILE* out_;
  TalMonTerminalOptions options_;
  // Kept from block to block, with the storage they have grown.
  std::unique_ptr<Block> block_;
  std::unique_ptr<TalMonTerminalDevice> device_;
  std::vector<std::string> lines_;
};

// Follows a live reader the way `tail -f` follows a file. Rows already printed stay; the last
// few printed (the window) are compared at each Step with what the reader now holds, because a
// producer's temporary row is replaced in place and dropped rows lower the count. On a
// terminal the window is redrawn in place at every change (cursor up, clear, print again), so
// the rows on screen share their tab columns; elsewhere changed rows are printed again below,
// so that no state a reader saw is lost.
class RowFollower {
 public:
  RowFollower(RowPrinter& printer, std::FILE* out, bool redraw)
      : printer_(printer), out_(out), redraw_(redraw) {}
  // How many of the last printed rows may still be redrawn; on a terminal at most its height
  // less one, as the cursor cannot move above the screen.
  void SetWindow(uint32_t rows) { windowRows_ = rows == 0 ? 1 : rows; }
  // Prints what is new or changed since the last Step; true when anything was.
  bool Step(IMonitorReader& reader);
  uint32_t Printed() const { return printed_; }

 private:
  RowPrinter& printer_;
  std::FILE* out_;
  bool redraw_;
  uint32_t windowRows_ = 32;
  uint32_t printed_ = 0;
  std::deque<std::string> window_;  // texts of rows [printed_ - size, printed_)
};

}  // namespace talmon::cli
