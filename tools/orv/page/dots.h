#pragma once

#include <cstdint>
#include <vector>

#include "orv/platform/graphics.h"
#include "tools/orv/page/pixels.h"

/// One value per dot of a page, and parts of it that are straightened.

namespace orv::tool {

/// One byte per dot of a page.
struct Dots {
  int width;
  int height;
  std::vector<std::uint8_t> values;

  const std::uint8_t* Row(int y) const {
    return values.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
  }
  std::uint8_t At(int x, int y) const { return Row(y)[x]; }
};

/// The grey values of a page, truncated.
Dots GreyDotsOf(Bitmap* page);
/// 255 for the dots of a plane that are not white, 0 for the others.
Dots InkDotsOf(Bitmap* plane);
/// The same dots with rows and columns exchanged.
Dots Transposed(const Dots& dots);

/// A tilted rectangle of a page. Its lines rise by `slope` dots per column, its columns move to the
/// right by as much on each line.
struct TiltedPart {
  double slope = 0;
  int x = 0;  ///< the page's dot at the corner
  int y = 0;
  int width = 0;
  int height = 0;

  /// The page's dot at a place in the part.
  int PageX(int column, int line) const;
  int PageY(int column, int line) const;
  /// The place in the part of a place on the page.
  double ColumnOf(double pageX, double pageY) const;
  double LineOf(double pageX, double pageY) const;
};

/// Copies a part. Every line follows whole dots, which keeps the widths along it. Dots outside the
/// page get the value `outside`.
Dots Straightened(const Dots& dots, const TiltedPart& part, std::uint8_t outside);
/// The same, but lines pass between rows: a value is the mean of the dots above and below, weighted
/// by their distances. This smooths the steps of tilted edges, and makes small holes paler.
Dots StraightenedSmoothly(const Dots& dots, const TiltedPart& part, std::uint8_t outside);

}  // namespace orv::tool
