#pragma once

#include "orv/platform/export.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"

/// Dithering: reduces an image to the two colours that a print head can print.
///
///     const orv::OwnedBitmap dots(
///         BitmapRasterizer::Dither(page, eBitmapDithererMatrix8, 128));
///     if (dots != nullptr) Use(dots->GetWidth());
///
/// `orv::OwnedBitmap` is declared in `orv/imaging/bitmap_helper.h`.

/// The dithering methods; the values are stored in private settings records.
/// The type holds any number that a record contains; unknown methods are refused.
enum eBitmapDitherer : int {
  eBitmapDithererNone = 0,            ///< leaves the image as it is
  eBitmapDithererFloydSteinberg = 1,  ///< error diffusion to four neighbours
  eBitmapDithererSierraLite = 2,      ///< error diffusion to three neighbours
  eBitmapDithererMatrix4 = 3,         ///< ordered, 4 x 4 thresholds
  eBitmapDithererMatrix8 = 4,         ///< ordered, 8 x 8 thresholds
  eBitmapDithererMatrix16 = 5,        ///< ordered, 16 x 16 thresholds
};

/// Reduces images to two colours, white and the colour of a print head. A pixel becomes white if
/// its grey value, plus the error from its neighbours, is at least its threshold; otherwise it gets
/// the colour, whose alpha is ignored. The ordered methods have their own thresholds. Functions may
/// be called from any thread on bitmaps that no other thread uses.
class ORV_EXPORT BitmapRasterizer {
 public:
  /// Dithers a copy of `source` to black and white; see the next function.
  static Bitmap* Dither(Bitmap* source, eBitmapDitherer method, int threshold);

  /// Dithers a copy of `source` in its own format; the caller deletes it. Returns null for an
  /// unknown method, or if copying or dithering fails.
  static Bitmap* Dither(Bitmap* source, eBitmapDitherer method, int threshold, Color& colour);

  /// Dithers pixels that are locked as 24-bit RGB, in place. Returns 0 for an unknown method or if
  /// memory runs out, else 1; method 0 does nothing.
  static BOOL Dither(BitmapData* data, eBitmapDitherer method, int threshold, Color& colour);
};
