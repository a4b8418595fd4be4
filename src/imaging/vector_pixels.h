#pragma once

/// Helpers that the vectorized loops share: eight pixels (24 bytes) per half, held as the 16 bytes
/// from the first byte and the 16 bytes from the eighth byte on.

#include <cstring>

#include "imaging/kernels.h"
#include "imaging/vector.h"

namespace orv {
namespace {

constexpr int kBlock = 8;  ///< pixels per half
constexpr int kBlockBytes = 3 * kBlock;

/// Eight pixels per half.
struct PixelBlock {
  Vec head;  ///< bytes 0 to 15
  Vec tail;  ///< bytes 8 to 23
};

inline PixelBlock LoadBlock(const std::uint8_t* first, const std::uint8_t* second) {
  return {Load(first, second), Load(first + 8, second + 8)};
}

/// The grey values of eight pixels per half, one per 16-bit lane: their thousandths modulo 65536,
/// and an eighth of their thousandths, truncated (at most 31875).
struct GreySums {
  Vec low;
  Vec eighths;
};

inline GreySums SumGrey(const PixelBlock& pixels) {
  const Vec blueGreenHead = Indexes(0, -1, 1, -1, 3, -1, 4, -1, 6, -1, 7, -1, 9, -1, 10, -1);
  const Vec blueGreenTail = Indexes(4, -1, 5, -1, 7, -1, 8, -1, 10, -1, 11, -1, 13, -1, 14, -1);
  const Vec redHead = Indexes(2, -1, -1, -1, 5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1);
  const Vec redTail = Indexes(6, -1, -1, -1, 9, -1, -1, -1, 12, -1, -1, -1, 15, -1, -1, -1);
  const Vec blueGreenWeights = Set32(587 << 16 | 114);
  const Vec redWeight = Set32(299);
  const Vec low16 = Set32(0xFFFF);

  const Vec head = Add32(MulAddPairs(Shuffle(pixels.head, blueGreenHead), blueGreenWeights),
                         MulAddPairs(Shuffle(pixels.head, redHead), redWeight));
  const Vec tail = Add32(MulAddPairs(Shuffle(pixels.tail, blueGreenTail), blueGreenWeights),
                         MulAddPairs(Shuffle(pixels.tail, redTail), redWeight));
  return {Pack32(And(head, low16), And(tail, low16)),
          Pack32(ShiftRight32<3>(head), ShiftRight32<3>(tail))};
}

/// Whole grey values: a thousandth of n is a 125th of n / 8, and n / 125 = (n * 33555) >> 22 for n
/// up to 31875, because 33555 * 125 exceeds 2^22 by 71 and 71 * 31875 < 2^22.
inline Vec WholeGrey(const GreySums& sums) {
  return ShiftRight16<6>(MulHigh16(sums.eighths, Set16(33555)));
}

/// Writes eight pixels per half: white where the 16-bit lane is all ones, the ink where it is zero.
/// `inkHead` and `inkTail` are the ink's bytes in the layout of `PixelBlock`.
inline void PaintBlock(std::uint8_t* first, std::uint8_t* second, Vec white, Vec inkHead,
                       Vec inkTail) {
  const Vec head = Indexes(0, 0, 0, 2, 2, 2, 4, 4, 4, 6, 6, 6, 8, 8, 8, 10);
  const Vec tail = Indexes(4, 6, 6, 6, 8, 8, 8, 10, 10, 10, 12, 12, 12, 14, 14, 14);
  Store(first, second, Or(Shuffle(white, head), inkHead));
  Store(first + 8, second + 8, Or(Shuffle(white, tail), inkTail));
}

/// The bytes of eight pixels of ink, for `PaintBlock`.
inline PixelBlock InkBlock(Ink ink) {
  std::uint8_t bytes[kBlockBytes];
  for (int i = 0; i < kBlockBytes; i += 3) {
    bytes[i] = ink.blue;
    bytes[i + 1] = ink.green;
    bytes[i + 2] = ink.red;
  }
  return {Both(LoadHalf(bytes)), Both(LoadHalf(bytes + 8))};
}

/// Runs `work(pixels, x)`, which handles `count` pixels at `pixels` and may read `slack` bytes
/// more, over a row. The remaining pixels are handled in a copy.
template <int count, int slack, typename Work>
void ForRow(std::uint8_t* row, int width, const Work& work) {
  int x = 0;
  for (; 3 * (x + count) + slack <= 3 * width; x += count) work(row + 3 * x, x);
  for (; x < width; x += count) {
    std::uint8_t copy[3 * count + slack] = {};
    const int left = width - x < count ? width - x : count;
    std::memcpy(copy, row + 3 * x, static_cast<std::size_t>(3 * left));
    work(copy, x);
    std::memcpy(row + 3 * x, copy, static_cast<std::size_t>(3 * left));
  }
}

}  // namespace
}  // namespace orv
