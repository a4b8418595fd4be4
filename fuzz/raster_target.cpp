#include <cups/raster.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/targets.h"
#include "tools/orv/page/pixels.h"
#include "tools/printer_app/raster.h"

namespace orv::fuzz {

void Raster(Input input) {
  Reader reader(input);
  cups_page_header2_t header{};
  // Mostly forms that are accepted, because the other fields matter only for these.
  constexpr unsigned kSpaces[] = {CUPS_CSPACE_SW, CUPS_CSPACE_K, CUPS_CSPACE_SRGB,
                                  CUPS_CSPACE_ADOBERGB, CUPS_CSPACE_CMYK};
  header.cupsColorSpace = static_cast<cups_cspace_t>(kSpaces[reader.Below(5)]);
  header.cupsBitsPerPixel = 8u * static_cast<unsigned>(reader.Below(5));
  header.cupsWidth = static_cast<unsigned>(reader.Below(200));
  header.cupsHeight = static_cast<unsigned>(reader.Below(50));
  header.cupsBytesPerLine = static_cast<unsigned>(reader.Below(700));
  // Large sizes: each is refused or has rows that fit.
  if (reader.Byte() == 255) header.cupsWidth *= 0x01010101;
  if (reader.Byte() == 255) header.cupsHeight *= 0x01010101;
  header.HWResolution[0] = reader.Byte();
  header.HWResolution[1] = reader.Byte();

  printer_app::RasterPage page;
  std::string problem;
  const bool isStarted = page.Start(header, &problem);
  Require(isStarted == problem.empty(), "a page is refused with a reason");
  if (!isStarted) return;
  // Rows of exactly the announced size, so that the address sanitizer sees reads after their end.
  for (unsigned y = 0; !reader.IsAtEnd(); ++y) {
    std::vector<unsigned char> row(header.cupsBytesPerLine, 0x55);
    const Input bytes = reader.Bytes(row.size() - std::min<std::size_t>(row.size() - 1, 3));
    std::ranges::copy(bytes, row.begin());
    page.SetRow(reader.Byte() < 250 ? y : y * 0x01000193, row.data());
  }
  const std::unique_ptr<Bitmap> bitmap = page.Page();
  Require(bitmap->GetWidth() == header.cupsWidth && bitmap->GetHeight() == header.cupsHeight,
          "the page has the announced size");
  const tool::PagePixels pixels(bitmap.get());
  Require(pixels.Row(pixels.height() - 1) != nullptr, "the pixels can be read");
}

}  // namespace orv::fuzz
