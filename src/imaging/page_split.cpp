#include "imaging/page_split.h"

#include "imaging/dithering.h"
#include "imaging/kernels.h"
#include "imaging/pixels.h"

namespace orv {
namespace {

/// A 24-bit copy of the page that keeps only the highlight, in grey.
std::unique_ptr<Bitmap> ExtractHighlight(Bitmap* page, const HighlightRule& rule) {
  std::unique_ptr<Bitmap> mask = CloneWhole(page, PixelFormat24bppRGB);
  if (mask == nullptr) return nullptr;
  const LockedBits bits(mask.get(), ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
  if (!bits.IsLocked()) return nullptr;
  ActiveImagingKernels().extractHighlight(PlaneOf(*bits.data()), rule);
  return mask;
}

/// Makes the background white where the mask has ink. Does nothing if a bitmap cannot be locked.
void EraseHighlight(Bitmap* background, Bitmap* mask) {
  const LockedBits from(mask, ImageLockModeRead, mask->GetPixelFormat());
  const LockedBits to(background, ImageLockModeRead | ImageLockModeWrite,
                      background->GetPixelFormat());
  if (!from.IsLocked() || !to.IsLocked()) return;
  PixelPlane plane = PlaneOf(*to.data());
  const PixelPlane maskPlane = MaskRowsFor(*from.data(), plane);
  plane.height = maskPlane.height;
  ActiveImagingKernels().whiten(plane, maskPlane);
}

}  // namespace

SplitOutcome SplitPage(Bitmap* page, const Color& colour, double tolerance, eBitmapDitherer method,
                       int threshold, PagePlanes* planes) {
  std::unique_ptr<Bitmap> mask = ExtractHighlight(page, {colour.GetValue(), tolerance});
  if (mask == nullptr) return SplitOutcome::kNoMask;
  if (!IsKnownMethod(method)) return SplitOutcome::kUnknownMethod;

  std::unique_ptr<Bitmap> background = DitheredCopy(page, method, threshold, {0, 0, 0});
  if (background == nullptr) return SplitOutcome::kNoBackground;
  EraseHighlight(background.get(), mask.get());

  // The mask becomes the highlight plane: dithering it gives the same pixels as extracting the
  // highlight a second time and dithering that.
  {
    const LockedBits bits(mask.get(), ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
    if (!bits.IsLocked() || !Dither(PlaneOf(*bits.data()), method, threshold, InkOf(colour))) {
      return SplitOutcome::kNoHighlight;
    }
  }
  *planes = {std::move(background), std::move(mask)};
  return SplitOutcome::kDone;
}

bool SplitPlanes(const PixelPlane& background, const PixelPlane& highlight,
                 const HighlightRule& rule, eBitmapDitherer method, int threshold) {
  const ImagingKernels& kernels = ActiveImagingKernels();
  kernels.extractHighlight(highlight, rule);
  if (!Dither(background, method, threshold, {0, 0, 0})) return false;
  kernels.whiten(background, highlight);
  return Dither(highlight, method, threshold, InkOf(Color(rule.colour)));
}

}  // namespace orv
