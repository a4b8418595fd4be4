#pragma once

#include <cstdint>

#include "tools/orv/page/file.h"
#include "tools/orv/page/options.h"

/// A page as the two print heads of a printer get it.

namespace orv::tool {

/// White planes with dots in their print colours.
struct Planes {
  PagePointer background;
  PagePointer highlight;
};

/// Splits a page; ends the command without memory for it.
Planes SplitPage(Bitmap* page, Color colour, double tolerance, const DitherOptions& dither);

/// Both planes, of 24 bits a pixel, as they print: one ink over the other on white paper.
PagePointer PreviewOf(const Planes& planes);

/// A 24-bit page with one bit a pixel: ink is all but pure white. Ends the command without memory.
PagePointer OneBitOf(Bitmap* page);

std::int64_t PixelCount(Bitmap* page);
/// The number of pixels that are not white, of a page of 24 bits or one bit a pixel. Ends the
/// command without memory.
std::int64_t CountInk(Bitmap* page);

}  // namespace orv::tool
