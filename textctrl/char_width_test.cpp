// Cell widths at the edges of the ranges, where an off-by-one would misalign a terminal row.
#include "textctrl/char_width.h"

#include <gtest/gtest.h>

namespace {

TEST(CellWidth, NarrowWideAndCombiningCharacters) {
  const struct {
    char32_t cp;
    int width;
  } cases[] = {
      {U'a', 1},          {U'\u00e9', 1},     {U'\u0300', 0},     {U'\u036f', 0},
      {U'\u0370', 1},     {U'\u10ff', 1},     {U'\u1100', 2},     {U'\u115f', 2},
      {U'\u1160', 0},     {U'\u200d', 0},     {U'\u2500', 1},     {U'\u2588', 1},
      {U'\u2e7f', 1},     {U'\u2e80', 2},     {U'\u3000', 2},     {U'\u4e00', 2},
      {U'\u9fff', 2},     {U'\uac00', 2},     {U'\ud7a3', 2},     {U'\ud7a4', 1},
      {U'\ufe0f', 0},     {U'\uff01', 2},     {U'\uff61', 1},     {U'\U0001f600', 2},
      {U'\U0001f3fb', 0}, {U'\U0001f680', 2}, {U'\U0001f700', 1}, {U'\U00020000', 2},
      {U'\U0010ffff', 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(talmon::CellWidth(c.cp), c.width)
        << "case: U+" << std::hex << static_cast<uint32_t>(c.cp);
  }
}

}  // namespace
