#pragma once

#include <cstdint>

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

LocalTime GetLocalTimeNow();

/// Converts seconds since 1970 to local time. Returns false if the system cannot.
bool ToLocalTime(std::int64_t seconds, LocalTime* time);

}  // namespace orv
