#include "imaging/page_split.h"

#include "imaging/dithering.h"
#include "imaging/kernels.h"
#include "imaging/pixels.h"
#include "orv/platform/types.h"

namespace orv {
namespace {

/// A 24-bit copy of the page that keeps only the highlight, in grey.
std::unique_ptr<Bitmap> ExtractHighlight(Bitmap* page, const HighlightRule& rule) {
  std::unique_ptr<Bitmap> mask = CloneWhole(page, PixelFormat24bppRGB);
  if (mask == nullptr) return nullptr;
  const LockedBits bits(mask.get(), ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
  if (!bits.IsLocked()) return nullptr;
  HighlightLimits limits;
  ActiveImagingKernels().extractHighlight(PlaneOf(*bits.data()), rule, &limits);
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

/// Splits the bands of a page, from the top down.
class BandSplitter {
 public:
  BandSplitter(const HighlightRule& rule, eBitmapDitherer method, int threshold, Ink ink)
      : rule_(rule), method_(method), threshold_(threshold), ink_(ink) {}

  /// Splits pixels that both planes hold at first. The highlight is extracted once: dithering its
  /// mask gives the same pixels as extracting it again.
  SplitOutcome Split(const PixelPlane& background, const PixelPlane& highlight) {
    const ImagingKernels& kernels = ActiveImagingKernels();
    kernels.extractHighlight(highlight, rule_, &limits_);
    if (!DitherBand(background, method_, threshold_, {0, 0, 0}, &ofBackground_)) {
      return SplitOutcome::kNoBackground;
    }
    kernels.whiten(background, highlight);
    return DitherBand(highlight, method_, threshold_, ink_, &ofHighlight_)
               ? SplitOutcome::kDone
               : SplitOutcome::kNoHighlight;
  }

 private:
  HighlightRule rule_;
  eBitmapDitherer method_;
  int threshold_;
  Ink ink_;
  HighlightLimits limits_;
  DiffusionErrors ofBackground_;
  DiffusionErrors ofHighlight_;
};

SplitOutcome SplitInBands(const PixelPlane& background, const PixelPlane& highlight,
                          const HighlightRule& rule, eBitmapDitherer method, int threshold) {
  BandSplitter splitter(rule, method, threshold, InkOf(Color(rule.colour)));
  const int rows = BandRowsFor(background.width);
  SplitOutcome outcome = SplitOutcome::kDone;
  for (int y = 0; outcome == SplitOutcome::kDone && y < background.height; y += rows) {
    outcome = splitter.Split(background.Band(y, rows), highlight.Band(y, rows));
  }
  return outcome;
}

/// `SplitPage` for 24-bit pages, whose planes have the same rows.
SplitOutcome SplitWhole(Bitmap* page, const HighlightRule& rule, eBitmapDitherer method,
                        int threshold, PagePlanes* planes) {
  std::unique_ptr<Bitmap> highlight = CloneWhole(page, PixelFormat24bppRGB);
  if (highlight == nullptr) return SplitOutcome::kNoMask;
  if (!IsKnownMethod(method)) return SplitOutcome::kUnknownMethod;
  std::unique_ptr<Bitmap> background = CloneWhole(page, PixelFormat24bppRGB);
  if (background == nullptr) return SplitOutcome::kNoBackground;
  {
    constexpr UINT kFlags = ImageLockModeRead | ImageLockModeWrite;
    const LockedBits ofHighlight(highlight.get(), kFlags, PixelFormat24bppRGB);
    if (!ofHighlight.IsLocked()) return SplitOutcome::kNoMask;
    const LockedBits ofBackground(background.get(), kFlags, PixelFormat24bppRGB);
    if (!ofBackground.IsLocked()) return SplitOutcome::kNoBackground;
    const SplitOutcome outcome = SplitInBands(
        PlaneOf(*ofBackground.data()), PlaneOf(*ofHighlight.data()), rule, method, threshold);
    if (outcome != SplitOutcome::kDone) return outcome;
  }
  *planes = {std::move(background), std::move(highlight)};
  return SplitOutcome::kDone;
}

}  // namespace

SplitOutcome SplitPage(Bitmap* page, const Color& colour, double tolerance, eBitmapDitherer method,
                       int threshold, PagePlanes* planes) {
  const HighlightRule rule = {colour.GetValue(), tolerance};
  if (page->GetPixelFormat() == PixelFormat24bppRGB) {
    return SplitWhole(page, rule, method, threshold, planes);
  }
  std::unique_ptr<Bitmap> mask = ExtractHighlight(page, rule);
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

bool SplitToBits(const PixelPlane& page, const HighlightRule& rule, eBitmapDitherer method,
                 int threshold, const SplitBits& bits) {
  const ImagingKernels& kernels = ActiveImagingKernels();
  BandSplitter splitter(rule, method, threshold, {0, 0, 0});
  BandCopy background(page.width);
  BandCopy highlight(page.width);
  for (int y = 0; y < page.height; y += background.rows()) {
    const PixelPlane* const ofBackground = background.Of(page, y);
    const PixelPlane* const ofHighlight = highlight.Of(page, y);
    if (ofBackground == nullptr || ofHighlight == nullptr ||
        splitter.Split(*ofBackground, *ofHighlight) != SplitOutcome::kDone) {
      return false;
    }
    kernels.monochrome(*ofBackground, bits.background + y * bits.stride, bits.stride);
    kernels.monochrome(*ofHighlight, bits.highlight + y * bits.stride, bits.stride);
  }
  return true;
}

bool SplitPlanes(const PixelPlane& background, const PixelPlane& highlight,
                 const HighlightRule& rule, eBitmapDitherer method, int threshold) {
  return SplitInBands(background, highlight, rule, method, threshold) == SplitOutcome::kDone;
}

}  // namespace orv
