#pragma once

#include <memory>

#include "imaging/kernels.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"

/// Splits a page for a printer with two print heads.

namespace orv {

enum class SplitOutcome {
  kDone,
  kNoMask,         ///< the page could not be copied
  kUnknownMethod,  ///< the dithering method does not exist
  kNoBackground,   ///< the background plane could not be made
  kNoHighlight,    ///< the highlight plane could not be dithered
};

/// The dithered planes of a page, of the same size as the page.
struct PagePlanes {
  std::unique_ptr<Bitmap> background;
  std::unique_ptr<Bitmap> highlight;
};

/// Where the bits of two planes are stored.
struct SplitBits {
  std::uint8_t* background;
  std::uint8_t* highlight;
  std::ptrdiff_t stride;
};

/// Splits a page: pixels within `tolerance` of `colour` (as `CalculateToleranceCIE76` measures it)
/// go to the highlight plane, the others to the background. `*planes` is set only for `kDone`.
SplitOutcome SplitPage(Bitmap* page, const Color& colour, double tolerance, eBitmapDitherer method,
                       int threshold, PagePlanes* planes);

/// Splits a page to planes with one bit per pixel, as `DitherToBits` makes them, and keeps it.
/// Returns false for an unknown method, or if memory runs out.
bool SplitToBits(const PixelPlane& page, const HighlightRule& rule, eBitmapDitherer method,
                 int threshold, const SplitBits& bits);

/// Splits pixels that both planes hold at first, with the results in place. The method must exist.
/// Returns false if memory runs out.
bool SplitPlanes(const PixelPlane& background, const PixelPlane& highlight,
                 const HighlightRule& rule, eBitmapDitherer method, int threshold);

}  // namespace orv
