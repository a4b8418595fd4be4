#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// What the keys of a configuration file mean to people: their units, and what a new file begins
/// with. The types of the keys are in the loader's tables.

namespace orv::tool {

enum class Unit {
  kNone,
  kLength,  ///< thousandths of a millimetre
  kSpeed,   ///< millimetres a second multiplied by 1000
  kDpi,     ///< dots per inch
};

/// The numbers of a key that make sense.
struct NumberBounds {
  std::int32_t min;
  std::int32_t max;
};

struct ConfigKey {
  std::wstring_view key;
  Unit unit;
  NumberBounds bounds;
  const wchar_t* sample;
  const wchar_t* meaning;
};

/// What is known of a key, letter case apart. A key of an option's group (a stem followed by Min,
/// Max, Step or Default) has the unit of its stem. Null for keys of printMode and sensorType.
const ConfigKey* FindConfigKey(std::wstring_view key);

/// The number of a key as people read it: "105.7 mm", "100 mm/s", "300 dpi", or only the number.
std::wstring NumberWithUnit(std::wstring_view key, std::int64_t number);

}  // namespace orv::tool
