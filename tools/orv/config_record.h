#pragma once

#include <string>

#include "orv/config/config.h"

/// A loaded configuration as people and scripts read it.

namespace orv::tool {

/// Two columns: the place of each value, such as "label.widthMin", and the value.
std::string ConfigAsText(const Config& config);

/// An object with one member a section, in the order of the file.
std::string ConfigAsJson(const Config& config);

}  // namespace orv::tool
