// The wall clock that the time-of-day tag reads. Internal to the trace module; used by the
// producing thread. Tests may put a fixed clock in its place.
#pragma once

struct TalMonClockTime {
  int hour;    // 0 to 23
  int minute;  // 0 to 59
  int second;  // 0 to 60
};

// Reads the current local time; false when it cannot be converted to local time.
using TalMonLocalTimeSource = bool (*)(TalMonClockTime& out);

// The source in use: the system clock unless replaced.
bool TalMonReadLocalTime(TalMonClockTime& out);
// Puts source in place (null: the system clock again) and returns the previous one.
TalMonLocalTimeSource TalMonSetLocalTimeSource(TalMonLocalTimeSource source);
