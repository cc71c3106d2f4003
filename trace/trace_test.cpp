// Tests of the trace module against a recording writer: escaped text, the markup of every
// tag, the order in which a trace begins and ends its tags, and the tag pool's limit.

// The C library's link(2) and error(3) are in scope on purpose: the factories must overload
// them, not clash with them.
#include <error.h>
#include <unistd.h>

#include <climits>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "talmon/trace.h"
#include "trace/local_time.h"
#include "trace/recording_writer.h"
#include "trace/tag_pool.h"

namespace {

// Every test leaves the pool as it found it: a leaked or doubly released slot shows here.
class TraceTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(TagPool::Used(), 0u); }
  RecordingWriter w;
};

TEST_F(TraceTest, WriteTextEscapesParenthesesAndEndsRowsAtCrLf) {
  const std::string longLine = std::string(300, 'x') + "(";  // longer than a write piece
  const struct {
    std::string input, written;
  } cases[] = {
      {"plain\there \xe9", "plain\there \xe9"},
      {"x(y", "(raw 3 x(y)"},
      {"()", "(raw 2 ())"},
      {"ab\r\ncd", "ab\ncd"},
      {"ab\ncd", "a\ncd"},  // a lone LF costs the character before it
      {"", ""},
      {"\r\n", "\n"},
      {"\n", "\n"},
      {"(a\r\n)", "(raw 2 (a)\n(raw 1 ))"},
      {"a(\n", "(raw 1 a)\n"},  // a dropped "(" still makes its line raw
      {"(\n", "\n"},
      {longLine + "\r\nz", "(raw 301 " + longLine + ")\nz"},
  };
  for (const auto& c : cases) {
    RecordingWriter writer;
    const std::string input = c.input;
    EXPECT_TRUE(WriteText(writer, input.c_str())) << "case: " << c.input;
    EXPECT_EQ(writer.log, c.written) << "case: " << c.input;
    EXPECT_EQ(input, c.input) << "the caller's buffer changed";
  }
  EXPECT_FALSE(WriteText(w, nullptr));
  w.failWrites = true;
  for (const char* input : {"a", "a(b", "\r\n"}) {
    EXPECT_FALSE(WriteText(w, input)) << "case: " << input;
  }
  EXPECT_EQ(w.log, "");
}

bool FixedClock(TalMonClockTime& out) {
  out = {9, 5, 7};
  return true;
}
bool BrokenClock(TalMonClockTime&) {
  return false;
}

TEST_F(TraceTest, EachTagWritesItsMarkup) {
  static const std::string longName(300, 'n');
  const struct {
    const char* name;
    std::function<IMonitorTag*()> make;
    std::string log;
  } cases[] = {
      {"bold", bold, "{open bold}{close bold}"},
      {"error", [] { return error(); }, "{open error}{close error}"},
      {"title", title, "{open title}{close title}"},
      {"underlined", underlined, "{open underlined}{close underlined}"},
      {"link", [] { return link("target"); }, "{open link}target){close link}"},
      {"link escaped", [] { return link("a(b"); }, "{open link}(raw 3 a(b)){close link}"},
      {"link null", [] { return link(nullptr); }, "{open link}){close link}"},
      {"column", column, "(column)"},
      {"duration 90061", [] { return duration(90061); }, "01:01:01"},
      {"duration -61", [] { return duration(-61); }, "00:-1:-1"},
      {"flush", flush, "{flush}"},
      {"icon", [] { return icon("disk"); }, "(icon disk)"},
      {"icon long", [] { return icon(longName.c_str()); }, "(icon " + longName + ")"},
      {"line", line, "\n"},
      {"logo", [] { return logo("firm"); }, "(logo firm)"},
      {"progress", [] { return progress(3, 10); }, "(progress 3)(total 10)"},
      {"row", [] { return row("100,200"); }, "(tab 100,200)"},
      {"section", section, "{push}{pop}"},
      {"separator", separator, "(separator)"},
      {"space", space, " "},
      {"tab", tab, "(tab)"},
      {"temporary", temporary, "{save}{restore}"},
      {"time_now", time_now, "09:05:07"},
  };
  const TalMonLocalTimeSource system = TalMonSetLocalTimeSource(FixedClock);
  for (const auto& c : cases) {
    RecordingWriter writer;
    { trace t(writer, c.make()); }
    EXPECT_EQ(writer.log, c.log) << "case: " << c.name;
  }
  TalMonSetLocalTimeSource(BrokenClock);
  trace(w) << time_now;
  EXPECT_EQ(w.log, "-1:-1:-1");
  TalMonSetLocalTimeSource(system);
}

TEST_F(TraceTest, BlockWhoseFlushFailsLeavesTheRowOpen) {
  w.Write("abc");
  w.failFlush = true;
  { trace(w, block) << "x"; }
  EXPECT_EQ(w.log, "abc\nx");
}

// A factory argument runs only when its turn comes, after the tags before it have begun.
std::string g_seenByFactory;
RecordingWriter* g_writer = nullptr;
IMonitorTag* ProbeFactory() {
  g_seenByFactory = g_writer->log;
  return tab();
}

TEST_F(TraceTest, TagsBeginInOrderAndEndInReverse) {
  {
    trace t(w, bold, title);
    EXPECT_EQ(w.log, "{open bold}{open title}");
    t << "x" << little << link("t") << "label";
  }
  EXPECT_EQ(w.log,
            "{open bold}{open title}x{open little}{open link}t)label"
            "{close link}{close little}{close title}{close bold}");

  RecordingWriter three;
  g_writer = &three;
  { trace(three, block(), section(), flat()) << "y"; }
  { trace(three, bold, ProbeFactory, error); }
  EXPECT_EQ(g_seenByFactory, "\n{push}{open flat}y{close flat}{pop}{flush}\n{open bold}");
  EXPECT_EQ(three.log, g_seenByFactory + "(tab){open error}{close error}{close bold}");
}

// Whether `t << value` compiles.
template <typename T, typename = void>
struct Streams : std::false_type {};
template <typename T>
struct Streams<T, std::void_t<decltype(std::declval<trace&>() << std::declval<T>())>>
    : std::true_type {};
static_assert(Streams<TalMonitorTagFactory>::value && !Streams<IMonitorTag* (*)(int64_t)>::value &&
                  !Streams<IMonitorTag* (*)(const char*)>::value,
              "an uncalled factory with arguments must not pass for a bool");

TEST_F(TraceTest, StreamsNumbersBooleansAndText) {
  const struct {
    int value;
    const char* text;
  } numbers[] = {{-5, "-5"}, {0, "0"}, {INT_MIN, "-2147483648"}};
  for (const auto& n : numbers) {
    RecordingWriter writer;
    trace(writer) << n.value;
    EXPECT_EQ(writer.log, n.text) << "case: " << n.value;
  }
  trace(w) << true << false << static_cast<const char*>(nullptr) << "a(b" << line << "c";
  EXPECT_EQ(w.log, "(true)(false)(raw 3 a(b)\nc");
}

TEST_F(TraceTest, CopyWritesToSameMonitorButOwnsNoTags) {
  {
    trace original(w, bold);
    trace(original) << "x";
    EXPECT_EQ(w.log, "{open bold}x");
  }
  EXPECT_EQ(w.log, "{open bold}x{close bold}");
}

TEST_F(TraceTest, PoolHoldsSixtyFourTagsAndNullsAreIgnored) {
  {
    trace t(w);
    for (int i = 0; i < 64; ++i)
      t << bold;
    EXPECT_EQ(bold(), nullptr);
    EXPECT_EQ(link("x"), nullptr);
    const std::string before = w.log;
    t << bold << static_cast<IMonitorTag*>(nullptr) << "x";
    { trace(w, bold, title, flat) << "y"; }
    EXPECT_EQ(w.log, before + "xy");
  }
  EXPECT_TRUE(w.openTags.empty());
  w.log.clear();
  const TalMonitorTagFactory none = nullptr;
  trace(w, bold, none, title) << none << "z";
  trace(w, none) << "!";
  EXPECT_EQ(w.log, "{open bold}{open title}z{close title}{close bold}!");
  IMonitorTag* again = bold();
  EXPECT_NE(again, nullptr);
  trace t(w, again);
}

}  // namespace
