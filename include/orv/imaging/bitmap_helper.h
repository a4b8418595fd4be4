#pragma once

#include <memory>

#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/graphics.h"
#include "orv/platform/out.h"  // IWYU pragma: export
#include "orv/platform/types.h"

/// Prepares page bitmaps for printing, for example for a printer with a black and a red print head:
///
///     Color red(255, 0, 0);
///     orv::OwnedBitmap black;
///     orv::OwnedBitmap highlight;
///     if (BitmapHelper::SplitImage(page, red, 0.1, eBitmapDithererFloydSteinberg, 128,
///                                  orv::Out(black), orv::Out(highlight)) == 1) {
///       const int firstRow = BitmapHelper::GetFirstContentRow1BPP(black.get());
///     }

/// Operations on page bitmaps. Bitmaps that a function returns belong to the caller, who deletes
/// them with `DeleteBitmap`, or keeps them in an `orv::OwnedBitmap`. One-bit images hold 1 for
/// white and 0 for ink. If a single bitmap call fails, its status is kept as the bitmap's last
/// status and the operation continues. A bitmap must not be null unless a comment allows it.
/// Functions may be called from any thread on bitmaps that no other thread uses.
class ORV_EXPORT BitmapHelper {
 public:
  /// Creates a bitmap with zeroed pixels of its own; null on failure.
  static Bitmap* CreateBitmap(INT width, INT height, PixelFormat format);

  /// Destroys a bitmap; null is ignored.
  static void DeleteBitmap(Bitmap* bitmap);

  /// The bitmap's rectangle, from 0, 0.
  static void GetDimensions(Bitmap* bitmap, Rect* rect);

  /// Copies 24-bit rows, top row first, to the top left of a bitmap. Each row of `buffer` has as
  /// many bytes as the bitmap's stride, including padding, also if that stride is negative.
  static void Copy24BPPBufferToBitmap(const BYTE* buffer, INT width, INT height, Bitmap* bitmap);

  /// Returns 1 if both bitmaps have the same size, format, stride and bytes, including row padding,
  /// else 0. Returns 0 for a null bitmap.
  static int Are1BPPBitmapsEqual(Bitmap* a, Bitmap* b);

  /// Reduces a 24-bit image to one bit per pixel: everything that is not pure white is ink.
  /// `target` is a one-bit image of the same size. Returns 0 for a null bitmap, else 1.
  static int GetMonochromeImage1BPP(Bitmap* source, Bitmap* target);

  /// The first row or column that has ink, from the top or the left; -1 without ink.
  static int GetFirstContentRow1BPP(Bitmap* bitmap);
  static int GetFirstContentColumn1BPP(Bitmap* bitmap);

  /// The last row or column that has ink; -1 without ink.
  static int GetLastContentRow1BPP(Bitmap* bitmap);
  static int GetLastContentColumn1BPP(Bitmap* bitmap);

  /// Splits a page for a printer with two print heads, black and `highlightColour`: pixels within
  /// `tolerance` of that colour (as `CalculateToleranceCIE76` measures it, except nearly white and
  /// nearly black pixels) go to `*highlight`, the rest to `*background`, both dithered. Returns 1
  /// on success. On failure it returns 0 and leaves no bitmap: a source that cannot be copied
  /// leaves both unchanged, an unknown method or a highlight that cannot be dithered sets
  /// `*highlight` to null and leaves `*background` unchanged, and a background that cannot be made
  /// sets both to null. `highlightColour` should not be white: pixels within the tolerance of a
  /// colour with the grey value 255 all become ink.
  static int SplitImage(Bitmap* source, Color& highlightColour, double tolerance,
                        eBitmapDitherer method, int threshold, Bitmap** background,
                        Bitmap** highlight);

  /// Saves an intermediate image as "Job%03d_%s_Page%02d_%s.png" (job, time, page, name) if the
  /// settings "SaveIntermediateBitmapsEnabled" and "SaveIntermediateBitmapsPath" enable it; they
  /// are among the logging settings and are read once per process. The name is always logged.
  /// Failures are not reported.
  static void DevTestSaveBitmapAs(Bitmap* bitmap, int jobId, int page, const wchar_t* name,
                                  CLoggerClient* client);
};

namespace orv {

/// Deletes the bitmap of an `OwnedBitmap`.
struct BitmapDeleter {
  void operator()(Bitmap* bitmap) const { BitmapHelper::DeleteBitmap(bitmap); }  ///< frees it
};

/// Owns a bitmap that a function of the library returned; `Out` passes it to those that store one.
using OwnedBitmap = std::unique_ptr<Bitmap, BitmapDeleter>;

}  // namespace orv
