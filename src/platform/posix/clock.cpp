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

std::int64_t ToSeconds(const LocalTime& time) {
  std::tm local = ToTm(time);
  local.tm_wday = -1;  // is set on success
  const std::time_t found = std::mktime(&local);
  // Of a time that the clocks show twice, `mktime` returns either, depending on earlier calls. The
  // second of them has the same offset from UTC as the day after.
  const std::time_t dayAfter = found + 24 * 60 * 60;
  std::tm after{};
  if (local.tm_wday < 0 || localtime_r(&dayAfter, &after) == nullptr) return found;
  const std::time_t later = found + (local.tm_gmtoff - after.tm_gmtoff);
  std::tm second{};
  const bool isTwice = later > found && localtime_r(&later, &second) != nullptr &&
                       second.tm_gmtoff == after.tm_gmtoff;
  return isTwice ? later : found;
}

}  // namespace orv
