#pragma once

#include <string>

namespace orv::tool {

/// The whole format of the private record as a Markdown document.
std::string FormatDocument();

}  // namespace orv::tool
