#pragma once

#include <string>
#include <string_view>

namespace orv {

/// Two lower-case hexadecimal digits for each byte.
template <typename Text = std::string>
Text HexOf(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  Text digits;
  digits.reserve(2 * bytes.size());
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    digits += kDigits[value >> 4];
    digits += kDigits[value & 0xF];
  }
  return digits;
}

}  // namespace orv
