#include "tools/printer_app/raster.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <new>
#include <stdexcept>

namespace orv::printer_app {
namespace {

void ReadWhite(const unsigned char* row, int width, BYTE* greys) { std::copy_n(row, width, greys); }

void ReadInk(const unsigned char* row, int width, BYTE* greys) {
  std::transform(row, row + width, greys, [](BYTE ink) { return static_cast<BYTE>(255 - ink); });
}

/// Reads and writes each pixel as four bytes; the next pixel overwrites the fourth. After the last
/// one the memory may end. `width` is not 0.
void ReadColour(const unsigned char* row, int width, BYTE* pixels) {
  static_assert(std::endian::native == std::endian::little);
  const unsigned char* const last = row + std::ptrdiff_t{3} * (width - 1);
#pragma GCC unroll 8
  for (; row != last; row += 3, pixels += 3) {
    std::uint32_t word;
    std::memcpy(&word, row, sizeof word);
    word = __builtin_bswap32(word) >> 8;
    std::memcpy(pixels, &word, sizeof word);
  }
  std::reverse_copy(last, last + 3, pixels);
}

/// The forms in which pixels arrive.
struct RasterForm {
  cups_cspace_t space;
  unsigned bits;
  void (*read)(const unsigned char* row, int width, BYTE* pixels);
};
constexpr RasterForm kForms[] = {
    {CUPS_CSPACE_SW, 8, ReadWhite},    {CUPS_CSPACE_W, 8, ReadWhite},
    {CUPS_CSPACE_K, 8, ReadInk},       {CUPS_CSPACE_SRGB, 24, ReadColour},
    {CUPS_CSPACE_RGB, 24, ReadColour}, {CUPS_CSPACE_ADOBERGB, 24, ReadColour},
};

}  // namespace

void RasterPage::Start(const cups_page_header2_t& header) {
  const auto* form = std::ranges::find_if(kForms, [&](const RasterForm& known) {
    return known.space == header.cupsColorSpace && known.bits == header.cupsBitsPerPixel;
  });
  const std::size_t width = header.cupsWidth;
  const std::size_t height = header.cupsHeight;
  const auto refuseIf = [](bool isWrong, const char* problem) {
    if (isWrong) throw std::runtime_error(problem);
  };
  refuseIf(form == std::end(kForms), "its raster has neither 8 bits of grey nor 24 bits of colour");
  refuseIf(width == 0 || height == 0, "it is empty");
  refuseIf(header.HWResolution[0] == 0 || header.HWResolution[1] == 0, "it has no resolution");
  refuseIf(std::uint64_t{width} * height > kMaxPixels, "it is too large");
  refuseIf(header.cupsBytesPerLine < width * (form->bits / 8), "its rows are too short");
  read_ = form->read;
  isGrey_ = form->bits == 8;
  width_ = static_cast<int>(width);
  height_ = static_cast<int>(height);
  rows_ = 0;
  resolution_ = {static_cast<double>(header.HWResolution[0]),
                 static_cast<double>(header.HWResolution[1])};
  const std::size_t stride = (form->bits / 8 * width + 3) / 4 * 4;
  stride_ = static_cast<std::ptrdiff_t>(stride);
  // Every row is written before it is read. Filling new memory first takes as long as dithering.
  if (pixels_ == nullptr || capacity_ < stride * height) {
    pixels_.reset();
    capacity_ = stride * height;
    pixels_ = std::make_unique_for_overwrite<BYTE[]>(capacity_);
  }
}

void RasterPage::SetRow(unsigned y, const unsigned char* row) {
  if (y != static_cast<unsigned>(rows_) || IsComplete()) return;
  read_(row, width_, pixels_.get() + rows_ * stride_);
  ++rows_;
}

std::optional<GreyPlane> RasterPage::Greys() const {
  if (!isGrey_) return {};
  return GreyPlane{pixels_.get(), stride_, width_, height_};
}

std::unique_ptr<Bitmap> RasterPage::Page() {
  if (!isGrey_) {
    return std::make_unique<Bitmap>(width_, height_, static_cast<INT>(stride_), PixelFormat24bppRGB,
                                    pixels_.get());
  }
  auto page = std::make_unique<Bitmap>(width_, height_, PixelFormat24bppRGB);
  if (page->GetLastStatus() != Ok) throw std::bad_alloc();
  const tool::PagePixels pixels(page.get());
  for (int y = 0; y < height_; ++y) {
    ActiveImagingKernels().greyPixels(pixels_.get() + y * stride_, width_, pixels.Row(y));
  }
  return page;
}

}  // namespace orv::printer_app
