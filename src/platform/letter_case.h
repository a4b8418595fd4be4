#pragma once

#include <string>

/// Case mapping for all scripts, independent of the user's language. Maps each code unit by itself,
/// so letters above U+FFFF keep their case.

namespace orv {

std::wstring LowerCase(std::wstring text);
std::wstring UpperCase(std::wstring text);

/// Whether two texts are equal case-insensitively.
inline bool EqualIgnoringCase(const std::wstring& a, const std::wstring& b) {
  return LowerCase(a) == LowerCase(b);
}

}  // namespace orv
