#pragma once

#include <cstdint>
#include <string_view>

/// The names that XML and its namespaces allow. The parser accepts more, see `IsNameStart`.

namespace orv {

/// Reads the code point at the start of a text that is not empty, and removes it.
std::uint32_t TakeCode(std::wstring_view* text);

bool IsNameChar(std::uint32_t code);
bool IsName(std::wstring_view name);

/// Whether a text is a valid name without a colon.
bool IsSimpleName(std::wstring_view name);

/// Whether a text is a valid name with at most one colon.
bool IsQualifiedName(std::wstring_view name);

}  // namespace orv
