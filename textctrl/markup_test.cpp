// The markup interpreter and the row loop of a paint on the recording device: what text is
// drawn, in which font and where, the rectangles and colours of each decorated item, which
// rows a scrolled view draws, and what the paint reports back.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "talmon/scrollbar.h"
#include "talmon/terminal.h"
#include "textctrl/layout_testing.h"

namespace {

using talmon_test::PaintRows;
using Op = TalMonRecordedCall;
const TalMonColor kShadow = COLOR_BTNSHADOW, kLight = COLOR_BTNHIGHLIGHT;

// "text@x/font" for each drawn run: compact enough to compare whole screens at once.
std::string Runs(const TalMonRecordingDevice& device) {
  std::string out;
  for (const TalMonRecordedCall& c : device.Of(Op::kDrawText)) {
    if (!out.empty()) out += " ";
    out +=
        c.text + "@" + std::to_string(c.origin.x) + "/" + std::to_string(static_cast<int>(c.font));
  }
  return out;
}

std::string Repeat(const std::string& text, int times) {
  std::string out;
  while (times-- > 0)
    out += text;
  return out;
}

TEST(Markup, TextFontsNestingAndTabs) {
  const struct {
    std::vector<std::string> rows;
    const char* runs;  // text@x/font; fonts: 0 normal, 1 bold, 2 typewriter, 3 both, 4 little
  } cases[] = {
      {{"plain text"}, "plain text@5/0"},
      {{"(bold)x"}, "x@5/0"},            // a tag without content
      {{"(bold(x)y)"}, "x@5/1 y@12/0"},  // "(" after the keyword starts the content
      {{"a) b"}, "a@5/0"},               // ")" at the outermost level ends the row
      {{"(bold a(little b)c)d"}, "a@5/1 b@12/4 c@19/1 d@26/0"},
      {{"(bold (bold a)b)"}, "a@5/1 b@12/0"},  // bold is cleared, not restored
      {{"(typewriter a(bold b))"}, "a@5/2 b@12/3"},
      {{"(little (bold x))"}, "x@5/4"},  // little wins over everything
      // A writer can hold 64 tags open and restates them at every row start: content that
      // deep keeps every style. Below 32 levels the innermost text came out plain.
      {{Repeat("(bold ", 64) + "x"}, "x@5/1"},
      {{Repeat("(little ", 70) + "x"}, "x@5/4"},
      {{Repeat("(typewriter (bold ", 40) + "x"}, "x@5/3"},
      {{"(foo) x"}, "(@5/0 foo@12/0"},       // unknown tag: "(" as text, then plain
      {{"(tabs)x"}, "(@5/0 tabs@12/0"},      // keywords match byte-exactly
      {{"(bold"}, "(@5/0 bold@12/0"},        // no delimiter after the keyword
      {{"(raw 5 (a)b))tail"}, "(a)b)@5/0"},  // the raw span's ")" ends the level
      {{"(bold (raw 2 ())x)y"}, "()@5/1 x@19/0"},
      {{"(raw 99 ab"}, "ab@5/0"},  // never past the row's end
      {{"(raw)x"}, "x@5/0"},
      {{"(flat "}, ""},
      {{"(icon info)x"}, "x@25/0"},            // icon: 16 + 4 px
      {{"(logo big)x"}, "x@49/0"},             // logo: 40 + 4 px
      {{"(true)x(false)y"}, "x@14/0 y@30/0"},  // 9 px squares
      {{"(pea)x"}, "x@5/0"},
      {{"(progress 30)(total 120)x"}, "x@395/0"},  // the bar takes the row
      {{"a(right abc)"}, "a@5/0 abc@372/0"},       // 395 - 21 - 2: measured, then drawn there
      {{"(right (bold xy))z"}, "xy@379/1 z@393/0"},
      // Tab stops line up across the rows of a screen; leading tabs are section indents.
      {{"(tab)a(tab)b", "(tab)longer(tab)b"}, "a@26/0 b@89/0 longer@26/0 b@89/0"},
      {{"\ta", "\t\tb"}, "a@26/0 b@47/0"},
      // The first stop of a named set has no gap; names ignore case; sets are separate.
      {{"(tab n)a(tab n)b", "(tab N)xyz(tab N)b", "(tab)c"}, "a@5/0 b@47/0 xyz@5/0 b@47/0 c@26/0"},
      {{"(column k)a(column k)b", "(tab K)abcd(tab K)c"}, "a@5/0 b@54/0 abcd@5/0 c@54/0"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Runs(PaintRows(c.rows).device), c.runs) << "case: " << c.rows[0];
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
  auto texts = PaintRows(rows, {}, 1000, 1000).device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 33u);
  EXPECT_EQ(texts[0].origin.x, 5 + 16 * 21);
  EXPECT_EQ(texts[2].origin.x, 33);   // "x" of the first named set: its second column
  EXPECT_EQ(texts[30].origin.x, 33);  // the 15th named set
  EXPECT_EQ(texts[32].origin.x, 12);  // the 16th: its tabs do nothing
}

// Every call of one kind: "left,top,right,bottom colour"; frames and gradients add
// "/colour2", text gives its text and back colours, images their name.
std::string Calls(const TalMonRecordingDevice& device, Op::Op op) {
  const std::pair<TalMonColor, const char*> names[] = {{COLOR_ACTIVECAPTION, "caption"},
                                                       {COLOR_WINDOW, "window"},
                                                       {COLOR_WINDOWTEXT, "text"},
                                                       {COLOR_CAPTIONTEXT, "captext"},
                                                       {COLOR_HIGHLIGHT, "highlight"},
                                                       {COLOR_3DFACE, "face"},
                                                       {COLOR_BTNSHADOW, "shadow"},
                                                       {COLOR_BTNHIGHLIGHT, "light"},
                                                       {COLOR_GRADIENTACTIVECAPTION, "gradient"},
                                                       {kTalMonErrorColor, "red"},
                                                       {kTalMonWhite, "white"},
                                                       {kTalMonBlack, "black"}};
  auto name = [&](TalMonColor colour) -> std::string {
    for (const auto& n : names)
      if (n.first == colour) return n.second;
    return std::to_string(colour);
  };
  std::string out;
  const std::vector<TalMonRecordedCall> calls = device.Of(op);
  // Fills leave out the first, the background.
  for (size_t i = op == Op::kFill ? 1 : 0; i < calls.size(); ++i) {
    const TalMonRecordedCall& c = calls[i];
    const TalMonRect& r = c.rect;
    if (!out.empty()) out += " | ";
    out += std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) +
           "," + std::to_string(r.bottom) + " ";
    if (op == Op::kImage) {
      out += c.text;
    } else if (op == Op::kDrawText) {
      out += name(c.textColour) + "/" + name(c.backColour);
    } else {
      out += name(c.colour);
      if (op == Op::kFrame3d || op == Op::kGradientH || op == Op::kGradientV)
        out += "/" + name(c.colour2);
    }
  }
  return out;
}

// The exact geometry and colours of each decorated item.
TEST(Markup, Decorations) {
  const std::vector<std::string> flat = {"(flat a)", "(flat b)", "(flat ", "(flat c)"};
  const struct {
    std::vector<std::string> rows;
    Op::Op op;
    const char* calls;
  } cases[] = {
      {{"(title T)"}, Op::kGradientH, "5,5,395,24 caption/gradient"},
      {{"(underlined u)"}, Op::kGradientH, "5,23,395,25 caption/gradient"},
      {{"(field v)"}, Op::kFill, "7,5,395,22 window"},
      {{"(field v)"}, Op::kFrame3d, "6,5,395,23 shadow/light"},
      {{"ab(separator)"}, Op::kFrame3d, "14,19,400,21 shadow/light"},
      {{"(true)"}, Op::kFill, "5,9,14,18 white"},
      {{"(false)"}, Op::kFill, "5,9,14,18 black"},
      {{"(false)"}, Op::kFrame3d, "5,9,14,18 shadow/light"},
      {{"abc(pea)"}, Op::kFrame3d, "7,8,18,19 shadow/light"},
      {{"(icon warning)"}, Op::kImage, "6,6,22,22 warning"},
      {{"(logo big)"}, Op::kImage, "6,6,46,46 big"},
      // Progress: the bar spans (5, 9, 395, 19); the fill is the bar less 1 px, 388 px wide.
      {{"(progress 30)(total 120)"}, Op::kFrame3d, "5,9,395,19 shadow/light"},
      {{"(progress 30)(total 120)"}, Op::kFill, "6,10,103,18 highlight"},
      {{"(progress 100)(total 100)"}, Op::kFill, "6,10,394,18 highlight"},
      // Past the total it wraps: from the middle on.
      {{"(progress 150)(total 100)"}, Op::kFill, "200,10,394,18 highlight"},
      // No total: a 15 px block moving along, 7/25 of the way.
      {{"(progress 7)"}, Op::kFill, "114,10,129,18 highlight"},
      {{"(progress 5)(total 0)"}, Op::kFill, "83,10,98,18 highlight"},
      // Not a number is 0; the products cannot overflow; big values are clamped to 2^31 - 1.
      {{"(progress x)(total y)"}, Op::kFill, "6,10,21,18 highlight"},
      {{"(progress 2147483647)(total -1)"}, Op::kFill, "6,10,394,18 highlight"},
      {{"(progress 99999999999)(total 3)"}, Op::kFill, "135,10,394,18 highlight"},
      // The error box is filled between the measuring and the drawing of its text.
      {{"(error oops)b"}, Op::kFill, "5,5,33,21 red"},
      {{"(error oops)b"},
       Op::kDrawText,
       "5,5,395,26 text/red | 5,5,395,26 text/red | 33,5,395,26 text/red"},
      // Row tops: 5, 26, 47. Joined flat rows: the lower box is raised into the row above and
      // has no top line. The "(flat " row draws nothing and does not count as flat.
      {flat, Op::kFill,
       "5,5,393,23 window | 5,26,393,44 window | 5,23,393,44 window | 5,68,393,86 window"},
      {flat, Op::kLine,
       "5,5,393,5 shadow | 5,5,5,23 shadow | 393,5,393,24 light | 5,23,393,23 light | 5,23,5,44 "
       "shadow | 393,23,393,45 light | 5,44,393,44 light | 5,68,393,68 shadow | 5,68,5,86 shadow | "
       "393,68,393,87 light | 5,86,393,86 light"},
      {flat, Op::kDrawText,
       "13,5,395,26 text/window | 13,26,395,47 text/window | 13,68,395,89 text/window"},
      // The flat row's 8 px inset puts column 0 at 5 + 8 + 7 + 21 = 41 in every row; dividers
      // at x - 10 and x - 9, their colours swapped in a flat row.
      {{"a(column)b", "(flat a(column)b)", "a(column)b"},
       Op::kLine,
       "31,5,31,23 shadow | 32,5,32,23 light | 5,26,393,26 shadow | 5,26,5,44 shadow | "
       "393,26,393,45 light | 5,44,393,44 light | 31,26,31,44 light | 32,26,32,44 shadow | "
       "31,43,31,65 shadow | 32,43,32,65 light"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Calls(PaintRows(c.rows).device, c.op), c.calls) << "case: " << c.rows[0];
  }
}

TEST(Markup, ErrorBoxIsPaintedUnderItsText) {
  // The text is drawn once to find the box, which is filled, then drawn again over it.
  std::string order;
  for (const auto& c : PaintRows({"(error oops)b"}).device.calls) {
    if (c.op == Op::kFill && c.colour == kTalMonErrorColor) order += " box";
    if (c.op == Op::kDrawText) order += " " + c.text + "@" + std::to_string(c.origin.x);
  }
  EXPECT_EQ(order, " oops@5 box oops@5 b@33");
}

TEST(Markup, Links) {
  // Button (5, 6, 23, 22): 2 px, "go" (14 px), 2 px. Pressed, it looks sunken and its label
  // moves 1 px right and down.
  const struct {
    TalMonPoint mouse;
    bool down, over;
  } cases[] = {
      {{10, 10}, false, true}, {{10, 10}, true, true},
      {{22, 21}, true, true},  {{23, 10}, true, false},  // the right and bottom edges are outside
      {{10, 22}, true, false},
  };
  for (const auto& c : cases) {
    TalMonPaintInput input;
    input.mouse = c.mouse;
    input.leftButtonDown = c.down;
    auto paint = PaintRows({"(link http://x)go)b"}, input);
    SCOPED_TRACE(testing::Message()
                 << "mouse " << c.mouse.x << "," << c.mouse.y << " down " << c.down);
    const bool pressed = c.over && c.down;
    EXPECT_EQ(paint.output.hoverLink, c.over ? "http://x" : "");
    EXPECT_EQ(paint.output.pressedLink, pressed ? "http://x" : "");
    auto frames = paint.device.Of(Op::kFrame3d);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].rect, (TalMonRect{5, 6, 23, 22}));
    EXPECT_EQ(frames[0].colour, pressed ? kShadow : kLight);
    auto texts = paint.device.Of(Op::kDrawText);
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[1].origin.x, pressed ? 8 : 7);
    EXPECT_EQ(texts[1].rect.top, pressed ? 7 : 6);
    EXPECT_EQ(texts[1].backColour, COLOR_3DFACE);
    // After the link: x past the button, one pixel lower.
    EXPECT_EQ(texts[2].origin.x, 23);
    EXPECT_EQ(texts[2].rect.top, 6);
  }
}

TEST(Markup, TitleKeepsItsColoursForTheRestOfTheRow) {
  // The caption colour ends with the row; the transparent mode never does, and the
  // measuring pass already set it for the whole drawing pass, rows above the title included.
  auto texts = PaintRows({"a", "(title T)x", "y"}).device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 4u);
  EXPECT_EQ(texts[1].origin.x, 9);
  const TalMonColor colours[] = {COLOR_WINDOWTEXT, COLOR_CAPTIONTEXT, COLOR_CAPTIONTEXT,
                                 COLOR_WINDOWTEXT};
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(texts[i].textColour, colours[i]) << texts[i].text;
    EXPECT_EQ(texts[i].mode, TalMonBkMode::kTransparent) << texts[i].text;
  }
}

TEST(Paint, ScrolledRowsAndTheEndOfTheView) {
  const struct {
    const char* name;
    int32_t height, range, page, pos;
    const char* tops;  // each row of the drawing pass at its top
  } cases[] = {
      // 100 px inside the margins: 100 mod 21 = 16 > 11, so the rows move up by 5 px and the
      // last row's bottom meets the bottom margin.
      {"at the end", 110, 10, 5, 5, "r4@-21 r5@0 r6@21 r7@42 r8@63 r9@84"},
      {"not at the end", 110, 10, 5, 2, "r1@-16 r2@5 r3@26 r4@47 r5@68 r6@89 r7@110"},
      // 95 px: 95 mod 21 = 11, not above 11: moved down by 11 px instead.
      {"small remainder", 105, 9, 4, 5, "r4@-5 r5@16 r6@37 r7@58 r8@79"},
      {"at the top", 110, 10, 5, 0, "r0@5 r1@26 r2@47 r3@68 r4@89 r5@110"},
      {"everything fits", 110, 3, 5, 0, "r0@5 r1@26 r2@47"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TalMonScrollBar bar;
    bar.SetRange(c.range, c.page);
    bar.SetPos(c.pos);
    TalMonPaintInput input;
    input.vertical = &bar;
    std::vector<std::string> rows;
    for (int i = 0; i < c.range; ++i)
      rows.push_back("r" + std::to_string(i));
    std::string tops;
    for (const auto& t : PaintRows(rows, input, 200, c.height).device.Of(Op::kDrawText)) {
      tops += (tops.empty() ? "" : " ") + t.text + "@" + std::to_string(t.rect.top);
      // The bar's width comes off the right edge while the content does not fit.
      EXPECT_EQ(t.rect.right, c.page < c.range ? 200 - 16 - 5 : 195);
    }
    EXPECT_EQ(tops, c.tops);
    EXPECT_EQ(bar.GetPos(), c.pos);  // painting never scrolls
  }
}

TEST(Paint, FrameOpensWhereTheContentGoesOn) {
  const std::vector<std::string> ten(10, "r");
  const std::string wide(40, 'w');
  const struct {
    const char* name;
    std::vector<std::string> rows;
    int32_t hpos, vpos;  // -1: no bar
    TalMonRect frame;
  } cases[] = {
      {"all visible", {"r0", "r1"}, -1, -1, {0, 0, 200, 110}},
      {"more rows below", ten, -1, -1, {0, 0, 200, 111}},
      {"wider content", {wide}, -1, -1, {0, 0, 201, 110}},
      {"scrolled both ways", ten, 5, 1, {-1, -1, 185, 111}},
      {"scrolled to the right end", {wide}, 85, -1, {-1, 0, 200, 110}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TalMonScrollBar horizontal, vertical;
    horizontal.SetRange(1000, 200);
    horizontal.SetPos(c.hpos);
    vertical.SetRange(10, 5);
    vertical.SetPos(c.vpos);
    TalMonPaintInput input;
    input.border = true;
    if (c.hpos >= 0) input.horizontal = &horizontal;
    if (c.vpos >= 0) input.vertical = &vertical;
    auto paint = PaintRows(c.rows, input, 200, 110);
    auto frames = paint.device.Of(Op::kFrame3d);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].rect, c.frame);
    EXPECT_EQ(frames[0].colour, kLight);
    EXPECT_EQ(frames[0].colour2, kShadow);
    EXPECT_EQ(paint.output.contentHeight, 21 * static_cast<int32_t>(c.rows.size()));
  }
}

TEST(Paint, BackgroundAndReportedWidth) {
  // Without a reader only the background is painted.
  TalMonRecordingDevice device;
  TalMonPaintInput input;
  input.client = {0, 0, 200, 110};
  TalMonPaintOutput output;
  EXPECT_TRUE(TalMonTextLayout().Draw(device, input, output));
  auto fills = device.Of(Op::kFill);
  ASSERT_EQ(fills.size(), 1u);
  EXPECT_EQ(fills[0].rect, (TalMonRect{0, 0, 200, 110}));
  EXPECT_EQ(fills[0].colour, COLOR_3DFACE);
  EXPECT_EQ(Calls(device, Op::kGradientV), "");
  EXPECT_EQ(output.contentWidth, 0);
  // Background mode 1: a gradient, and text drawn transparent; here scrolled 30 px right.
  input.backgroundMode = 1;
  TalMonScrollBar horizontal;
  horizontal.SetRange(1000, 200);
  horizontal.SetPos(30);
  input.horizontal = &horizontal;
  auto paint = PaintRows({"abc", "(field x)"}, input, 200, 110);
  EXPECT_EQ(Calls(paint.device, Op::kGradientV), "0,0,200,110 light/face");
  auto texts = paint.device.Of(Op::kDrawText);
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0].mode, TalMonBkMode::kTransparent);
  EXPECT_EQ(texts[0].origin.x, 5 - 30);
  // The widest row reached the row's right edge (the field box takes the row).
  EXPECT_EQ(paint.output.contentWidth, 195);
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
    for (int k = static_cast<int>(random() % 40); k > 0; --k) {
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
    const std::vector<std::string> screen(rows.begin() + i,
                                          rows.begin() + std::min(rows.size(), i + 20));
    uint64_t bytes = 0;
    for (const std::string& row : screen)
      bytes += row.size();
    TalMonPaintInput input;
    input.mouse = {50, 50};
    input.leftButtonDown = true;
    auto paint = PaintRows(screen, input, 600, 500, false);
    EXPECT_LT(paint.device.count, 2 * 3 * (20 * 4096 + 64 * bytes)) << "screen from row " << i;
    talmon_test::VectorReader reader(screen);
    TalMonTerminalOptions options;
    options.columns = 40;
    for (bool colour : {true, false}) {
      options.colour = colour;
      std::vector<std::string> lines;
      EXPECT_TRUE(
          TalMonRenderTerminal(reader, 0, static_cast<uint32_t>(screen.size()), options, lines));
      for (const std::string& line : lines) {
        EXPECT_FALSE(HasStrayControl(line) || (!colour && line.find('\x1b') != std::string::npos))
            << "screen from row " << i << ": " << line;
      }
    }
  }
}

}  // namespace
