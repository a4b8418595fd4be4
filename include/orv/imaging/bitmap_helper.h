#pragma once

#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"

/// Operations on page bitmaps. Bitmaps that a function returns belong to the caller, who deletes
/// them with `DeleteBitmap`. One-bit images hold 1 for white and 0 for ink. The status codes of
/// single bitmap calls stay in the bitmaps' last status and stop nothing. Any thread may call
/// anything on bitmaps that no other thread uses.
class ORV_EXPORT BitmapHelper {
 public:
  /// A bitmap with zeroed pixels of its own, or null when the system refuses.
  static Bitmap* CreateBitmap(INT width, INT height, PixelFormat format);

  /// Destroys a bitmap; null is ignored.
  static void DeleteBitmap(Bitmap* bitmap);

  /// The rectangle from 0, 0 that the bitmap fills.
  static void GetDimensions(Bitmap* bitmap, Rect* rect);

  /// Copies 24-bit rows, the top one first, into the top left of a bitmap. Each row of `buffer` has
  /// as many bytes as the bitmap's stride, padding included, also when that stride is negative.
  static void Copy24BPPBufferToBitmap(const BYTE* buffer, INT width, INT height, Bitmap* bitmap);

  /// 1 when both bitmaps have the same size, format, stride and bytes, padding of rows included,
  /// else 0; 0 for a null bitmap.
  static int Are1BPPBitmapsEqual(Bitmap* a, Bitmap* b);

  /// Reduces a 24-bit image to one bit per pixel: everything that is not pure white is ink.
  /// `target` is a one-bit image of the same size. 0 for a null bitmap, else 1.
  static int GetMonochromeImage1BPP(Bitmap* source, Bitmap* target);

  /// The first row or column, from the top or the left, that has ink; -1 when there is none.
  static int GetFirstContentRow1BPP(Bitmap* bitmap);
  static int GetFirstContentColumn1BPP(Bitmap* bitmap);
  /// The last row or column that has ink; -1 when there is none.
  static int GetLastContentRow1BPP(Bitmap* bitmap);
  static int GetLastContentColumn1BPP(Bitmap* bitmap);

  /// Splits a page for a printer with two print heads, black and `highlightColour`: pixels not
  /// farther from that colour than `tolerance` (as `CalculateToleranceCIE76` measures it, nearly
  /// white and nearly black pixels excepted) go to `*highlight`, the rest to `*background`, both
  /// dithered. 1 on success. On failure 0 and no bitmap is left over: an unknown method or a
  /// source that cannot be copied a second time leaves `*highlight` null and `*background`
  /// untouched, one that cannot be copied at all leaves both untouched, later failures set both to
  /// null. A highlight colour whose grey value is 255 is not valid.
  static int SplitImage(Bitmap* source, Color& highlightColour, double tolerance,
                        eBitmapDitherer method, int threshold, Bitmap** background,
                        Bitmap** highlight);

  /// Saves an intermediate image as "Job%03d_%s_Page%02d_%s.png" (job, time, page, name) when the
  /// settings "SaveIntermediateBitmapsEnabled" and "SaveIntermediateBitmapsPath", read once a
  /// process from the logging settings, ask for it. The name is logged in any case. Failures are
  /// not reported.
  static void DevTestSaveBitmapAs(Bitmap* bitmap, int jobId, int page, const wchar_t* name,
                                  CLoggerClient* client);
};
