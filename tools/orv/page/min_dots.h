#pragma once

#include <array>
#include <functional>

#include "tools/orv/page/pixels.h"

/// Clusters of ink that are too small to print.

namespace orv::tool {

/// The blue, green and red bytes of a print colour.
using Ink = std::array<unsigned char, 3>;

inline void Paint(unsigned char* pixel, bool isInk, const Ink& ink) {
  for (std::size_t i = 0; i < ink.size(); ++i) pixel[i] = isInk ? ink[i] : 255;
}

/// Whether a dot must not change: its cluster is not removed, and no cluster grows onto it.
using IsKept = std::function<bool(int x, int y)>;

/// Leaves only clusters of at least `minDots` dots, where dots that touch at a side or a corner are
/// a cluster. Smaller ones are removed or grow, so that the amount of ink stays the same. Without
/// `isKept`, every dot may change.
void RemoveSmallClusters(const PagePixels& page, int minDots, const Ink& ink,
                         const IsKept& isKept = {});

}  // namespace orv::tool
