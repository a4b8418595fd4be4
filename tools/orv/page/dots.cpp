#include "tools/orv/page/dots.h"

#include <cmath>

#include "orv/imaging/color_extensions.h"

namespace orv::tool {
namespace {

/// The dots of a part; `valueOf` takes their columns and lines.
template <typename Value>
Dots DotsOfPart(const TiltedPart& part, const Value& valueOf) {
  Dots result{part.width, part.height, {}};
  result.values.reserve(static_cast<std::size_t>(part.width) *
                        static_cast<std::size_t>(part.height));
  for (int line = 0; line < part.height; ++line) {
    for (int column = 0; column < part.width; ++column) {
      result.values.push_back(valueOf(column, line));
    }
  }
  return result;
}

std::uint8_t ValueAt(const Dots& dots, int x, int y, std::uint8_t outside) {
  const bool isInside = x >= 0 && x < dots.width && y >= 0 && y < dots.height;
  return isInside ? dots.At(x, y) : outside;
}

}  // namespace

Dots GreyDotsOf(Bitmap* page) {
  return DotsOf(page, [](const unsigned char* pixel) {
    return static_cast<std::uint8_t>(
        ColorExtensions::CalculateGrayValue(pixel[2], pixel[1], pixel[0]));
  });
}

Dots Transposed(const Dots& dots) {
  Dots result{dots.height, dots.width, {}};
  result.values.resize(dots.values.size());
  for (int y = 0; y < dots.height; ++y) {
    std::uint8_t* to = result.values.data() + y;
    for (int x = 0; x < dots.width; ++x, to += dots.height) *to = dots.At(x, y);
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
