#pragma once

#include "orv/platform/export.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"

/// The dithering methods; the values are stored in private settings records.
enum eBitmapDitherer {
  eBitmapDithererNone = 0,            ///< leaves the image as it is
  eBitmapDithererFloydSteinberg = 1,  ///< error diffusion to four neighbours
  eBitmapDithererSierraLite = 2,      ///< error diffusion to three neighbours
  eBitmapDithererMatrix4 = 3,         ///< ordered, 4 x 4 thresholds
  eBitmapDithererMatrix8 = 4,         ///< ordered, 8 x 8 thresholds
  eBitmapDithererMatrix16 = 5,        ///< ordered, 16 x 16 thresholds
};

/// Turns images into two colours, white and the colour of a print head. A pixel whose grey value,
/// with the error that its neighbours passed on, is at least its threshold becomes white, any other
/// the colour; alpha of the colour is ignored. The ordered methods have thresholds of their own.
/// Any thread may call anything on bitmaps that no other thread uses.
class ORV_EXPORT BitmapRasterizer {
 public:
  /// Dithers a copy of `source` to black and white; see the next function.
  static Bitmap* Dither(Bitmap* source, eBitmapDitherer method, int threshold);

  /// A dithered copy of `source` in its own format, which the caller deletes. Null for an unknown
  /// method and when the copy or the method fails.
  static Bitmap* Dither(Bitmap* source, eBitmapDitherer method, int threshold, Color& colour);

  /// Dithers pixels that are locked as 24-bit RGB, in place. 0 for an unknown method or without
  /// memory, else 1; method 0 does nothing.
  static BOOL Dither(BitmapData* data, eBitmapDitherer method, int threshold, Color& colour);
};
