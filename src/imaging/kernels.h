#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/cpu.h"

/// The inner loops of the imaging code: one set of functions per instruction set, with
/// bit-identical results. Rows may have any stride, also negative. Bytes after a row's last pixel
/// are neither read nor written.

namespace orv {

/// 24-bit pixels in memory: blue, green, red bytes.
struct PixelPlane {
  std::uint8_t* first;    ///< the first pixel of the first row
  std::ptrdiff_t stride;  ///< bytes from one row to the next
  int width;
  int height;

  std::uint8_t* Row(int y) const { return first + y * stride; }
  PixelPlane Band(int y, int rows) const {
    return {Row(y), stride, width, height - y < rows ? height - y : rows};
  }
};

/// Greys in memory, a byte for each pixel; 255 is white.
struct GreyPlane {
  const std::uint8_t* first;
  std::ptrdiff_t stride;
  int width;
  int height;
};

/// One-bit pixels in memory, the leftmost in a byte's high bit.
struct BitPlane {
  const std::uint8_t* first;
  std::ptrdiff_t stride;
  int width;
  int height;

  const std::uint8_t* Row(int y) const { return first + y * stride; }
};

/// The colour of every pixel that does not become white.
struct Ink {
  std::uint8_t blue;
  std::uint8_t green;
  std::uint8_t red;
};

/// A square of n x n thresholds; n is a power of two up to 16. Kept for compatibility: rows of the
/// matrix apply to columns of the image, so the pixel at x, y has the threshold `entries[x % n * n
/// + y % n]`.
struct OrderedMatrix {
  int size;
  const std::uint8_t* entries;

  int Threshold(int x, int y) const { return entries[(x & (size - 1)) * size + (y & (size - 1))]; }
};

/// Which colours belong to the highlight of a two-colour page.
struct HighlightRule {
  std::uint32_t colour;  ///< the highlight colour, ARGB
  double tolerance;      ///< the maximum distance, on the scale of `CalculateToleranceCIE76`
};

/// An image can be processed in bands from the top down, which stay in the processor's caches. All
/// but the last must have a multiple of this many rows.
inline constexpr int kBandRows = 32;

/// The errors that a band passes down to the next one; empty before the first.
struct DiffusionErrors {
  std::unique_ptr<std::int32_t[]> plain;
  std::unique_ptr<std::int16_t[]> vector;
};

/// What the first band has found out about a rule, for the others.
struct HighlightLimits {
  bool areKnown = false;
  std::uint32_t lowest = 0;   ///< each channel's minimum in the highlight, 0xRRGGBB
  std::uint32_t highest = 0;  ///< each channel's maximum
};

struct ImagingKernels {
  /// Error diffusion of a band, in place. Returns false if memory for the errors runs out.
  bool (*floydSteinberg)(const PixelPlane& band, int threshold, Ink ink, DiffusionErrors* errors);
  bool (*sierraLite)(const PixelPlane& band, int threshold, Ink ink, DiffusionErrors* errors);

  /// Ordered dithering, in place.
  void (*ordered)(const PixelPlane& plane, const OrderedMatrix& matrix, Ink ink);

  /// Packs pixels into bits, first pixel highest: 1 for white, 0 for any other. Unused low bits of
  /// a row's last byte become 1.
  void (*monochrome)(const PixelPlane& source, std::uint8_t* target, std::ptrdiff_t targetStride);

  /// Writes each of `count` greys as a pixel.
  void (*greyPixels)(const std::uint8_t* greys, int count, std::uint8_t* pixels);

  /// Replaces pixels of the highlight with their grey, stretched so that the highlight colour
  /// itself becomes black, and all others with white. In place.
  void (*extractHighlight)(const PixelPlane& band, const HighlightRule& rule,
                           HighlightLimits* limits);

  /// Makes every pixel of `plane` white where `mask`, of the same size, is not white.
  void (*whiten)(const PixelPlane& plane, const PixelPlane& mask);

  /// The outermost rows and columns that have ink (a 0 bit); -1 without ink.
  int (*firstInkRow)(const BitPlane& plane);
  int (*lastInkRow)(const BitPlane& plane);
  int (*firstInkColumn)(const BitPlane& plane);
  int (*lastInkColumn)(const BitPlane& plane);
};

/// The functions for a level, which the processor must support.
const ImagingKernels& ImagingKernelsFor(CpuLevel level);

/// The functions of the level in use.
const ImagingKernels& ActiveImagingKernels();

extern const ImagingKernels kPlainKernels;
extern const ImagingKernels kSse41Kernels;
extern const ImagingKernels kAvx2Kernels;

}  // namespace orv
