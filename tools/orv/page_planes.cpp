#include "tools/orv/page_planes.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "orv/imaging/bitmap_helper.h"
#include "tools/orv/exit_code.h"
#include "tools/orv/output.h"

namespace orv::tool {

Planes SplitPage(Bitmap* page, Color colour, double tolerance, const DitherOptions& dither) {
  Bitmap* background = nullptr;
  Bitmap* highlight = nullptr;
  const int isSplit = BitmapHelper::SplitImage(page, colour, tolerance, dither.Method(),
                                               dither.threshold, &background, &highlight);
  Planes planes = {PagePointer(background), PagePointer(highlight)};
  if (!isSplit) Fail(kUnreadable, L"not enough memory to split the page");
  return planes;
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
  PagePointer bits(BitmapHelper::CreateBitmap(static_cast<INT>(page->GetWidth()),
                                              static_cast<INT>(page->GetHeight()),
                                              PixelFormat1bppIndexed));
  if (bits == nullptr) Fail(kUnreadable, L"not enough memory for the page");
  BitmapHelper::GetMonochromeImage1BPP(page, bits.get());
  return bits;
}

std::int64_t CountInk(Bitmap* page) { return CountInkOfBits(OneBitOf(page).get()); }

std::int64_t CountInkOfBits(Bitmap* bits) {
  constexpr int kWord = sizeof(std::uint64_t);
  const Rect all(0, 0, static_cast<INT>(bits->GetWidth()), static_cast<INT>(bits->GetHeight()));
  BitmapData data;
  if (bits->LockBits(&all, ImageLockModeRead, PixelFormat1bppIndexed, &data) != Ok) {
    Fail(kUnreadable, L"cannot reach the pixels of a page");
  }
  const int rowBytes = (all.Width + 7) / 8;  // what is left of the last one is white
  std::int64_t ink = 0;
  for (int y = 0; y < all.Height; ++y) {
    const auto* row = static_cast<const BYTE*>(data.Scan0) + std::ptrdiff_t{y} * data.Stride;
    for (int i = 0; i < rowBytes; i += kWord) {
      std::uint64_t white = ~std::uint64_t{0};
      std::memcpy(&white, row + i, static_cast<std::size_t>(std::min(kWord, rowBytes - i)));
      ink += std::popcount(~white);
    }
  }
  bits->UnlockBits(&data);
  return ink;
}

}  // namespace orv::tool
