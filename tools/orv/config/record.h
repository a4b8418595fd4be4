#pragma once

#include <string>
#include <vector>

#include "orv/config/config.h"

/// Formats a loaded configuration as text, JSON or a list of values.

namespace orv::tool {

/// Two columns: the place of each value, such as "label.widthMin", and the value: "20000 (20 mm)".
std::string ConfigAsText(const Config& config);

/// An object with one member per section, in the order of the file.
std::string ConfigAsJson(const Config& config);

/// One value in a form that can be compared between files.
struct ConfigValue {
  std::wstring section;
  std::wstring item;    ///< the item of the section, such as `cutter "Rotary knife"` or a speed;
                        ///< empty for the section itself
  std::wstring key;     ///< empty for an entry that only shows that the item exists
  std::wstring text;    ///< numbers with their units
  bool isText = false;  ///< text of the file, shown in quotes
};

/// All values, in the order of the file.
std::vector<ConfigValue> ConfigValues(const Config& config);

}  // namespace orv::tool
