#pragma once

#include <cstdint>

/// Arithmetic shared by single colours and the kernels.

namespace orv {

/// `CalculateToleranceCIE76` divides distances by this.
inline constexpr double kDistanceScale = 72160.0;

/// A channel of 0 to 255 on the linear scale that `RGBToLab` uses.
float LinearChannel(std::uint8_t channel);

/// The grey value times 1000, an integer.
constexpr int GrayThousandths(int red, int green, int blue) {
  return 299 * red + 587 * green + 114 * blue;
}

}  // namespace orv
