#pragma once

#include <string>
#include <vector>

#include "orv/config/config.h"

/// A loaded configuration as people and scripts read it.

namespace orv::tool {

/// Two columns: the place of each value, such as "label.widthMin", and the value: "20000 (20 mm)".
std::string ConfigAsText(const Config& config);

/// An object with one member a section, in the order of the file.
std::string ConfigAsJson(const Config& config);

/// One value as people compare it with that of another file.
struct ConfigValue {
  std::wstring section;
  std::wstring item;    ///< what it is about in the section, by name: `cutter "Rotary knife"`, or a
                        ///< speed; empty for the section itself
  std::wstring key;     ///< empty for an item that is there or is not, and says nothing else
  std::wstring text;    ///< numbers with their units
  bool isText = false;  ///< a text of the file, which people read in quotes
};

/// All values, in the order of the file.
std::vector<ConfigValue> ConfigValues(const Config& config);

}  // namespace orv::tool
