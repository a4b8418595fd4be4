#pragma once

#include <algorithm>
#include <bit>

#include "orv/imaging/kernels.h"

/// Where the ink of a one-bit image begins and ends, on top of a search for bytes that are not all
/// white: `Bytes::FirstNot255(bytes, size)` gives the index of the first one, `size` without any,
/// `Bytes::LastNot255(bytes, size)` that of the last one, -1 without any.

namespace orv {
namespace {

template <typename Bytes>
class ContentScan {
 public:
  static int FirstRow(const BitPlane& plane) {
    for (int y = 0; y < plane.height; ++y) {
      if (HasInk(plane, y)) return y;
    }
    return -1;
  }

  static int LastRow(const BitPlane& plane) {
    int y = plane.height - 1;
    while (y >= 0 && !HasInk(plane, y)) --y;
    return y;
  }

  static int FirstColumn(const BitPlane& plane) {
    int first = plane.width;
    for (int y = 0; y < plane.height && first > 0; ++y) first = FirstInk(plane.Row(y), first);
    return first < plane.width ? first : -1;
  }

  static int LastColumn(const BitPlane& plane) {
    int last = -1;
    for (int y = 0; y < plane.height && last < plane.width - 1; ++y) {
      last = LastInk(plane.Row(y), plane.width, last);
    }
    return last;
  }

 private:
  /// The ink among the first `count` pixels of a byte, as 1 bits.
  static std::uint8_t Ink(std::uint8_t pixels, int count = 8) {
    return static_cast<std::uint8_t>(~pixels & (0xFF00 >> count));
  }

  static bool HasInk(const BitPlane& plane, int y) {
    return FirstInk(plane.Row(y), plane.width) < plane.width;
  }

  /// The first column below `limit` that has ink in a row; `limit` when there is none.
  static int FirstInk(const std::uint8_t* row, int limit) {
    const int whole = limit / 8;
    const auto index = static_cast<int>(Bytes::FirstNot255(row, whole));
    if (index < whole) return index * 8 + std::countl_zero(Ink(row[index]));
    if (limit % 8 != 0) {
      if (const std::uint8_t ink = Ink(row[whole], limit % 8); ink != 0) {
        return whole * 8 + std::countl_zero(ink);
      }
    }
    return limit;
  }

  /// The last column of a row of `width` pixels that has ink, `floor` when none above it has.
  static int LastInk(const std::uint8_t* row, int width, int floor) {
    const int whole = width / 8;
    if (width % 8 != 0) {
      if (const std::uint8_t ink = Ink(row[whole], width % 8); ink != 0) {
        return std::max(floor, whole * 8 + 7 - std::countr_zero(ink));
      }
    }
    const int start = (floor + 1) / 8;
    const auto index = start + static_cast<int>(Bytes::LastNot255(row + start, whole - start));
    if (index < start) return floor;
    return std::max(floor, index * 8 + 7 - std::countr_zero(Ink(row[index])));
  }
};

}  // namespace
}  // namespace orv
