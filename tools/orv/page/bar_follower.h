#pragma once

#include <vector>

#include "tools/orv/page/dots.h"

/// Finds the bars of a page: dark elements that keep their place or their tilt from line to line.

namespace orv::tool {

/// A bar, from `start` up to `end` along the scan lines, in dots. Edges of grey dots are between
/// whole dots.
struct Bar {
  double start;
  double end;

  double Width() const { return end - start; }
  double Middle() const { return (start + end) / 2; }
};

/// The least length of a bar, in scan lines.
inline constexpr int kMinLength = 12;
/// The greatest width of a bar, in dots; wider elements are areas.
inline constexpr int kMaxBarWidth = 96;

/// A bar that scan lines cross, from `firstLine` up to `endLine`. Places are those of `BarsAlong`.
struct FollowedBar {
  Bar last;  ///< on the last line
  int firstLine;
  int endLine;
  bool isAtEdge;  ///< of the page
  int lines;      ///< those on which the bar was found
  double origin;  ///< the middle on the first line
  // Sums over the lines, for the straight line through the middles.
  double widths;
  double moves;  ///< of the middle from its origin
  double rows;   ///< from the first line
  double squares;
  double products;

  FollowedBar(const Bar& bar, int line, bool isAtPageEdge);
  /// Adds the bar's place on a line below.
  void Add(const Bar& bar, int line, bool isAtPageEdge);

  int Length() const { return endLine - firstLine; }
  double Width() const { return widths / lines; }
  /// The covariance of places and lines, and the variance of lines, both times `lines`.
  double Covariance() const { return products - rows * moves / lines; }
  double Variance() const { return squares - rows * rows / lines; }
  /// How far the bar moves from line to line. At least two lines are needed.
  double Slope() const { return Covariance() / Variance(); }
  double MiddleAt(double line) const {
    return origin + moves / lines + Slope() * (line - firstLine - rows / lines);
  }
};

/// The bars that move by about the same number of dots from line to line.
struct BarsAlong {
  int drift;  ///< this number: 0, 1 or -1
  /// In the order of the places where they end. Places are less by `drift` dots on each further
  /// line, so that all bars are almost vertical.
  std::vector<FollowedBar> bars;
};

/// Finds the bars that scan lines cross at up to about 55 degrees from the right angle, first those
/// that are almost vertical. A bar between two directions may be found in both.
std::vector<BarsAlong> FollowBars(const Dots& grey);

}  // namespace orv::tool
