#pragma once

#include <functional>

#include "tools/orv/page/pixels.h"

/// Clusters of ink that are too small to print.

namespace orv::tool {

/// Whether a dot must not change: its cluster is not removed, and no cluster grows onto it.
using IsKept = std::function<bool(int x, int y)>;

/// Leaves only clusters of at least `minDots` dots, where dots that touch at a side or a corner are
/// a cluster. Smaller ones are removed or grow, so that the amount of ink stays the same. Without
/// `isKept`, every dot may change.
void RemoveSmallClusters(const PagePixels& page, int minDots, const Ink& ink,
                         const IsKept& isKept = {});

}  // namespace orv::tool
