#include "tools/orv/page_planes.h"

#include <algorithm>

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

std::int64_t CountInk(Bitmap* page) {
  constexpr unsigned char kWhite[] = {255, 255, 255};
  const EightPixels white(kWhite);
  const PagePixels pixels(page);
  std::int64_t ink = 0;
  for (int y = 0; y < pixels.height(); ++y) {
    const unsigned char* pixel = pixels.Row(y);
    for (int left = pixels.width(); left > 0;) {
      const int count = std::min(left, 8);
      left -= count;
      if (count == 8 && white.AreAt(pixel)) {
        pixel += 3 * 8;
        continue;
      }
      for (int i = 0; i < count; ++i, pixel += 3) ink += IsWhite(pixel) ? 0 : 1;
    }
  }
  return ink;
}

}  // namespace orv::tool
