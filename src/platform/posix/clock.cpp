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
  // first of them has the same offset from UTC as the day before.
  const std::time_t dayBefore = found - 24 * 60 * 60;
  std::tm before{};
  if (local.tm_wday < 0 || localtime_r(&dayBefore, &before) == nullptr) return found;
  const std::time_t earlier = found - (before.tm_gmtoff - local.tm_gmtoff);
  std::tm first{};
  const bool isTwice = earlier < found && localtime_r(&earlier, &first) != nullptr &&
                       first.tm_gmtoff == before.tm_gmtoff;
  return isTwice ? earlier : found;
}

}  // namespace orv
