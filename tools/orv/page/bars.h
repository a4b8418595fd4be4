#pragma once

#include <utility>
#include <vector>

#include "tools/orv/page/bar_follower.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/options.h"

/// Finds bar codes on a page by the geometry of their bars. docs/imaging.md explains the steps.

namespace orv::tool {

/// A bar code. The scan lines cross its bars: they are rows of the page, or columns if the code is
/// turned by a quarter. If it is tilted, bars and lines are those of the straightened part.
struct BarCode {
  bool isTurned = false;
  bool isInverse = false;  ///< light bars on dark ground; `bars` are the spaces between them
  TiltedPart part;  ///< of the transposed page if the code is turned; unused if its slope is 0
  std::vector<Bar> bars;
  int firstLine = 0;  ///< the scan lines that cross every bar
  int endLine = 0;
  double module = 0;  ///< the width of the narrowest bars and spaces, in dots
  double paper = 0;   ///< the lightest and the darkest grey value
  double ink = 0;
  double barInk = 0;      ///< the grey value of most lines of the darkest bar
  double modulation = 0;  ///< the least edge contrast, divided by the symbol contrast

  /// The difference of the extreme values, 1 for black on white.
  double Contrast() const { return (paper - ink) / 255; }
  /// The width of the narrowest space.
  double NarrowestGap() const;
  /// Whether dithering leaves holes in the bars, or spots between them.
  bool IsPale() const { return paper - barInk < 0.98 * 255; }

  bool IsTilted() const { return part.slope != 0; }
  /// The angle between the bars and the dots of the page, 0 to 45 degrees.
  double Tilt() const;
  /// Whether planes can be measured. The values of tilted bars are less exact, and unknown beyond
  /// 11 degrees; readers expect light paper.
  bool CanMeasure() const;

  /// The place on the page of a place along a scan line.
  std::pair<int, int> PlaceOf(double along, int line) const;
  /// The part of the page that all bars cover; if they are tilted, the smallest upright one around
  /// it.
  PageArea Area() const;
  /// Whether a dot of the page is on or between the bars.
  bool Covers(int x, int y) const;
};

/// Finds the bar codes of a page, from the top.
std::vector<BarCode> FindBarCodes(const Dots& grey);

}  // namespace orv::tool
