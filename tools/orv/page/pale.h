#pragma once

#include <cstdint>

#include "orv/platform/graphics.h"

/// Pixels that are almost white, such as the paper of a scan.

namespace orv::tool {

inline constexpr int kPale = 250;

/// The number of pixels of a page that are almost white: all channels are at least kPale, but not
/// all 255.
std::int64_t CountPale(Bitmap* page);
/// The number of dots of ink at such pixels, in one or two planes of 24 bits
/// or one bit per pixel.
std::int64_t CountPaleInk(Bitmap* page, Bitmap* plane, Bitmap* other = nullptr);

/// Turns pixels white whose channels are all at least `level`.
void WhitenFrom(Bitmap* page, int level);

}  // namespace orv::tool
