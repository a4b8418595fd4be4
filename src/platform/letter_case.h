#pragma once

#include <string>

/// The case of letters, of every script, without regard to the user's language. Works unit by unit:
/// letters beyond the basic plane keep their case.

namespace orv {

std::wstring LowerCase(std::wstring text);
std::wstring UpperCase(std::wstring text);

}  // namespace orv
