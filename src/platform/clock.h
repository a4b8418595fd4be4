#pragma once

#include <cstdint>
#include <ctime>

namespace orv {

/// A date and time of day in the local time zone.
struct LocalTime {
  int year;
  int month;  ///< 1 to 12
  int day;    ///< 1 to 31
  int hour;
  int minute;
  int second;
  int millisecond;
};

/// The same time without milliseconds, from the C library's form.
inline LocalTime ToLocalTime(const std::tm& time) {
  return {time.tm_year + 1900,
          time.tm_mon + 1,
          time.tm_mday,
          time.tm_hour,
          time.tm_min,
          time.tm_sec,
          0};
}

LocalTime GetLocalTimeNow();

/// Converts seconds since 1970 to local time. Returns false if the system cannot.
bool ToLocalTime(std::int64_t seconds, LocalTime* time);

}  // namespace orv
