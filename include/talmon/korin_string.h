// Korin::String: the small string class of the core utilities, used where the library's
// exported classes hand out names (TalMonitorSelectPage). A value type; not thread-safe
// beyond what std::string guarantees.
#pragma once

#include <cstddef>
#include <string>

#include "talmon/export.h"

namespace Korin {

class TALMON_EXPORT String {
 public:
  String() = default;
  String(const char* text);  // NOLINT: converts implicitly, like the C strings it replaces
  String(const char* text, size_t length);
  String(const String&) = default;
  String(String&&) noexcept = default;
  String& operator=(const String&) = default;
  String& operator=(String&&) noexcept = default;
  String& operator=(const char* text);  // null assigns ""

  // Replaces the content with printf-style formatting; returns the new length.
  //   s.format("%04d%s.TXT", 3, "*")  =>  "0003*.TXT"
  int format(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  // Characters [begin, end) clamped to the string; end < begin gives "".
  //   String("abcdef").subString(1, 3)  =>  "bc"
  String subString(size_t begin, size_t end) const;
  // The first n characters (all of them when n >= length).
  String left(size_t n) const;

  const char* c_str() const { return text_.c_str(); }
  operator const char*() const { return text_.c_str(); }  // NOLINT
  size_t length() const { return text_.size(); }
  bool isEmpty() const { return text_.empty(); }
  // The character at index; an index at or past length raises std::invalid_argument.
  char charAt(size_t index) const;

  // Byte-order comparison: <0, 0, >0 as strcmp.
  int compare(const String& other) const;
  // ASCII case-insensitive byte-order comparison.
  int compareIgnoreCase(const String& other) const;
  bool operator==(const String& other) const { return text_ == other.text_; }
  bool operator!=(const String& other) const { return text_ != other.text_; }
  bool operator<(const String& other) const { return text_ < other.text_; }
  String& operator+=(const char* text);

 private:
  std::string text_;
};

}  // namespace Korin
