// The screen the layout and paint benchmarks share: 50 rows of mixed markup behind a reader,
// and the bytes they hold. Header-only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "talmon/textctrl.h"
#include "textctrl/vector_reader.h"

namespace talmon_bench {

// One screen: 50 rows of mixed markup behind a reader, and the bytes they hold.
struct Screen {
  Screen() : Screen(MixedRows()) {}
  explicit Screen(const std::vector<std::string>& rows) : reader(rows) {
    for (const std::string& row : rows)
      bytes += static_cast<int64_t>(row.size());
  }
  static std::vector<std::string> MixedRows() {
    const char* kinds[] = {
        "(title Build of the release)",
        "(bold Step 3 of 9:) compiling (typewriter core/file.cpp) with -O2",
        "(tab)name(tab)size(tab)time",
        "(tab)page.cpp(tab)48213(tab)00:00:03",
        "(tab)text_layout.cpp(tab)120877(tab)00:00:11",
        "(error (bold error:) cannot open (typewriter missing.h))",
        "see (link https://example.org/build/42)the log) for details",
        "(progress 37)(total 100)",
        "(separator)",
        "(flat a flat row with (column)two(column)columns)",
        "(icon dialog-information) 14 files copied (right 12:00:01)",
        "(raw 11 f(x) = (y))",
        "\t\t(pea)a nested item with (little small print)",
        "(field 42) (true) done (false) skipped",
        "plain text of a log row that goes on for a while, as log rows do",
    };
    std::vector<std::string> rows;
    for (int i = 0; i < 50; ++i)
      rows.push_back(kinds[i % (sizeof kinds / sizeof *kinds)]);
    return rows;
  }

  // A paint of the whole screen at once, the mouse over a row.
  TalMonPaintInput Input() {
    TalMonPaintInput input;
    input.reader = &reader;
    input.client = {0, 0, 900, 50 * 21 + 10};
    input.mouse = {100, 140};
    return input;
  }

  talmon_test::VectorReader reader;
  int64_t bytes = 0;
};

}  // namespace talmon_bench
