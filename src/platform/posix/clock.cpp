#include "platform/clock.h"

#include <ctime>

namespace orv {

LocalTime GetLocalTimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  LocalTime time{};
  ToLocalTime(now.tv_sec, &time);
  time.millisecond = static_cast<int>(now.tv_nsec / 1'000'000);
  return time;
}

bool ToLocalTime(std::int64_t seconds, LocalTime* time) {
  const auto count = static_cast<std::time_t>(seconds);
  std::tm local{};
  if (localtime_r(&count, &local) == nullptr) return false;
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
