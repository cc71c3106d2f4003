// Korin::String over std::string.
#include "talmon/korin_string.h"

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace Korin {

namespace {
// ASCII only: names are compared the same way whatever the process locale.
unsigned char AsciiLower(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}
}  // namespace

String::String(const char* text) : text_(text ? text : "") {}

String::String(const char* text, size_t length) {
  if (text) text_.assign(text, length);
}

String& String::operator=(const char* text) {
  text_.assign(text ? text : "");
  return *this;
}

int String::format(const char* fmt, ...) {
  if (!fmt) {
    text_.clear();
    return 0;
  }
  va_list args;
  va_start(args, fmt);
  va_list again;
  va_copy(again, args);
  char small[256];
  int n = vsnprintf(small, sizeof small, fmt, args);
  va_end(args);
  if (n < 0) {
    va_end(again);
    text_.clear();
    return 0;
  }
  if (static_cast<size_t>(n) < sizeof small) {
    text_.assign(small, static_cast<size_t>(n));
  } else {
    // Too long for the stack buffer: format a second time into the string itself.
    text_.assign(static_cast<size_t>(n), '\0');
    vsnprintf(&text_[0], static_cast<size_t>(n) + 1, fmt, again);
  }
  va_end(again);
  return n;
}

String String::subString(size_t begin, size_t end) const {
  if (end > text_.size()) end = text_.size();
  if (begin >= end) return String();
  return String(text_.data() + begin, end - begin);
}

String String::left(size_t n) const {
  return subString(0, n);
}

char String::charAt(size_t index) const {
  if (index >= text_.size()) throw std::invalid_argument("Korin::String::charAt");
  return text_[index];
}

int String::compare(const String& other) const {
  int r = text_.compare(other.text_);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int String::compareIgnoreCase(const String& other) const {
  const unsigned char* a = reinterpret_cast<const unsigned char*>(text_.c_str());
  const unsigned char* b = reinterpret_cast<const unsigned char*>(other.text_.c_str());
  size_t i = 0;
  const size_t n = text_.size() < other.text_.size() ? text_.size() : other.text_.size();
  for (; i < n; ++i) {
    int ca = AsciiLower(a[i]);
    int cb = AsciiLower(b[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  if (text_.size() == other.text_.size()) return 0;
  return text_.size() < other.text_.size() ? -1 : 1;
}

String& String::operator+=(const char* text) {
  if (text) text_ += text;
  return *this;
}

}  // namespace Korin
