// Fuzz target for the markup interpreter: the input is split at line feeds into rows, which
// are laid out and drawn (both passes) on the terminal device. Rows come from other processes,
// so any bytes must render, never crash or loop.
//
// Input: the first byte picks the width in cells (1 to 256) and whether colour and links are
// on; the rest is the rows.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "talmon/terminal.h"
#include "textctrl/vector_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  TalMonTerminalOptions options;
  options.columns = 1 + (data[0] & 0x7F) * 2;
  options.colour = (data[0] & 0x80) != 0;
  options.hyperlinks = options.colour;
  std::vector<std::string> rows(1);
  for (size_t i = 1; i < size; ++i) {
    // A page row never holds its line feed nor a zero byte: both end it.
    if (data[i] == '\n' || data[i] == 0) {
      rows.emplace_back();
    } else {
      rows.back() += static_cast<char>(data[i]);
    }
  }
  talmon_test::VectorReader reader(std::move(rows));
  uint32_t count = 0;
  reader.GetCount(count);
  std::vector<std::string> lines;
  TalMonRenderTerminal(reader, 0, count, options, lines);
  return 0;
}
