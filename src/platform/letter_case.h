#pragma once

#include <string>
#include <utility>

/// Case mapping for all scripts, independent of the user's language. Maps each code unit by itself,
/// so letters above U+FFFF keep their case.

namespace orv {

std::wstring LowerCase(std::wstring text);
std::wstring UpperCase(std::wstring text);

/// Whether two texts are equal case-insensitively.
inline bool EqualIgnoringCase(std::wstring a, std::wstring b) {
  return LowerCase(std::move(a)) == LowerCase(std::move(b));
}

}  // namespace orv
