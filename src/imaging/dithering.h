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

/// Dithers a copy of a bitmap, in the bitmap's own format. Null if copying or dithering fails.
std::unique_ptr<Bitmap> DitheredCopy(Bitmap* source, eBitmapDitherer method, int threshold,
                                     Ink ink);

}  // namespace orv
