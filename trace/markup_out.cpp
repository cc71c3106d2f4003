// Decimal and time-span formatting into caller buffers.
#include "trace/markup_out.h"

size_t TalMonFormatDecimal(long long value, char* out) {
  // The magnitude in unsigned arithmetic, so that the most negative value has one too.
  unsigned long long magnitude = value < 0 ? 0ULL - static_cast<unsigned long long>(value)
                                           : static_cast<unsigned long long>(value);
  char reversed[kTalMonNumberSize];
  size_t n = 0;
  do {
    reversed[n++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  size_t length = 0;
  if (value < 0) out[length++] = '-';
  while (n > 0)
    out[length++] = reversed[--n];
  out[length] = '\0';
  return length;
}

size_t TalMonFormatField(long long value, char* out) {
  if (value < 0 || value >= 10) return TalMonFormatDecimal(value, out);
  out[0] = '0';
  return 1 + TalMonFormatDecimal(value, out + 1);
}

void TalMonFormatTimeSpan(int64_t span, char* out) {
  char* p = out + TalMonFormatField(span / 3600 % 24, out);
  *p++ = ':';
  p += TalMonFormatField(span / 60 % 60, p);
  *p++ = ':';
  TalMonFormatField(span % 60, p);
}
