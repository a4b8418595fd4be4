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
  *time = {local.tm_year + 1900,
           local.tm_mon + 1,
           local.tm_mday,
           local.tm_hour,
           local.tm_min,
           local.tm_sec,
           0};
  return true;
}

}  // namespace orv
