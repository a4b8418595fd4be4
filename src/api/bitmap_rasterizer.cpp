#include "orv/imaging/bitmap_rasterizer.h"

#include "imaging/dithering.h"
#include "imaging/pixels.h"

Bitmap* BitmapRasterizer::Dither(Bitmap* source, eBitmapDitherer method, int threshold) {
  return orv::DitheredCopy(source, method, threshold, {0, 0, 0}).release();
}

Bitmap* BitmapRasterizer::Dither(Bitmap* source, eBitmapDitherer method, int threshold,
                                 Color& colour) {
  return orv::DitheredCopy(source, method, threshold, orv::InkOf(colour)).release();
}

BOOL BitmapRasterizer::Dither(BitmapData* data, eBitmapDitherer method, int threshold,
                              Color& colour) {
  return orv::Dither(orv::PlaneOf(*data), method, threshold, orv::InkOf(colour));
}
