#include "talmon/korin_string.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

TEST(StringTest, FormatLongerThanAnyStackBuffer) {
  Korin::String s;
  const std::string text(1000, 'x');
  EXPECT_EQ(s.format("<%s>", text.c_str()), 1002);
  EXPECT_EQ(std::string(s.c_str()), "<" + text + ">");
}

TEST(StringTest, RangesClampAndCharAtThrows) {
  const Korin::String s("abcdef");
  EXPECT_STREQ(s.subString(1, 3).c_str(), "bc");
  EXPECT_STREQ(s.subString(0, 99).c_str(), "abcdef");
  EXPECT_STREQ(s.subString(4, 2).c_str(), "");
  EXPECT_STREQ(s.subString(9, 12).c_str(), "");
  EXPECT_STREQ(s.left(50).c_str(), "abcdef");
  EXPECT_EQ(s.charAt(5), 'f');
  EXPECT_THROW(s.charAt(6), std::invalid_argument);
  // Bytes above 0x7F sort after ASCII, and only ASCII letters fold.
  EXPECT_EQ(Korin::String("abc").compareIgnoreCase("ABC"), 0);
  EXPECT_LT(Korin::String("ab").compareIgnoreCase("ABC"), 0);
  EXPECT_GT(Korin::String("\xe9").compareIgnoreCase("z"), 0);
}

}  // namespace
