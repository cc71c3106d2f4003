// The time-of-day source over localtime_r, replaceable for tests.
#include "trace/local_time.h"

#include <time.h>

namespace {

bool ReadSystemLocalTime(TalMonClockTime& out) {
  time_t now = time(nullptr);
  struct tm local;
  if (now == static_cast<time_t>(-1) || localtime_r(&now, &local) == nullptr) return false;
  out.hour = local.tm_hour;
  out.minute = local.tm_min;
  out.second = local.tm_sec;
  return true;
}

TalMonLocalTimeSource gSource = ReadSystemLocalTime;

}  // namespace

bool TalMonReadLocalTime(TalMonClockTime& out) {
  return gSource(out);
}

TalMonLocalTimeSource TalMonSetLocalTimeSource(TalMonLocalTimeSource source) {
  TalMonLocalTimeSource previous = gSource;
  gSource = source != nullptr ? source : ReadSystemLocalTime;
  return previous;
}
