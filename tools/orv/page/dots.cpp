#include "tools/orv/page/dots.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "orv/imaging/color_extensions.h"

namespace orv::tool {
namespace {

Dots DotsOfSize(int width, int height) {
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  return {width, height, std::vector<std::uint8_t>(count)};
}

/// The dots of a part; `valueOf` takes their columns and lines.
template <typename Value>
Dots DotsOfPart(const TiltedPart& part, const Value& valueOf) {
  Dots result = DotsOfSize(part.width, part.height);
  std::uint8_t* to = result.values.data();
  for (int line = 0; line < part.height; ++line) {
    for (int column = 0; column < part.width; ++column) *to++ = valueOf(column, line);
  }
  return result;
}

std::uint8_t ValueAt(const Dots& dots, int x, int y, std::uint8_t outside) {
  const bool isInside = x >= 0 && x < dots.width && y >= 0 && y < dots.height;
  return isInside ? dots.At(x, y) : outside;
}

}  // namespace

Dots GreyDotsOf(Bitmap* page) {
  const PagePixels pixels(page);
  Dots dots = DotsOfSize(pixels.width(), pixels.height());
  std::uint8_t* to = dots.values.data();
  ForEachPixel(pixels, [&](const unsigned char* pixel, int, int) {
    *to++ = static_cast<std::uint8_t>(
        ColorExtensions::CalculateGrayValue(pixel[2], pixel[1], pixel[0]));
  });
  return dots;
}

Dots InkDotsOf(Bitmap* plane) {
  const PlaneDots pixels(plane);
  Dots dots = DotsOfSize(static_cast<int>(plane->GetWidth()), static_cast<int>(plane->GetHeight()));
  std::uint8_t* to = dots.values.data();
  for (int y = 0; y < dots.height; ++y) {
    for (int x = 0; x < dots.width; ++x) *to++ = pixels.IsInk(x, y) ? 255 : 0;
  }
  return dots;
}

Dots Transposed(const Dots& dots) {
  Dots result = DotsOfSize(dots.height, dots.width);
  // The columns of a block stay in the cache until its rows are complete.
  constexpr int kBlock = 64;
  for (int top = 0; top < dots.height; top += kBlock) {
    const int bottom = std::min(top + kBlock, dots.height);
    for (int x = 0; x < dots.width; ++x) {
      std::uint8_t* const to = result.values.data() + std::ptrdiff_t{dots.height} * x;
      for (int y = top; y < bottom; ++y) to[y] = dots.At(x, y);
    }
  }
  return result;
}

int TiltedPart::PageX(int column, int line) const {
  return x + column + static_cast<int>(std::lround(slope * line));
}

int TiltedPart::PageY(int column, int line) const {
  return y + line - static_cast<int>(std::lround(slope * column));
}

double TiltedPart::ColumnOf(double pageX, double pageY) const {
  return (pageX - x - slope * (pageY - y)) / (1 + slope * slope);
}

double TiltedPart::LineOf(double pageX, double pageY) const {
  return (pageY - y + slope * (pageX - x)) / (1 + slope * slope);
}

Dots Straightened(const Dots& dots, const TiltedPart& part, std::uint8_t outside) {
  return DotsOfPart(part, [&](int column, int line) {
    return ValueAt(dots, part.PageX(column, line), part.PageY(column, line), outside);
  });
}

Dots StraightenedSmoothly(const Dots& dots, const TiltedPart& part, std::uint8_t outside) {
  return DotsOfPart(part, [&](int column, int line) {
    const int x = part.PageX(column, line);
    const double y = part.y + line - part.slope * column;
    const double row = std::floor(y);
    const double above = ValueAt(dots, x, static_cast<int>(row), outside);
    const double below = ValueAt(dots, x, static_cast<int>(row) + 1, outside);
    return static_cast<std::uint8_t>(std::lround(above + (below - above) * (y - row)));
  });
}

}  // namespace orv::tool
