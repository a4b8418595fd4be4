#pragma once

#include <memory>

#include "imaging/kernels.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"

/// The dithering methods by their stored numbers.

namespace orv {

bool IsKnownMethod(eBitmapDitherer method);

/// Dithers pixels in place to white and ink. False for an unknown method, or if memory runs out.
bool Dither(const PixelPlane& plane, eBitmapDitherer method, int threshold, Ink ink);

/// The same for a band of an image.
bool DitherBand(const PixelPlane& band, eBitmapDitherer method, int threshold, Ink ink,
                DiffusionErrors* errors);

/// How many rows of a width make a band that stays in the processor's caches.
int BandRowsFor(int width);

/// A copy of a band of an image, one band after the other.
class BandCopy {
 public:
  /// For images of this width.
  explicit BandCopy(int width);

  int rows() const { return rows_; }
  /// The pixels of the image's band that begins at row `y`; null if memory ran out.
  const PixelPlane* Of(const PixelPlane& image, int y);
  /// The same for greys, which it converts to pixels.
  const PixelPlane* Of(const GreyPlane& image, int y);

 private:
  template <typename Plane>
  const PixelPlane* Copy(const Plane& image, int y);

  int rows_;
  std::unique_ptr<std::uint8_t[]> pixels_;
  PixelPlane band_;
};

/// Dithers pixels to one bit each, 1 for white and 0 for ink, and keeps them. Unused low bits of a
/// row's last byte become 1. False as for `Dither`.
bool DitherToBits(const PixelPlane& plane, eBitmapDitherer method, int threshold,
                  std::uint8_t* bits, std::ptrdiff_t stride);
bool DitherToBits(const GreyPlane& plane, eBitmapDitherer method, int threshold, std::uint8_t* bits,
                  std::ptrdiff_t stride);

/// Dithers a copy of a bitmap, in the bitmap's own format. Null if copying or dithering fails.
std::unique_ptr<Bitmap> DitheredCopy(Bitmap* source, eBitmapDitherer method, int threshold,
                                     Ink ink);

}  // namespace orv
