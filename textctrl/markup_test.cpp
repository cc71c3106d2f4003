// The markup interpreter on single rows: what text is drawn, in which font and where, and
// the rectangles and colours of each decorated item, on the recording device.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "talmon/terminal.h"
#include "textctrl/layout_testing.h"

namespace {

using talmon_test::PaintRows;
using Op = TalMonRecordedCall;
using F = TalMonFont;

// "text@x/font" for each drawn run: compact enough to compare whole rows at once.
std::string Runs(const TalMonRecordingDevice& device) {
  std::string out;
  for (const TalMonRecordedCall& c : device.Of(Op::kDrawText)) {
    if (!out.empty()) out += " ";
    out +=
        c.text + "@" + std::to_string(c.origin.x) + "/" + std::to_string(static_cast<int>(c.font));
  }
  return out;
}

TEST(Markup, TextFontsAndNesting) {
  struct Case {
    const char* row;
    const char* runs;  // text@x/font; fonts: 0 normal, 1 bold, 2 typewriter, 3 both, 4 little
  };
  const Case cases[] = {
      {"plain text", "plain text@5/0"},
      {"(bold)x", "x@5/0"},            // a tag without content
      {"(bold(x)y)", "x@5/1 y@12/0"},  // "(" after the keyword starts the content
      {"a) b", "a@5/0"},               // ")" at the outermost level ends the row
      {"(bold a(little b)c)d", "a@5/1 b@12/4 c@19/1 d@26/0"},
      {"(bold (bold a)b)", "a@5/1 b@12/0"},  // bold is cleared, not restored
      {"(typewriter a(bold b))", "a@5/2 b@12/3"},
      {"(little (bold x))", "x@5/4"},      // little wins over everything
      {"(foo) x", "(@5/0 foo@12/0"},       // unknown tag: "(" as text, then plain
      {"(tabs)x", "(@5/0 tabs@12/0"},      // keywords match byte-exactly
      {"(bold", "(@5/0 bold@12/0"},        // no delimiter after the keyword
      {"(raw 5 (a)b))tail", "(a)b)@5/0"},  // the raw span's ")" ends the level
      {"(bold (raw 2 ())x)y", "()@5/1 x@19/0"},
      {"(raw 99 ab", "ab@5/0"},  // never past the row's end
      {"(raw)x", "x@5/0"},
      {"(flat", "(@5/0 flat@12/0"},
      {"(flat ", ""},
      {"(icon info)x", "x@25/0"},            // icon: 16 + 4 px
      {"(logo big)x", "x@49/0"},             // logo: 40 + 4 px
      {"(true)x(false)y", "x@14/0 y@30/0"},  // 9 px squares
      {"(pea)x", "x@5/0"},
      {"a(right abc)", "a@5/0 abc@372/0"},  // 395 - 21 - 2: measured, then drawn there
      {"(right (bold xy))z", "xy@379/1 z@393/0"},
  };
  for (const Case& c : cases) {
    auto paint = PaintRows({c.row});
    EXPECT_EQ(Runs(paint.device), c.runs) << "case: " << c.row;
  }
}

TEST(Markup, Progress) {
  // The bar spans (5, 9, 395, 19); the fill is the bar less 1 px: left 6, width 388.
  struct Case {
    const char* row;
    TalMonRect fill;
  };
  const Case cases[] = {
      {"(progress 30)(total 120)", {6, 10, 6 + 97, 18}},
      {"(progress 100)(total 100)", {6, 10, 394, 18}},
      {"(progress 150)(total 100)", {6 + 194, 10, 394, 18}},  // wraps: from the middle on
      {"(progress 7)", {6 + 108, 10, 6 + 108 + 15, 18}},      // moving block, 7/25 along
      {"(progress 5)(total 0)", {6 + 77, 10, 6 + 77 + 15, 18}},
      {"(progress x)(total y)", {6, 10, 6 + 15, 18}},               // atoi: not a number is 0
      {"(progress 2147483647)(total -1)", {6, 10, 394, 18}},        // no overflow in the products
      {"(progress 99999999999)(total 3)", {6 + 129, 10, 394, 18}},  // clamped to 2^31 - 1
  };
  for (const Case& c : cases) {
    auto paint = PaintRows({c.row + std::string("x")});
    auto frames = paint.device.Of(Op::kFrame3d);
    auto fills = paint.device.Of(Op::kFill);
    ASSERT_EQ(frames.size(), 1u) << "case: " << c.row;
    ASSERT_EQ(fills.size(), 2u) << "case: " << c.row;  // the background, then the fill
    EXPECT_EQ(frames[0].rect, (TalMonRect{5, 9, 395, 19})) << "case: " << c.row;
    EXPECT_EQ(frames[0].colour, COLOR_BTNSHADOW) << "case: " << c.row;
    EXPECT_EQ(fills[1].rect, c.fill) << "case: " << c.row;
    EXPECT_EQ(fills[1].colour, COLOR_HIGHLIGHT) << "case: " << c.row;
    EXPECT_EQ(Runs(paint.device), "x@395/0") << "case: " << c.row;  // the bar takes the row
  }
}

TEST(Markup, ErrorBoxIsPaintedUnderItsText) {
  // Drawn once to find the box, which is filled, then drawn again over it; what follows keeps
  // the red back colour.
  auto paint = PaintRows({"(error oops)b"});
  std::string order;
  for (const auto& c : paint.device.calls) {
    if (c.op == Op::kFill && c.colour == kTalMonErrorColor) {
      order += " box";
      EXPECT_EQ(c.rect, (TalMonRect{5, 5, 33, 21}));
    } else if (c.op == Op::kDrawText) {
      order += " " + c.text + "@" + std::to_string(c.origin.x);
      EXPECT_EQ(c.backColour, kTalMonErrorColor) << c.text;
    }
  }
  EXPECT_EQ(order, " oops@5 box oops@5 b@33");
}

TEST(Markup, Links) {
  // Button (5, 6, 23, 22): 2 px, "go" (14 px), 2 px.
  struct Case {
    TalMonPoint mouse;
    bool down;
    const char* hover;
    const char* pressed;
    TalMonColor frameTopLeft;
    int32_t labelX, labelY;
  };
  const Case cases[] = {
      {{10, 10}, false, "http://x", "", COLOR_BTNHIGHLIGHT, 7, 6},
      {{10, 10}, true, "http://x", "http://x", COLOR_BTNSHADOW, 8, 7},
      {{22, 21}, true, "http://x", "http://x", COLOR_BTNSHADOW, 8, 7},
      {{23, 10}, true, "", "", COLOR_BTNHIGHLIGHT, 7, 6},  // right edge is outside
      {{10, 22}, true, "", "", COLOR_BTNHIGHLIGHT, 7, 6},
  };
  for (const Case& c : cases) {
    TalMonPaintInput input;
    input.mouse = c.mouse;
    input.leftButtonDown = c.down;
    auto paint = PaintRows({"(link http://x)go)b"}, input);
    SCOPED_TRACE(testing::Message()
                 << "mouse " << c.mouse.x << "," << c.mouse.y << " down " << c.down);
    EXPECT_EQ(paint.output.hoverLink, c.hover);
    EXPECT_EQ(paint.output.pressedLink, c.pressed);
    auto frames = paint.device.Of(Op::kFrame3d);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].rect, (TalMonRect{5, 6, 23, 22}));
    EXPECT_EQ(frames[0].colour, c.frameTopLeft);
    auto texts = paint.device.Of(Op::kDrawText);
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[1].origin.x, c.labelX);
    EXPECT_EQ(texts[1].rect.top, c.labelY);
    EXPECT_EQ(texts[1].backColour, COLOR_3DFACE);
    // After the link: x past the button, one pixel lower, the back colour restored.
    EXPECT_EQ(texts[2].origin.x, 23);
    EXPECT_EQ(texts[2].rect.top, 6);
  }
}

TEST(Markup, Decorations) {
  const TalMonColor kShadow = COLOR_BTNSHADOW, kLight = COLOR_BTNHIGHLIGHT;
  const TalMonColor kCaption = COLOR_ACTIVECAPTION, kGradient = COLOR_GRADIENTACTIVECAPTION;
  struct Case {
    const char* row;
    Op::Op op;
    int index;  // among the calls of op
    TalMonRect rect;
    TalMonColor colour;
    TalMonColor colour2;
  };
  const Case cases[] = {
      {"(title T)", Op::kGradientH, 0, {5, 5, 395, 24}, kCaption, kGradient},
      {"(underlined u)", Op::kGradientH, 0, {5, 23, 395, 25}, kCaption, kGradient},
      {"(field v)", Op::kFill, 1, {7, 5, 395, 22}, COLOR_WINDOW, 0},
      {"(field v)", Op::kFrame3d, 0, {6, 5, 395, 23}, kShadow, kLight},
      {"ab(separator)", Op::kFrame3d, 0, {14, 19, 400, 21}, kShadow, kLight},
      {"(true)", Op::kFill, 1, {5, 9, 14, 18}, kTalMonWhite, 0},
      {"(false)", Op::kFill, 1, {5, 9, 14, 18}, kTalMonBlack, 0},
      {"(false)", Op::kFrame3d, 0, {5, 9, 14, 18}, kShadow, kLight},
      {"abc(pea)", Op::kFrame3d, 0, {7, 8, 18, 19}, kShadow, kLight},
      {"(icon warning)", Op::kImage, 0, {6, 6, 22, 22}, 0, 0},
      {"(logo big)", Op::kImage, 0, {6, 6, 46, 46}, 0, 0},
  };
  for (const Case& c : cases) {
    auto paint = PaintRows({c.row});
    auto calls = paint.device.Of(c.op);
    ASSERT_GT(calls.size(), static_cast<size_t>(c.index)) << "case: " << c.row;
    EXPECT_EQ(calls[c.index].rect, c.rect) << "case: " << c.row;
    EXPECT_EQ(calls[c.index].colour, c.colour) << "case: " << c.row;
    EXPECT_EQ(calls[c.index].colour2, c.colour2) << "case: " << c.row;
  }
}

TEST(Markup, TitleKeepsItsColoursForTheRestOfTheRow) {
  // The caption colour ends with the row; the transparent mode never does, and the
  // measuring pass already set it for the whole drawing pass, rows above the title included.
  auto paint = PaintRows({"a", "(title T)x", "y"});
  auto texts = paint.device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 4u);
  EXPECT_EQ(texts[1].origin.x, 9);
  const TalMonColor colours[] = {COLOR_WINDOWTEXT, COLOR_CAPTIONTEXT, COLOR_CAPTIONTEXT,
                                 COLOR_WINDOWTEXT};
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(texts[i].textColour, colours[i]) << texts[i].text;
    EXPECT_EQ(texts[i].mode, TalMonBkMode::kTransparent) << texts[i].text;
  }
}

TEST(Markup, FlatRowsJoinIntoOneBox) {
  // Row tops: 5, 26, 47. The "(flat " row draws nothing and does not count as flat.
  auto paint = PaintRows({"(flat a)", "(flat b)", "(flat ", "(flat c)"});
  auto fills = paint.device.Of(Op::kFill);
  ASSERT_EQ(fills.size(), 5u) << paint.device.Describe();
  EXPECT_EQ(fills[1].rect, (TalMonRect{5, 5, 393, 23}));
  EXPECT_EQ(fills[2].rect, (TalMonRect{5, 26, 393, 44}));
  EXPECT_EQ(fills[3].rect, (TalMonRect{5, 23, 393, 44}));  // raised into the row above
  EXPECT_EQ(fills[4].rect, (TalMonRect{5, 68, 393, 86}));
  auto lines = paint.device.Of(Op::kLine);
  ASSERT_EQ(lines.size(), 11u) << paint.device.Describe();
  // First row: top, left, right, bottom; the joined row has no top line.
  EXPECT_EQ(lines[0].rect, (TalMonRect{5, 5, 393, 5}));
  EXPECT_EQ(lines[0].colour, COLOR_BTNSHADOW);
  EXPECT_EQ(lines[2].rect, (TalMonRect{393, 5, 393, 24}));
  EXPECT_EQ(lines[2].colour, COLOR_BTNHIGHLIGHT);
  EXPECT_EQ(lines[4].rect, (TalMonRect{5, 23, 5, 44}));
  EXPECT_EQ(lines[7].rect, (TalMonRect{5, 68, 393, 68}));  // after "(flat ": a new box
  auto texts = paint.device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_EQ(texts[0].origin.x, 13);
  EXPECT_EQ(texts[0].backColour, COLOR_WINDOW);
}

TEST(Markup, ColumnDividers) {
  // The flat row's 8 px inset puts column 0 at 5 + 8 + 7 + 21 = 41 in every row; dividers
  // at x - 10 and x - 9.
  auto paint = PaintRows({"a(column)b", "(flat a(column)b)", "a(column)b"});
  auto lines = paint.device.Of(Op::kLine);
  std::vector<TalMonRecordedCall> dividers;
  for (const auto& l : lines) {
    if (l.rect.left == 31 || l.rect.left == 32) dividers.push_back(l);
  }
  ASSERT_EQ(dividers.size(), 6u) << paint.device.Describe();
  EXPECT_EQ(dividers[0].rect, (TalMonRect{31, 5, 31, 23}));
  EXPECT_EQ(dividers[0].colour, COLOR_BTNSHADOW);
  EXPECT_EQ(dividers[1].colour, COLOR_BTNHIGHLIGHT);
  EXPECT_EQ(dividers[2].colour, COLOR_BTNHIGHLIGHT);  // flat row: swapped
  EXPECT_EQ(dividers[3].colour, COLOR_BTNSHADOW);
  EXPECT_EQ(dividers[4].rect, (TalMonRect{31, 47 - 4, 31, 65}));  // below a flat row: joined
}

TEST(Markup, TabColumnsLineUpAcrossRows) {
  struct Case {
    std::vector<std::string> rows;
    std::vector<int32_t> x;  // origin of each drawn run, in order
  };
  const Case cases[] = {
      {{"(tab)a(tab)b", "(tab)longer(tab)b"}, {26, 89, 26, 89}},
      {{"\ta", "\t\tb"}, {26, 47}},  // leading tabs: section indents
      // The first stop of a named set has no gap; names ignore case; sets are separate.
      {{"(tab n)a(tab n)b", "(tab N)xyz(tab N)b", "(tab)c"}, {5, 47, 5, 47, 26}},
      {{"(column k)a(column k)b", "(tab K)abcd(tab K)c"}, {5, 54, 5, 54}},
  };
  for (const Case& c : cases) {
    auto paint = PaintRows(c.rows);
    std::vector<int32_t> x;
    for (const auto& t : paint.device.Of(Op::kDrawText))
      x.push_back(t.origin.x);
    EXPECT_EQ(x, c.x) << "case: " << c.rows[0] << "\n" << paint.device.Describe();
  }
}

TEST(Markup, StopsBeyondTheTableAreIgnored) {
  // Sixteen columns of the unnamed set, then a 17th stop that is ignored.
  std::vector<std::string> rows = {std::string(17, '\t') + "y"};
  // Fifteen named sets fill the table with the unnamed one; the 16th name gets no set.
  for (int i = 0; i < 16; ++i) {
    std::string name = "s" + std::to_string(i);
    rows.push_back("(tab " + name + ")a(tab " + name + ")x");
  }
  auto paint = PaintRows(rows, {}, 1000, 1000);
  auto texts = paint.device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 33u);
  EXPECT_EQ(texts[0].origin.x, 5 + 16 * 21);
  EXPECT_EQ(texts[2].origin.x, 33);   // "x" of the first named set: its second column
  EXPECT_EQ(texts[30].origin.x, 33);  // the 15th named set
  EXPECT_EQ(texts[32].origin.x, 12);  // the 16th: its tabs do nothing
}

// A control byte that is not part of a well-formed SGR "\e[...m" or OSC 8 "\e]8;;TARGET\e\\"
// with a printable target.
bool HasStrayControl(const std::string& line) {
  auto control = [](char c) { return (c >= 0 && c < 0x20) || c == 0x7f; };
  for (size_t i = 0; i < line.size(); ++i) {
    size_t end = std::string::npos;
    if (line.compare(i, 2, "\x1b[") == 0) {
      end = line.find_first_not_of("0123456789;", i + 2);
      if (end != std::string::npos && line[end] != 'm') end = std::string::npos;
    } else if (line.compare(i, 5, "\x1b]8;;") == 0) {
      end = line.find("\x1b\\", i + 5);
      if (end != std::string::npos &&
          std::any_of(&line[i + 5], &line[end], [&](char c) { return control(c) || c < 0; })) {
        end = std::string::npos;
      }
      if (end != std::string::npos) ++end;
    }
    if (end != std::string::npos) {
      i = end;
    } else if (control(line[i])) {
      return true;
    }
  }
  return false;
}

// Arbitrary bytes and fragments from other processes: nothing may crash, read outside the
// row or run away (the sanitizer build checks the reads), and the terminal rendering of them
// holds only well-formed escapes, none at all with colour off.
TEST(Markup, SurvivesArbitraryInput) {
  const char* fragments[] = {"(",       ")",          "(bold ", "(error ",  "(link ",     "(right ",
                             "(raw ",   "(raw 9999 ", "(tab ",  "(column ", "(progress ", "(total ",
                             "(flat ",  "(title ",    "\t",     "x",        "12",         " ",
                             "(field ", "(icon ",     "(logo ", "(true)",   "wide text ", "(link)"};
  std::mt19937 random(42);
  std::vector<std::string> rows;
  for (int i = 0; i < 400; ++i) {
    std::string row;
    int n = static_cast<int>(random() % 40);
    for (int k = 0; k < n; ++k) {
      if (random() % 4 == 0) {
        row += static_cast<char>(1 + random() % 255);
      } else {
        row += fragments[random() % (sizeof fragments / sizeof *fragments)];
      }
    }
    rows.push_back(row);
  }
  // Deep nesting of the boxes that read their content twice, and a wall of openers.
  std::string deep;
  for (int i = 0; i < 600; ++i)
    deep += i % 2 ? "(error " : "(right (link x)";
  rows.push_back(deep);
  rows.push_back(std::string(20000, '('));
  for (size_t i = 0; i < rows.size(); i += 20) {
    const size_t end = std::min(rows.size(), i + 20);
    talmon_test::VectorReader reader({rows.begin() + i, rows.begin() + end});
    uint64_t bytes = 0;
    for (size_t k = i; k < end; ++k)
      bytes += rows[k].size();
    TalMonRecordingDevice device;
    device.keepCalls = false;
    TalMonPaintInput input;
    input.reader = &reader;
    input.client = {0, 0, 600, 500};
    input.mouse = {50, 50};
    input.leftButtonDown = true;
    TalMonTextLayout layout;
    TalMonPaintOutput output;
    EXPECT_TRUE(layout.Draw(device, input, output));
    EXPECT_LT(device.count, 2 * 3 * (20 * 4096 + 64 * bytes)) << "screen from row " << i;
    TalMonTerminalOptions options;
    options.columns = 40;
    for (bool colour : {true, false}) {
      options.colour = colour;
      std::vector<std::string> lines;
      EXPECT_TRUE(TalMonRenderTerminal(reader, 0, static_cast<uint32_t>(end - i), options, lines));
      for (const std::string& line : lines) {
        EXPECT_FALSE(HasStrayControl(line) || (!colour && line.find('\x1b') != std::string::npos))
            << "screen from row " << i << ": " << line;
      }
    }
  }
}

}  // namespace
