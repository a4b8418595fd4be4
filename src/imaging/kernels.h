#pragma once

#include <cstddef>
#include <cstdint>

#include "base/cpu.h"

/// The inner loops of the imaging code: one set of functions for each level of processor, all of
/// which leave the same bits. Rows may have any stride, negative ones too; bytes of a row behind
/// its last pixel are neither read nor written.

namespace orv {

/// 24-bit pixels in memory: blue, green, red bytes.
struct PixelPlane {
  std::uint8_t* first;    ///< the first pixel of the first row
  std::ptrdiff_t stride;  ///< bytes from one row to the next
  int width;
  int height;

  std::uint8_t* Row(int y) const { return first + y * stride; }
};

/// One-bit pixels in memory, the leftmost in a byte's high bit.
struct BitPlane {
  const std::uint8_t* first;
  std::ptrdiff_t stride;
  int width;
  int height;

  const std::uint8_t* Row(int y) const { return first + y * stride; }
};

/// What a pixel that does not become white is set to.
struct Ink {
  std::uint8_t blue;
  std::uint8_t green;
  std::uint8_t red;
};

/// A square of n x n thresholds, n a power of two up to 16. Kept for compatibility: columns of the
/// image go down the matrix, so the pixel at x, y has the threshold `entries[x % n * n + y % n]`.
struct OrderedMatrix {
  int size;
  const std::uint8_t* entries;

  int Threshold(int x, int y) const { return entries[(x & (size - 1)) * size + (y & (size - 1))]; }
};

/// Which colours belong to the highlight of a two-colour page.
struct HighlightRule {
  std::uint32_t colour;  ///< the highlight colour, ARGB
  double tolerance;      ///< the greatest distance, on the scale of `CalculateToleranceCIE76`
};

struct ImagingKernels {
  /// Error diffusion, in place; false without memory for the errors.
  bool (*floydSteinberg)(const PixelPlane& plane, int threshold, Ink ink);
  bool (*sierraLite)(const PixelPlane& plane, int threshold, Ink ink);

  /// Ordered dithering, in place.
  void (*ordered)(const PixelPlane& plane, const OrderedMatrix& matrix, Ink ink);

  /// Sets one bit for each white pixel and clears one for any other, first pixel highest; unused
  /// low bits of a row's last byte are set.
  void (*monochrome)(const PixelPlane& source, std::uint8_t* target, std::ptrdiff_t targetStride);

  /// Replaces, in place, pixels of the highlight by their grey, stretched so that the highlight
  /// colour itself becomes black, and all others by white.
  void (*extractHighlight)(const PixelPlane& plane, const HighlightRule& rule);

  /// Makes every pixel of `plane` white where `mask`, of the same size, is not white.
  void (*whiten)(const PixelPlane& plane, const PixelPlane& mask);

  /// The outermost rows and columns that have ink, a 0 bit; -1 when there is none.
  int (*firstInkRow)(const BitPlane& plane);
  int (*lastInkRow)(const BitPlane& plane);
  int (*firstInkColumn)(const BitPlane& plane);
  int (*lastInkColumn)(const BitPlane& plane);
};

/// The functions of one level, which the processor must support.
const ImagingKernels& ImagingKernelsFor(CpuLevel level);

/// The functions of the level in use.
const ImagingKernels& ActiveImagingKernels();

extern const ImagingKernels kPlainKernels;
extern const ImagingKernels kSse41Kernels;
extern const ImagingKernels kAvx2Kernels;

}  // namespace orv
