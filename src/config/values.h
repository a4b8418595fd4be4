#pragma once

#include <cstdint>
#include <string_view>

/// How the texts of properties become values. Nothing here fails: a text that is no number is 0.

namespace orv {

/// Whether two texts are the same, ASCII letters compared without regard to case.
bool EqualsIgnoreCase(std::wstring_view a, std::wstring_view b);

/// The decimal number at the start of a text: leading white space, an optional sign, digits up to
/// the first other character. No digits give 0; a number beyond 32 bits the nearest one within.
std::int32_t ToInt(std::wstring_view text);

/// True exactly for "true" in any case; "1", "yes" and "on" are false.
bool ToBool(std::wstring_view text);

/// True exactly for "TRUE". Kept for compatibility: to some properties other spellings are false.
bool ToUpperCaseBool(std::wstring_view text);

/// Seconds since 1970-01-01 of a local time written "yyyy-mm-dd?hh:mm:ss": the fields are taken by
/// place, whatever separates them. 0 for a text of any length but 19.
std::int64_t ToDateTime(std::wstring_view text);

}  // namespace orv
