#pragma once

#include <cstdint>
#include <vector>

#include "orv/platform/graphics.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"

/// Finds bar codes on a page by the geometry of their bars. docs/imaging.md explains the steps.

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

/// Calls `valueOf` for every pixel.
template <typename Value>
Dots DotsOf(Bitmap* page, const Value& valueOf) {
  const PagePixels pixels(page);
  Dots dots{pixels.width(), pixels.height(), {}};
  dots.values.reserve(static_cast<std::size_t>(dots.width) * static_cast<std::size_t>(dots.height));
  ForEachPixel(
      pixels, [&](const unsigned char* pixel, int, int) { dots.values.push_back(valueOf(pixel)); });
  return dots;
}

/// The grey values of a page, truncated.
Dots GreyDotsOf(Bitmap* page);
/// The same dots with rows and columns exchanged.
Dots Transposed(const Dots& dots);

/// A bar, from `start` up to `end` along the scan lines, in dots from the page's edge. Edges of
/// grey dots are between whole dots.
struct Bar {
  double start;
  double end;
};

/// A bar code. The scan lines cross its bars: they are rows of the page, or columns if the code is
/// turned by a quarter.
struct BarCode {
  bool isTurned = false;
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
  /// The part of the page that all bars cover.
  PageArea Area() const;
};

/// Finds the bar codes of a page, from the top.
std::vector<BarCode> FindBarCodes(const Dots& grey);

}  // namespace orv::tool
