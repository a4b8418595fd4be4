#pragma once

#include <cstdint>

#include "orv/platform/types.h"

namespace orv {

/// What `CConfigParser::GenerateListValues` does, for a sequence of any kind.
template <typename Values>
CString GenerateValues(std::int32_t min, std::int32_t max, std::int32_t step,
                       std::int32_t defaultValue, Values* values) {
  constexpr int kMostValues = 1000;

  if (step == 0) return L"Step must not be 0!";
  if (max > min && step < 0) return L"Max is greater than Min, but the Step is negative!";
  if (max < min && step > 0) return L"Max is lower than Min, but the Step is not negative!";

  bool metDefault = false;
  int count = 0;
  // Kept for compatibility: a descending range passes the checks above, and is refused below as one
  // without values. The value advances as 32 bits do, wrapping at the end.
  for (std::int32_t value = min; value <= max;
       value = static_cast<std::int32_t>(static_cast<std::uint32_t>(value) +
                                         static_cast<std::uint32_t>(step))) {
    values->push_back(value);
    metDefault = metDefault || value == defaultValue;
    if (++count > kMostValues) {
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
