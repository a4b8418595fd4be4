#pragma once

/// All vectorized loops, for the two files that compile them.

#include <algorithm>

#include "imaging/content_scan.h"
#include "imaging/vector_diffusion.h"
#include "imaging/vector_highlight.h"
#include "imaging/vector_pixels.h"

namespace orv {
namespace {

/// A grey value is at least an integer threshold t exactly when an eighth of its thousandths,
/// truncated, is at least 125 t.
void Ordered(const PixelPlane& plane, const OrderedMatrix& matrix, Ink ink) {
  constexpr int kCount = kBlock * kHalves;
  constexpr int kPeriod = 16;  // the least common period of all matrices; one or two vectors
  const PixelBlock inkBlock = InkBlock(ink);
  alignas(32) std::int16_t limits[kPeriod][kPeriod];
  for (int y = 0; y < kPeriod; ++y) {
    for (int x = 0; x < kPeriod; ++x) {
      limits[y][x] = static_cast<std::int16_t>(125 * matrix.Threshold(x, y) - 1);
    }
  }
  for (int y = 0; y < plane.height; ++y) {
    ForRow<kCount, 0>(plane.Row(y), plane.width, [&](std::uint8_t* pixels, int x) {
      // The loop is so short that it would otherwise wait for memory.
      PrefetchAhead(pixels);
      std::uint8_t* second = pixels + kBlockBytes * (kHalves - 1);
      const Vec eighths = SumGrey(LoadBlock(pixels, second)).eighths;
      const Vec white = Greater16(eighths, LoadAll(limits[y % kPeriod] + x % kPeriod));
      PaintBlock(pixels, second, white, inkBlock.head, inkBlock.tail);
    });
  }
}

/// For 16 pixels per half, one byte each: 255 where the pixel is white, else 0. With `backwards`,
/// each group of eight is in the order of a byte's bits, the last pixel first, so that the bytes'
/// sign bits form a one-bit row.
template <bool backwards>
struct WhitePixels {
  // Puts each of four pixels into its own lane, one byte twice. The last four are read from four
  // bytes earlier, to stay within the pixels.
  const Vec four = backwards ? Indexes(9, 10, 11, 9, 6, 7, 8, 6, 3, 4, 5, 3, 0, 1, 2, 0)
                             : Indexes(0, 1, 2, 0, 3, 4, 5, 3, 6, 7, 8, 6, 9, 10, 11, 9);
  const Vec lastFour = backwards ? Indexes(13, 14, 15, 13, 10, 11, 12, 10, 7, 8, 9, 7, 4, 5, 6, 4)
                                 : Indexes(4, 5, 6, 4, 7, 8, 9, 7, 10, 11, 12, 10, 13, 14, 15, 13);
  const Vec white = Set8(255);

  Vec operator()(const std::uint8_t* pixels, const std::uint8_t* second) const {
    const auto lanes = [&](int offset, Vec order) {
      return Equal32(Shuffle(Load(pixels + offset, second + offset), order), white);
    };
    return PackSigned16(Eight(lanes(0, four), lanes(12, four)),
                        Eight(lanes(24, four), lanes(32, lastFour)));
  }

 private:
  static Vec Eight(Vec first, Vec last) {
    return backwards ? PackSigned32(last, first) : PackSigned32(first, last);
  }
};

void Monochrome(const PixelPlane& source, std::uint8_t* target, std::ptrdiff_t targetStride) {
  constexpr int kCount = 16 * kHalves;
  const WhitePixels<true> whitePixels;
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* row = source.Row(y);
    std::uint8_t* bytes = target + y * targetStride;
    int x = 0;
    for (; x + kCount <= source.width; x += kCount, bytes += kCount / 8) {
      const std::uint8_t* pixels = row + 3 * x;
      const std::uint32_t bits = SignBits8(whitePixels(pixels, pixels + 48));
      std::memcpy(bytes, &bits, kCount / 8);
    }
    if (x < source.width) {
      std::uint8_t copy[3 * kCount];
      std::memset(copy, 255, sizeof copy);
      const int left = source.width - x;
      std::memcpy(copy, row + 3 * x, static_cast<std::size_t>(3 * left));
      const std::uint32_t bits = SignBits8(whitePixels(copy, copy + 48));
      std::memcpy(bytes, &bits, static_cast<std::size_t>((left + 7) / 8));
    }
  }
}

/// Repeats each of 16 bytes for the bytes of a pixel, a third of these at a time.
class Thirds {
 public:
  Vec Of(Vec bytes, int third) const { return Shuffle(bytes, indexes_[third]); }

 private:
  const Vec indexes_[3] = {Indexes(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5),
                           Indexes(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10),
                           Indexes(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15)};
};

void GreyPixels(const std::uint8_t* greys, int count, std::uint8_t* pixels) {
  constexpr int kCount = 16 * kHalves;
  const Thirds thirds;
  for (; count >= kCount; count -= kCount, greys += kCount, pixels += 3 * kCount) {
    const Vec bytes = LoadAll(greys);
    for (int i = 0; i < 3; ++i) Store(pixels + 16 * i, pixels + 16 * i + 48, thirds.Of(bytes, i));
  }
  kPlainKernels.greyPixels(greys, count, pixels);
}

void Whiten(const PixelPlane& plane, const PixelPlane& mask) {
  constexpr int kCount = 16 * kHalves;
  const WhitePixels<false> whitePixels;
  const Thirds thirds;
  for (int y = 0; y < plane.height; ++y) {
    std::uint8_t* row = plane.Row(y);
    const std::uint8_t* maskRow = mask.Row(y);
    int x = 0;
    for (; x + kCount <= plane.width; x += kCount) {
      const std::uint8_t* maskPixels = maskRow + 3 * x;
      const Vec white = whitePixels(maskPixels, maskPixels + 48);
      if (SignBits8(white) == kAllSignBits8) continue;
      for (int i = 0; i < 3; ++i) {
        std::uint8_t* pixels = row + 3 * x + 16 * i;
        const Vec whiten = AndNot(thirds.Of(white, i), Set8(255));
        Store(pixels, pixels + 48, Or(Load(pixels, pixels + 48), whiten));
      }
    }
    const PixelPlane rest = {row + 3 * x, plane.stride, plane.width - x, 1};
    const PixelPlane maskRest = {mask.Row(y) + 3 * x, mask.stride, plane.width - x, 1};
    kPlainKernels.whiten(rest, maskRest);
  }
}

/// Whole vectors; the last one overlaps its predecessor if less than a vector remains.
struct VectorBytes {
  static constexpr int kSize = sizeof(Vec);

  template <int rows>
  static bool AreWhite(const std::uint8_t* bytes, std::ptrdiff_t stride, int size) {
    if (size < kSize) return WordBytes::AreWhite<rows>(bytes, stride, size);
    Vec all = Set8(255);
    for (int i = 0;; i = std::min(i + kSize, size - kSize)) {
      for (int y = 0; y < rows; ++y) all = And(all, LoadAll(bytes + y * stride + i));
      if (i == size - kSize) break;
    }
    return SignBits8(Equal8(all, Set8(255))) == kAllSignBits8;
  }

  static int StripSize(int all) {
    return all < kSize ? WordBytes::StripSize(all) : std::min(all / kSize * kSize, 128);
  }

  static void Overlay(const Strip& strip, std::uint8_t* bytes) {
    std::memset(bytes, 255, static_cast<std::size_t>(strip.size));
    const std::uint8_t* row = strip.first;
    for (int y = 0; y < strip.height && !strip.IsDone(bytes); y += kOverlaidRows) {
      const int rows = std::min(strip.height - y, kOverlaidRows);
      for (int i = 0; i < strip.size; i += kSize) {
        Vec all = LoadAll(bytes + i);
        const std::uint8_t* part = row + i;
        for (int left = rows; left > 0; --left, part += strip.stride) {
          all = And(all, LoadAll(part));
        }
        StoreAll(bytes + i, all);
      }
      row += rows * strip.stride;
    }
  }
};

using VectorScan = ContentScan<VectorBytes>;

constexpr ImagingKernels kVectorKernels = {
    FloydSteinberg,
    SierraLite,
    Ordered,
    Monochrome,
    GreyPixels,
    ExtractHighlight,
    Whiten,
    VectorScan::FirstRow,
    VectorScan::LastRow,
    VectorScan::FirstColumn,
    VectorScan::LastColumn,
};

}  // namespace
}  // namespace orv
