#pragma once

#include <algorithm>
#include <bit>
#include <cstring>

#include "imaging/kernels.h"

/// Finds the rows and columns of a one-bit image that bound its ink. Columns are searched in
/// strips: some bytes of all rows are combined into one overlay row with AND. The search begins at
/// the edge with a narrow strip, because most ink is near it. `Bytes` supplies the operations on
/// several bytes at once:
/// `Bytes::AreWhite<n>(bytes, stride, size)` returns whether `size` bytes of n rows are 255,
/// `Bytes::StripSize(all)` is the width of the strips after the first, for rows of `all` bytes, and
/// `Bytes::Overlay(strip, bytes)` combines the rows of such a strip.

namespace orv {
namespace {

/// Some columns of an image: `size` bytes of each row.
struct Strip {
  const std::uint8_t* first;
  std::ptrdiff_t stride;
  int height;
  int size;
  int stopByte;           ///< Ink in the pixel `stopMask` of this byte settles the search:
  std::uint8_t stopMask;  ///< the remaining rows may be skipped.

  bool IsDone(const std::uint8_t* overlay) const { return (overlay[stopByte] & stopMask) == 0; }
};

constexpr int kOverlaidRows =
    8;  ///< between two checks for ink at the pixel that settles the search

/// The narrow first strip.
struct WordBytes {
  static constexpr int kSize = sizeof(std::uint64_t);

  template <int rows>
  static bool AreWhite(const std::uint8_t* bytes, std::ptrdiff_t stride, int size) {
    for (int y = 0; y < rows; ++y, bytes += stride) {
      for (int i = 0; i < size; ++i) {
        if (bytes[i] != 255) return false;
      }
    }
    return true;
  }

  static int StripSize(int all) { return std::min(all, kSize); }

  static void Overlay(const Strip& strip, std::uint8_t* bytes) {
    std::memset(bytes, 255, kSize);
    const std::uint8_t* row = strip.first;
    if (strip.size < kSize) {
      for (int y = 0; y < strip.height && !strip.IsDone(bytes); ++y, row += strip.stride) {
        for (int i = 0; i < strip.size; ++i) bytes[i] &= row[i];
      }
      return;
    }
    std::uint64_t all = ~std::uint64_t{0};
    const auto overlayRows = [&](int count) {
      for (int i = 0; i < count; ++i, row += strip.stride) {
        std::uint64_t word;
        std::memcpy(&word, row, kSize);
        all &= word;
      }
      std::memcpy(bytes, &all, kSize);
    };
    int left = strip.height;
    for (; left >= kOverlaidRows && !strip.IsDone(bytes); left -= kOverlaidRows) {
      overlayRows(kOverlaidRows);
    }
    if (!strip.IsDone(bytes)) overlayRows(left);
  }
};

template <typename Bytes>
class ContentScan {
 public:
  static int FirstRow(const BitPlane& plane) {
    if (plane.height > 0 && HasInk<1>(plane, 0)) return 0;
    int y = 0;
    while (y + kRows <= plane.height && !HasInk<kRows>(plane, y)) y += kRows;
    while (y < plane.height && !HasInk<1>(plane, y)) ++y;
    return y < plane.height ? y : -1;
  }

  static int LastRow(const BitPlane& plane) {
    int end = plane.height;
    if (end > 0 && HasInk<1>(plane, end - 1)) return end - 1;
    while (end >= kRows && !HasInk<kRows>(plane, end - kRows)) end -= kRows;
    while (end > 0 && !HasInk<1>(plane, end - 1)) --end;
    return end - 1;
  }

  static int FirstColumn(const BitPlane& plane) {
    const int all = BytesOfRow(plane);
    int size = WordBytes::StripSize(all);
    for (int seen = 0; seen < all;) {
      const int start = std::min(seen, all - size);
      std::uint8_t bytes[kMaxStrip];
      Overlay(plane, start, size, seen * 8, bytes);
      for (int i = 0; i < size; ++i) {
        if (bytes[i] != 255) return (start + i) * 8 + std::countl_one(bytes[i]);
      }
      seen = start + size;
      size = Bytes::StripSize(all);
    }
    return -1;
  }

  static int LastColumn(const BitPlane& plane) {
    const int all = BytesOfRow(plane);
    int size = WordBytes::StripSize(all);
    for (int end = all; end > 0;) {
      const int start = std::max(end - size, 0);
      std::uint8_t bytes[kMaxStrip];
      Overlay(plane, start, size, std::min(end * 8, plane.width) - 1, bytes);
      for (int i = size - 1; i >= 0; --i) {
        if (bytes[i] != 255) return (start + i) * 8 + 7 - std::countr_one(bytes[i]);
      }
      end = start;
      size = Bytes::StripSize(all);
    }
    return -1;
  }

 private:
  static constexpr int kRows = 4;  ///< rows checked together
  static constexpr int kMaxStrip = 128;

  /// The bytes to check per row: 0 if there are no rows, whose address may be null.
  static int BytesOfRow(const BitPlane& plane) {
    return plane.height > 0 ? SizeOf(plane.width) : 0;
  }

  static int SizeOf(int width) { return width / 8 + (width % 8 != 0 ? 1 : 0); }

  /// The padding bits in the last byte of a row.
  static std::uint8_t Padding(int width) {
    return static_cast<std::uint8_t>(0xFF >> ((width - 1) % 8 + 1));
  }

  /// Whether one of `rows` rows from y on has ink.
  template <int rows>
  static bool HasInk(const BitPlane& plane, int y) {
    const int last = SizeOf(plane.width) - 1;
    if (last < 0) return false;
    const std::uint8_t* row = plane.Row(y);
    std::uint8_t lastBytes = 255;
    for (int i = 0; i < rows; ++i) lastBytes &= row[last + i * plane.stride];
    return !Bytes::template AreWhite<rows>(row, plane.stride, last) ||
           (lastBytes | Padding(plane.width)) != 255;
  }

  /// Combines `size` bytes of each row, from byte `start` on: a bit is white if it is white in all
  /// rows. Stops early at ink in `column`, the first column not searched yet.
  static void Overlay(const BitPlane& plane, int start, int size, int column, std::uint8_t* bytes) {
    const Strip strip = {plane.first + start, plane.stride,
                         plane.height,        size,
                         column / 8 - start,  static_cast<std::uint8_t>(0x80 >> column % 8)};
    if (size <= WordBytes::kSize) {
      WordBytes::Overlay(strip, bytes);
    } else {
      Bytes::Overlay(strip, bytes);
    }
    if (start + size == SizeOf(plane.width)) bytes[size - 1] |= Padding(plane.width);
  }
};

}  // namespace
}  // namespace orv
