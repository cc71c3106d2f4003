// Small formatting helpers for the text that tags and traces write. Internal to the trace
// module; pure functions, any thread, no heap.
#pragma once

#include <cstddef>
#include <cstdint>

// Enough for any formatted number, its sign and a terminator.
constexpr size_t kTalMonNumberSize = 32;

// Writes value in decimal ("-" for negatives, no padding) and a terminator into out, which
// holds kTalMonNumberSize bytes; returns the number of characters before the terminator.
//   -5 => "-5",  INT64_MIN => "-9223372036854775808"
size_t TalMonFormatDecimal(long long value, char* out);

// As TalMonFormatDecimal, at least two digits with a leading zero, as "%02d" does:
//   7 => "07",  -1 => "-1"
size_t TalMonFormatField(long long value, char* out);

// Writes a time span as "HH:MM:SS" into out (kTalMonNumberSize bytes): the hours within the
// day, the minutes within the hour, the seconds within the minute, each at least two digits.
// Days are not shown: 90061 => "01:01:01". A negative span gives negative fields (-61 =>
// "00:-1:-1").
void TalMonFormatTimeSpan(int64_t span, char* out);
