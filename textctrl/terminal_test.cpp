// Rows rendered for a terminal of 40 columns: the cells and escape codes of each kind of row,
// with colour on and off.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "talmon/terminal.h"
#include "textctrl/vector_reader.h"

namespace {

using talmon_test::VectorReader;

std::string Repeat(const std::string& s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i)
    out += s;
  return out;
}

std::vector<std::string> Render(const std::vector<std::string>& rows, bool colour,
                                bool hyperlinks = true) {
  VectorReader reader(rows);
  TalMonTerminalOptions options;
  options.columns = 40;
  options.colour = colour;
  options.hyperlinks = hyperlinks;
  std::vector<std::string> lines;
  EXPECT_TRUE(TalMonRenderTerminal(reader, 0, static_cast<uint32_t>(rows.size()), options, lines));
  return lines;
}

TEST(Terminal, EachKindOfRow) {
  const std::string block = "\u2588", track = "\u2591";
  const struct {
    std::string row;
    std::string plain;
    std::string coloured;
  } cases[] = {
      {"(bold Total:) 42", "Total: 42", "\x1b[0;1mTotal:\x1b[0m 42"},
      {"(title Build)", " Build", "\x1b[0;7;34m Build" + std::string(34, ' ') + "\x1b[0m"},
      {"(error failed)", "failed", "\x1b[0;97;41mfailed\x1b[0m"},
      {"(field value)", " value", "\x1b[0;48;5;236m value" + std::string(34, ' ') + "\x1b[0m"},
      {"(little small) (typewriter tt)", "small tt",
       "\x1b[0;2msmall\x1b[0m \x1b[0;48;5;236mtt\x1b[0m"},
      {"(underlined u)", " u", "\x1b[0;4m u" + std::string(38, ' ') + "\x1b[0m"},
      {"a(separator)", "a" + Repeat("\u2500", 39), "a" + Repeat("\u2500", 39)},
      {"(progress 50)(total 100)", Repeat(block, 20) + Repeat(track, 20),
       "\x1b[0;34m" + Repeat(block, 20) + "\x1b[0;2m" + Repeat(track, 20) + "\x1b[0m"},
      {"(progress 1)(total 3)", Repeat(block, 13) + "\u258E" + Repeat(track, 26),
       "\x1b[0;34m" + Repeat(block, 13) + "\u258E\x1b[0;2m" + Repeat(track, 26) + "\x1b[0m"},
      // Unknown total: the moving block, 7/25 along, in eighths.
      {"(progress 7)", Repeat(track, 11) + "\u2589\u258B" + Repeat(track, 27),
       "\x1b[0;2m" + Repeat(track, 11) + "\x1b[0;34m\u2589\u258B\x1b[0;2m" + Repeat(track, 27) +
           "\x1b[0m"},
      {"(link)go)", "go", "\x1b[0;4mgo\x1b[0m"},  // no target: no hyperlink
      {"(link http://x/a)docs)", "docs",
       "\x1b]8;;http://x/a\x1b\\\x1b[0;4mdocs\x1b]8;;\x1b\\\x1b[0m"},
      // Control characters in a target cannot end the hyperlink early.
      {"(link a\x1b\\b\xc3\xa9)x)", "x", "\x1b]8;;a\\b%C3%A9\x1b\\\x1b[0;4mx\x1b]8;;\x1b\\\x1b[0m"},
      {"(icon dialog-warning) Done", "[d] Done", "[d] Done"},
      {"(logo talmon)", "[talm]", "[talm]"},
      {"(true)(false)", "\u2612\u2610", "\u2612\u2610"},
      {"a(column)b", "a  \u2502b", "a  \x1b[0;2m\u2502\x1b[0mb"},
      {std::string(50, 'x'), std::string(39, 'x') + "\u2026", std::string(39, 'x') + "\u2026"},
      // Nothing a row holds reaches the terminal as a control sequence; UTF-8 passes.
      {"a\x1b[31mb\x07\x9b"
       "c\xff\xc2\x9b\xc3\xa9",
       "a?[31mb??c??\xc3\xa9", "a?[31mb??c??\xc3\xa9"},
      {"(raw 3 a\tb)", "a b", "a b"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Render({c.row}, false), std::vector<std::string>{c.plain}) << "case: " << c.row;
    EXPECT_EQ(Render({c.row}, true), std::vector<std::string>{c.coloured}) << "case: " << c.row;
  }
  EXPECT_EQ(Render({"(link t)go)"}, true, false), std::vector<std::string>{"\x1b[0;4mgo\x1b[0m"});
}

TEST(Terminal, ColumnsLineUpAcrossRows) {
  EXPECT_EQ(Render({"(tab)a(tab)b", "(tab)longer(tab)b"}, false),
            (std::vector<std::string>{"   a        b", "   longer   b"}));
  EXPECT_EQ(Render({"a(column)b", "abc(column)d"}, false),
            (std::vector<std::string>{"a    \u2502b", "abc  \u2502d"}));
}

TEST(Terminal, RendersTheRowsAsked) {
  VectorReader reader({"r0", "r1", "r2", "r3", "r4"});
  TalMonTerminalOptions options;
  options.colour = false;
  std::vector<std::string> lines;
  EXPECT_TRUE(TalMonRenderTerminal(reader, 3, 10, options, lines));
  EXPECT_EQ(lines, (std::vector<std::string>{"r3", "r4"}));
  EXPECT_TRUE(TalMonRenderTerminal(reader, 1, 1, options, lines));
  EXPECT_EQ(lines, (std::vector<std::string>{"r1"}));
  EXPECT_TRUE(TalMonRenderTerminal(reader, 5, 1, options, lines));
  EXPECT_TRUE(lines.empty());
  EXPECT_TRUE(TalMonRenderTerminal(reader, 4, UINT32_MAX, options, lines));
  EXPECT_EQ(lines, (std::vector<std::string>{"r4"}));
  options.columns = 0;
  EXPECT_FALSE(TalMonRenderTerminal(reader, 0, 5, options, lines));
  EXPECT_TRUE(lines.empty());
}

}  // namespace
