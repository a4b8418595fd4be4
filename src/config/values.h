#pragma once

#include <cstdint>
#include <string_view>

#include "orv/platform/types.h"

/// Converts the texts of properties into values. Text that is not a number yields 0.

namespace orv {

/// Whether two texts are equal; ASCII letters compare case-insensitively.
bool EqualsIgnoringAsciiCase(std::wstring_view a, std::wstring_view b);

/// The decimal number at the start of a text: leading white space, an optional sign, digits up to
/// the first other character. No digits yield 0; a number beyond 32 bits yields the nearest limit.
std::int32_t ToInt(std::wstring_view text);

/// True exactly for "true" in any case; "1", "yes" and "on" are false.
bool ToBool(std::wstring_view text);

/// True exactly for "TRUE". Kept for compatibility: some properties accept only this spelling.
bool ToUpperCaseBool(std::wstring_view text);

/// Seconds since 1970-01-01 of a local time written "yyyy-mm-dd?hh:mm:ss", as `ToSeconds` converts
/// them. Fields are taken by position, whatever separates them. 0 unless the text has 19
/// characters.
std::int64_t ToDateTime(std::wstring_view text);

/// Appends the values of a range to `values`, in ascending order, and checks that the step reaches
/// the maximum exactly and that the default is one of at most 1000 values. Returns an error
/// message, empty on success; after an error the list keeps what was generated.
template <typename Values>
CString GenerateValues(std::int32_t min, std::int32_t max, std::int32_t step,
                       std::int32_t defaultValue, Values* values) {
  constexpr int kMaxValues = 1000;

  if (step == 0) return L"Step must not be 0!";
  if (max > min && step < 0) return L"Max is greater than Min, but the Step is negative!";
  if (max < min && step > 0) return L"Max is lower than Min, but the Step is not negative!";

  bool metDefault = false;
  int count = 0;
  // Kept for compatibility: a descending range passes the checks above, generates nothing and fails
  // below. The value wraps around at 32 bits.
  for (std::int32_t value = min; value <= max;
       value = static_cast<std::int32_t>(static_cast<std::uint32_t>(value) +
                                         static_cast<std::uint32_t>(step))) {
    values->push_back(value);
    metDefault = metDefault || value == defaultValue;
    if (++count > kMaxValues) {
      return L"Values for Min, Max and Step will produce more than 1000 entries!";
    }
  }

  if (values->empty()) return L"Values for Min, Max and Step won't produce any values!";
  if (!metDefault) return L"Values for Min, Max and Step won't produce the value for Default!";
  if (values->back() != max) {
    return L"Values for Min, Max and Step won't produce Max as last value in the list!";
  }
  return {};
}

}  // namespace orv
