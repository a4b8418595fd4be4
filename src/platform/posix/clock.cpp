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
  *time = ToLocalTime(local);
  return true;
}

}  // namespace orv
