#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The meaning of the keys of a configuration file: units, plausible numbers, and samples for new
/// files. The types of the keys are in the loader's tables.

namespace orv::tool {

enum class Unit {
  kNone,
  kLength,  ///< thousandths of a millimetre
  kSpeed,   ///< millimetres a second multiplied by 1000
  kDpi,     ///< dots per inch
};

/// The plausible numbers of a key.
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
  bool isPlaceholder = false;  ///< the sample is not the value of any model
};

/// Looks up a key case-insensitively. A key of an option's group (a stem followed by Min, Max, Step
/// or Default) has the unit of its stem. Null for keys of printMode and sensorType.
const ConfigKey* FindConfigKey(std::wstring_view key);

/// All keys that have a meaning of their own, in the order of a file.
std::span<const ConfigKey> AllConfigKeys();

/// Whether a number of a key with a unit is so small that it is probably in millimetres.
bool IsUnscaled(const ConfigKey& key, double number);

/// The smallest plausible number of a key.
std::int32_t LeastNumber(const ConfigKey& key);

/// Formats the number of a key: "105.7 mm", "100 mm/s", "300 dpi", or only the number.
std::wstring NumberWithUnit(std::wstring_view key, std::int64_t number);

}  // namespace orv::tool
