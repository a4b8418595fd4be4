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
  std::int64_t ink = 0;
  ForEachPixel(PagePixels(page), [&](const unsigned char* pixel, int, int) {
    if (!IsWhite(pixel)) ++ink;
  });
  return ink;
}

}  // namespace orv::tool
