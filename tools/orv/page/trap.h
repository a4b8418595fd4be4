#pragma once

#include <cstdint>

#include "tools/orv/page/pixels.h"

/// Trapping: the coloured plane reaches under the black one, so that no paper shows between them if
/// the print heads are not aligned.

namespace orv::tool {

/// Extends a highlight, in grey, by up to `dots` dots into the ink of the black plane.
void SpreadUnder(const PagePixels& highlight, const PagePixels& black, int dots);

/// The edges between black and colour, along all rows and columns: three dots of one plane, at most
/// 16 dots of white and of both, and three dots of the other plane. Any white makes it a gap, of as
/// many dots.
struct PlaneEdges {
  std::int64_t gaps = 0;
  std::int64_t touching = 0;
  std::int64_t overlaps = 0;
  int maxGap = 0;  ///< in dots
  int minOverlap = 0;
  int maxOverlap = 0;

  std::int64_t Count() const { return gaps + touching + overlaps; }
  void AddGap(int dots);
  void AddOverlap(int dots);
};

PlaneEdges FindEdges(const PagePixels& black, const PagePixels& colour);

}  // namespace orv::tool
