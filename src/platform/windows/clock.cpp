#include "platform/clock.h"

#include <time.h>
#include <windows.h>

namespace orv {

LocalTime GetLocalTimeNow() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

bool ToLocalTime(std::int64_t seconds, LocalTime* time) {
  const __time64_t count = seconds;
  tm local{};
  if (_localtime64_s(&local, &count) != 0) return false;
  *time = ToLocalTime(local);
  return true;
}

std::int64_t ToSeconds(const LocalTime& time) {
  tm local = ToTm(time);
  return _mktime64(&local);  // `mktime` of the 32-bit runtime ends in 2038
}

}  // namespace orv
