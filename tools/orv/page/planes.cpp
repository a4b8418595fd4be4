#include "tools/orv/page/planes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

#include "imaging/dithering.h"
#include "imaging/kernels.h"
#include "imaging/page_split.h"
#include "imaging/pixels.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/types.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/line_art.h"
#include "tools/orv/page/min_dots.h"
#include "tools/orv/page/trap.h"

namespace orv::tool {

namespace {

Planes LibrarySplit(Bitmap* page, Color colour, double tolerance, eBitmapDitherer method,
                    int threshold) {
  Bitmap* background = nullptr;
  Bitmap* highlight = nullptr;
  const int isSplit =
      BitmapHelper::SplitImage(page, colour, tolerance, method, threshold, &background, &highlight);
  Planes planes = {PagePointer(background), PagePointer(highlight)};
  if (!isSplit) Fail(kUnreadable, L"not enough memory to split the page");
  return planes;
}

PixelPlane PlaneOf(const PagePixels& pixels) {
  return {pixels.Row(0), pixels.Row(1) - pixels.Row(0), pixels.width(), pixels.height()};
}

/// The method, if it is the library's and leaves two colours.
std::optional<eBitmapDitherer> TwoColourMethod(const DitherOptions& dither, Color colour) {
  constexpr std::uint32_t kWhite = 0xFFFFFF;
  const std::optional<eBitmapDitherer> method = dither.Plain();
  const bool isWhite = (colour.GetValue() & kWhite) == kWhite;
  return method == eBitmapDithererNone || isWhite ? std::nullopt : method;
}

/// A page with one bit per pixel, whose bits are not set.
PagePointer NewBits(int width, int height) {
  PagePointer bits(BitmapHelper::CreateBitmap(width, height, PixelFormat1bppIndexed));
  if (bits == nullptr) Fail(kUnreadable, L"not enough memory for the page");
  return bits;
}

/// The same, in the size of another page.
PagePointer NewBits(Bitmap* page) {
  return NewBits(static_cast<INT>(page->GetWidth()), static_cast<INT>(page->GetHeight()));
}

template <typename Plane>
PagePointer DitheredBits(const Plane& plane, eBitmapDitherer method, int threshold, Color colour) {
  PagePointer bits = NewBits(plane.width, plane.height);
  {
    const LockedBits locked(bits.get(), ImageLockModeWrite, PixelFormat1bppIndexed);
    if (!locked.IsLocked() ||
        !DitherToBits(plane, method, threshold, static_cast<std::uint8_t*>(locked.data()->Scan0),
                      locked.data()->Stride)) {
      Fail(kUnreadable, L"not enough memory to dither the page");
    }
  }
  ColourBits(bits.get(), colour);
  return bits;
}

}  // namespace

PagePointer DitheredInTwoColours(Bitmap* page, const DitherOptions& dither, Color colour) {
  const std::optional<eBitmapDitherer> method = TwoColourMethod(dither, colour);
  if (!method) return To1Bpp(Dithered(page, dither, colour));
  const PagePixels pixels(page);
  return DitheredBits(PlaneOf(pixels), *method, dither.threshold, colour);
}

PagePointer DitheredInTwoColours(const GreyPlane& greys, eBitmapDitherer method, int threshold,
                                 Color colour) {
  return DitheredBits(greys, method, threshold, colour);
}

Planes SplitInTwoColours(Bitmap* page, Color colour, double tolerance,
                         const DitherOptions& dither) {
  const std::optional<eBitmapDitherer> method = TwoColourMethod(dither, colour);
  if (!method) {
    Planes planes = SplitPage(page, colour, tolerance, dither);
    return {To1Bpp(std::move(planes.background)), To1Bpp(std::move(planes.highlight))};
  }
  Planes planes = {NewBits(page), NewBits(page)};
  {
    const PagePixels pixels(page);
    const LockedBits background(planes.background.get(), ImageLockModeWrite,
                                PixelFormat1bppIndexed);
    const LockedBits highlight(planes.highlight.get(), ImageLockModeWrite, PixelFormat1bppIndexed);
    if (!background.IsLocked() || !highlight.IsLocked() ||
        !SplitToBits(
            PlaneOf(pixels), {colour.GetValue(), tolerance}, *method, dither.threshold,
            {static_cast<std::uint8_t*>(background.data()->Scan0),
             static_cast<std::uint8_t*>(highlight.data()->Scan0), background.data()->Stride})) {
      Fail(kUnreadable, L"not enough memory to split the page");
    }
  }
  ColourBits(planes.background.get(), Color(0xFF000000));
  ColourBits(planes.highlight.get(), colour);
  return planes;
}

Planes SplitPage(Bitmap* page, Color colour, double tolerance, const DitherOptions& dither,
                 int overlap) {
  const std::optional<eBitmapDitherer> plain = dither.Plain();
  if (plain && overlap == 0) {
    return LibrarySplit(page, colour, tolerance, *plain, dither.threshold);
  }
  // The same steps as the library's. Its highlight is not dithered yet.
  PagePointer grey = LibrarySplit(page, colour, tolerance, eBitmapDithererNone, 0).highlight;
  DitherOptions whole = dither;
  whole.minDots = 1;  // clusters are complete after the highlight is taken out
  PagePointer background = Dithered(page, whole, Color(0xFF000000));
  {
    const PagePixels highlight(grey.get());
    const PagePixels black(background.get());
    const auto isHighlight = [&](int x, int y) {
      return !IsWhite(highlight.Row(y) + std::ptrdiff_t{3} * x);
    };
    ForEachPixel(black, [&](unsigned char* pixel, int x, int y) {
      if (isHighlight(x, y)) std::fill_n(pixel, 3, static_cast<unsigned char>(255));
    });
    if (dither.minDots > 1) {
      std::optional<LineArt> art;
      if (IsMixed(dither)) art.emplace(GreyDotsOf(page));
      RemoveSmallClusters(black, dither.minDots, {0, 0, 0}, [&](int x, int y) {
        return isHighlight(x, y) || (art && art->Has(x, y));
      });
    }
    if (overlap > 0) SpreadUnder(highlight, black, overlap);
  }
  PagePointer highlight = Dithered(grey.get(), dither, colour);
  return {std::move(background), std::move(highlight)};
}

PagePointer PreviewOf(const Planes& planes) {
  Bitmap* const background = planes.background.get();
  PagePointer preview(background->Clone(0, 0, static_cast<INT>(background->GetWidth()),
                                        static_cast<INT>(background->GetHeight()),
                                        PixelFormat24bppRGB));
  if (preview == nullptr) Fail(kUnreadable, L"not enough memory for the preview");
  const PagePixels ink(planes.highlight.get());
  ForEachPixel(PagePixels(preview.get()), [&](unsigned char* pixel, int x, int y) {
    const unsigned char* other = ink.Row(y) + 3 * x;
    for (int i = 0; i < 3; ++i) pixel[i] = std::min(pixel[i], other[i]);
  });
  return preview;
}

std::int64_t PixelCount(Bitmap* page) {
  return std::int64_t{page->GetWidth()} * std::int64_t{page->GetHeight()};
}

PagePointer OneBitOf(Bitmap* page) {
  PagePointer bits = NewBits(page);
  BitmapHelper::GetMonochromeImage1BPP(page, bits.get());
  return bits;
}

std::int64_t CountInk(Bitmap* page) {
  if (page->GetPixelFormat() != PixelFormat1bppIndexed) return CountInk(OneBitOf(page).get());
  const std::array<bool, 2> isInk = InkOfBits(page);
  const Rect all(0, 0, static_cast<INT>(page->GetWidth()), static_cast<INT>(page->GetHeight()));
  BitmapData data;
  if (page->LockBits(&all, ImageLockModeRead, PixelFormat1bppIndexed, &data) != Ok) {
    Fail(kUnreadable, L"cannot access the pixels of a page");
  }
  std::int64_t ones = 0;
  for (int y = 0; y < all.Height; ++y) {
    const auto* row = static_cast<const BYTE*>(data.Scan0) + std::ptrdiff_t{y} * data.Stride;
    int left = all.Width;
    for (; left >= 64; left -= 64, row += 8) {
      std::uint64_t bits;
      std::memcpy(&bits, row, sizeof bits);
      ones += std::popcount(bits);
    }
    for (; left >= 8; left -= 8) ones += std::popcount(*row++);
    if (left > 0) ones += std::popcount(static_cast<BYTE>(*row >> (8 - left)));
  }
  page->UnlockBits(&data);
  std::int64_t ink = 0;
  if (isInk[0]) ink += PixelCount(page) - ones;
  if (isInk[1]) ink += ones;
  return ink;
}

}  // namespace orv::tool
