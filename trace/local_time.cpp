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

TalMonLocalTimeSource g_source = ReadSystemLocalTime;

}  // namespace

bool TalMonReadLocalTime(TalMonClockTime& out) {
  return g_source(out);
}

TalMonLocalTimeSource TalMonSetLocalTimeSource(TalMonLocalTimeSource source) {
  TalMonLocalTimeSource previous = g_source;
  g_source = source != nullptr ? source : ReadSystemLocalTime;
  return previous;
}
