#include <cups/raster.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "fuzz/targets.h"
#include "tools/orv/page/pixels.h"
#include "tools/printer_app/raster.h"

namespace orv::fuzz {

namespace {

/// The blue, green and red bytes of a pixel of a row.
std::array<unsigned, 3> PixelOf(const cups_page_header2_t& header, const unsigned char* row,
                                std::size_t x) {
  if (header.cupsBitsPerPixel == 24) return {row[3 * x + 2], row[3 * x + 1], row[3 * x]};
  const unsigned grey = header.cupsColorSpace == CUPS_CSPACE_K ? 255u - row[x] : row[x];
  return {grey, grey, grey};
}

cups_page_header2_t HeaderOf(Reader* reader) {
  cups_page_header2_t header{};
  // Mostly forms that are accepted, because the other fields matter only for these.
  constexpr unsigned kSpaces[] = {CUPS_CSPACE_SW, CUPS_CSPACE_K, CUPS_CSPACE_SRGB,
                                  CUPS_CSPACE_ADOBERGB, CUPS_CSPACE_CMYK};
  header.cupsColorSpace = static_cast<cups_cspace_t>(kSpaces[reader->Below(5)]);
  header.cupsBitsPerPixel = 8u * static_cast<unsigned>(reader->Below(5));
  header.cupsWidth = static_cast<unsigned>(reader->Below(200));
  header.cupsHeight = static_cast<unsigned>(reader->Below(50));
  header.cupsBytesPerLine = static_cast<unsigned>(reader->Below(700));
  // Large sizes: each is refused or has rows that fit.
  if (reader->Byte() == 255) header.cupsWidth *= 0x01010101;
  if (reader->Byte() == 255) header.cupsHeight *= 0x01010101;
  header.HWResolution[0] = reader->Byte();
  header.HWResolution[1] = reader->Byte();
  return header;
}

/// Reads a page into the memory of an earlier one.
void ReadPage(Reader* reader, printer_app::RasterPage* page) {
  const cups_page_header2_t header = HeaderOf(reader);
  try {
    page->Start(header);
  } catch (const std::runtime_error& refusal) {
    Require(*refusal.what() != '\0', "a page is refused with a reason");
    return;
  }
  unsigned rows = 0;
  std::vector<unsigned char> last;
  // Rows of exactly the announced size, so that the address sanitizer sees reads after their end.
  for (int count = reader->Below(60); count > 0; --count) {
    std::vector<unsigned char> row(header.cupsBytesPerLine, 0x55);
    const Input bytes = reader->Bytes(row.size() - std::min<std::size_t>(row.size() - 1, 3));
    std::ranges::copy(bytes, row.begin());
    const unsigned y = reader->Byte() < 250 ? rows : rows * 0x01000193 + 1;
    page->SetRow(y, row.data());
    if (y != rows || rows == header.cupsHeight) continue;
    ++rows;
    last = std::move(row);
  }
  Require(page->IsComplete() == (rows == header.cupsHeight), "a page has all of its rows");
  // Large pages would take most of the time.
  if (rows == 0 || header.cupsWidth >= 200 || header.cupsHeight >= 50) return;
  const std::unique_ptr<Bitmap> bitmap = page->Page();
  Require(bitmap->GetWidth() == header.cupsWidth && bitmap->GetHeight() == header.cupsHeight,
          "the page has the announced size");
  const tool::PagePixels pixels(bitmap.get());
  const unsigned char* pixel = pixels.Row(static_cast<int>(rows) - 1);
  for (std::size_t x = 0; x < header.cupsWidth; ++x, pixel += 3) {
    Require(std::ranges::equal(PixelOf(header, last.data(), x), std::span(pixel, 3)),
            "the pixels are those of the rows");
  }
}

}  // namespace

void Raster(Input input) {
  Reader reader(input);
  printer_app::RasterPage page;
  for (int count = 0; count < 3 && !reader.IsAtEnd(); ++count) ReadPage(&reader, &page);
}

}  // namespace orv::fuzz
