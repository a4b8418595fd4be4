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

/// Converts local time to the fields of the C library, whose functions then determine whether
/// daylight saving applies.
inline std::tm ToTm(const LocalTime& time) {
  std::tm fields{};
  fields.tm_year = time.year - 1900;
  fields.tm_mon = time.month - 1;
  fields.tm_mday = time.day;
  fields.tm_hour = time.hour;
  fields.tm_min = time.minute;
  fields.tm_sec = time.second;
  fields.tm_isdst = -1;
  return fields;
}

LocalTime GetLocalTimeNow();

/// Converts seconds since 1970 to local time. Returns false if the system cannot.
bool ToLocalTime(std::int64_t seconds, LocalTime* time);

/// Converts local time, without its milliseconds, to seconds since 1970. Fields out of range are
/// carried to the next one. A time that occurs twice, because the clocks are set back, is the
/// second one; one that they skip is an hour earlier or later, depending on the system. -1 if the
/// system cannot: Windows converts only the years 1970 to 3000.
std::int64_t ToSeconds(const LocalTime& time);

}  // namespace orv
