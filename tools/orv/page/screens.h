#pragma once

#include <cstdint>
#include <vector>

/// Threshold matrices that are generated when they are first used.

namespace orv::tool {

/// A square of thresholds that repeats over the page: a pixel whose grey is below its threshold is
/// ink. A grey of v leaves the share v / 255 of the square white.
struct Screen {
  int size;
  std::vector<std::uint8_t> thresholds;

  /// The thresholds of a row of the page.
  const std::uint8_t* Row(int y) const { return thresholds.data() + y % size * size; }
};

/// 64 x 64 thresholds by the void-and-cluster method: dots at irregular places, as far from each
/// other as possible.
const Screen& BlueNoiseScreen();

/// 8 x 8 thresholds with two centres, around which dots grow: rows of dots at 45 degrees.
const Screen& ClusteredScreen();

}  // namespace orv::tool
