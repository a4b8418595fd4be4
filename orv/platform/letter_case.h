#pragma once

#include <string>

#include "orv/platform/export.h"

/// The case of letters, of every script, without regard to the user's language. Works unit by unit:
/// letters beyond the basic plane keep their case.

namespace orv {

ORV_EXPORT std::wstring LowerCase(std::wstring text);
ORV_EXPORT std::wstring UpperCase(std::wstring text);

}  // namespace orv
