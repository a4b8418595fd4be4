#pragma once

#include <cstdint>

#include "imaging/kernels.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/pixels.h"

/// The planes of a page for a printer with two print heads.

namespace orv::tool {

/// White pages with dots in the print colours.
struct Planes {
  PagePointer background;
  PagePointer highlight;
};

/// Splits a page; the highlight reaches `overlap` dots under black ink. Ends the command if there
/// is not enough memory.
Planes SplitPage(Bitmap* page, Color colour, double tolerance, const DitherOptions& dither,
                 int overlap = 0);

/// The same planes with one bit per pixel where two colours suffice, in less memory: 24-bit planes
/// exist only while a method of the program makes them.
Planes SplitInTwoColours(Bitmap* page, Color colour, double tolerance, const DitherOptions& dither);
/// A dithered page in the same form.
PagePointer DitheredInTwoColours(Bitmap* page, const DitherOptions& dither, Color colour);
/// The same for greys, by a method of the library other than `eBitmapDithererNone`.
PagePointer DitheredInTwoColours(const GreyPlane& greys, eBitmapDitherer method, int threshold,
                                 Color colour);

/// Combines two 24-bit planes as they print: one ink over the other on white paper.
PagePointer PreviewOf(const Planes& planes);

/// Converts a 24-bit page to one bit per pixel: everything except pure white is ink. Ends the
/// command if there is not enough memory.
PagePointer OneBitOf(Bitmap* page);

std::int64_t PixelCount(Bitmap* page);
/// The number of pixels that are not white, in a page of 24 bits or one bit per pixel. Ends the
/// command if there is not enough memory.
std::int64_t CountInk(Bitmap* page);

}  // namespace orv::tool
