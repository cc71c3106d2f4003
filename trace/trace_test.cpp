// Tests of the trace module against a writer that records its calls: escaped text, the
// markup of every tag, the order in which a trace begins and ends its tags, the tag pool.

// The C library's link(2) and error(3) are in scope on purpose: the factories must overload
// them, not clash with them.
#include <error.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "talmon/trace.h"
#include "trace/local_time.h"
#include "trace/tag_pool.h"

namespace {

// Logs every call in order: written text as it stands, other calls in braces, as in
// "{open bold}Total: 42{close}". failWrites fails every call but Flush, failFlush Flush.
struct RecordingWriter : IMonitorWriter {
  std::string log;
  int openTags = 0;
  bool failWrites = false, failFlush = false;
  char last = '\0';  // the markup of OpenTag and CloseTag never counts as the last character

  bool Note(const std::string& call) {
    if (failWrites) return false;
    log += call;
    return true;
  }
  bool Write(const char* text) override {
    if (*text != '\0' && !failWrites) last = text[std::strlen(text) - 1];
    return Note(text);
  }
  bool OpenTag(const char* name) override {
    ++openTags;
    return Note("{open " + std::string(name) + "}");
  }
  bool CloseTag() override {
    --openTags;
    return Note("{close}");
  }
  bool GetLastChar(char& out) override {
    out = last;
    return true;
  }
  bool Flush() override { return !failFlush && Note("{flush}"); }
  bool PushTab() override { return Note("{push}"); }
  bool PopTab() override { return Note("{pop}"); }
  bool Save() override { return Note("{save}"); }
  bool Restore() override { return Note("{restore}"); }
  bool Commit() override { return Note("{commit}"); }
  bool Delete() override { return Note("{delete}"); }
  bool PushName(const char*) override { return true; }
  bool PopName() override { return true; }
  const char* GetTopName() override { return nullptr; }
};

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
      {"ab\r\ncd", "ab\ncd"},
      {"ab\ncd", "a\ncd"},  // a lone LF costs the character before it
      {"", ""},
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
  for (const char* input : {"a", "a(b", "\r\n"})
    EXPECT_FALSE(WriteText(w, input)) << "case: " << input;
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
      {"bold", bold, "{open bold}{close}"},
      {"error", [] { return error(); }, "{open error}{close}"},
      {"title", title, "{open title}{close}"},
      {"underlined", underlined, "{open underlined}{close}"},
      {"link", [] { return link("target"); }, "{open link}target){close}"},
      {"link escaped", [] { return link("a(b"); }, "{open link}(raw 3 a(b)){close}"},
      {"link null", [] { return link(nullptr); }, "{open link}){close}"},
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

// A factory argument runs only when its turn comes, after the tags before it have begun.
std::string gSeenByFactory;
RecordingWriter* gWriter = nullptr;
IMonitorTag* ProbeFactory() {
  gSeenByFactory = gWriter->log;
  return tab();
}

TEST_F(TraceTest, TagsBeginInOrderAndEndInReverseAndCopiesOwnNone) {
  {
    trace t(w, bold, title);
    EXPECT_EQ(w.log, "{open bold}{open title}");
    t << "x" << little << link("t");
    trace(t) << "label";  // a copy writes to the same monitor but ends none of the tags
    EXPECT_EQ(w.openTags, 4);
  }
  EXPECT_EQ(w.log,
            "{open bold}{open title}x{open little}{open link}t)label"
            "{close}{close}{close}{close}");

  RecordingWriter three;
  gWriter = &three;
  { trace(three, block(), section(), flat()) << "y"; }
  { trace(three, bold, ProbeFactory, error); }
  EXPECT_EQ(gSeenByFactory, "\n{push}{open flat}y{close}{pop}{flush}\n{open bold}");
  EXPECT_EQ(three.log, gSeenByFactory + "(tab){open error}{close}{close}");
  // A block whose flush fails leaves its row open.
  three.failFlush = true;
  { trace(three, block) << "z"; }
  EXPECT_EQ(three.log, gSeenByFactory + "(tab){open error}{close}{close}\nz");
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
  trace(w) << -5 << " " << 0 << " " << INT_MIN << true << false << static_cast<const char*>(nullptr)
           << "a(b" << line << "c";
  EXPECT_EQ(w.log, "-5 0 -2147483648(true)(false)(raw 3 a(b)\nc");
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
  EXPECT_EQ(w.openTags, 0);
  w.log.clear();
  const TalMonitorTagFactory none = nullptr;
  trace(w, bold, none, title) << none << "z";
  trace(w, none) << "!";
  EXPECT_EQ(w.log, "{open bold}{open title}z{close}{close}!");
}

}  // namespace
