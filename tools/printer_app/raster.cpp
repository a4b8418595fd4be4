#include "tools/printer_app/raster.h"

#include <algorithm>
#include <iterator>

namespace orv::printer_app {
namespace {

/// More than the largest label of 600 dots per inch has.
constexpr std::size_t kMaxBytes = std::size_t{1} << 29;

/// `invert` is 255 where the number is the amount of ink.
template <unsigned char invert>
void ReadGrey(const unsigned char* row, unsigned width, BYTE* pixels) {
  for (unsigned x = 0; x < width; ++x, pixels += 3) {
    const auto grey = static_cast<BYTE>(row[x] ^ invert);
    pixels[0] = pixels[1] = pixels[2] = grey;
  }
}

void ReadColour(const unsigned char* row, unsigned width, BYTE* pixels) {
  for (unsigned x = 0; x < width; ++x, row += 3, pixels += 3) {
    pixels[0] = row[2];
    pixels[1] = row[1];
    pixels[2] = row[0];
  }
}

}  // namespace

struct RasterPage::Form {
  cups_cspace_t space;
  unsigned bits;
  Reader reader;
  bool isGrey;
};

const RasterPage::Form* RasterPage::FormOf(const cups_page_header2_t& header) {
  static constexpr Form kForms[] = {
      {CUPS_CSPACE_SW, 8, ReadGrey<0>, true},   {CUPS_CSPACE_W, 8, ReadGrey<0>, true},
      {CUPS_CSPACE_K, 8, ReadGrey<255>, true},  {CUPS_CSPACE_SRGB, 24, ReadColour, false},
      {CUPS_CSPACE_RGB, 24, ReadColour, false}, {CUPS_CSPACE_ADOBERGB, 24, ReadColour, false},
  };
  const auto* found = std::ranges::find_if(kForms, [&](const Form& form) {
    return form.space == header.cupsColorSpace && form.bits == header.cupsBitsPerPixel;
  });
  return found != std::end(kForms) ? found : nullptr;
}

bool RasterPage::Start(const cups_page_header2_t& header, std::string* problem) {
  const Form* form = FormOf(header);
  const std::size_t width = header.cupsWidth;
  const std::size_t height = header.cupsHeight;
  if (form == nullptr) {
    *problem = "the raster has neither 8 bits of grey nor 24 bits of colour";
  } else if (width == 0 || height == 0) {
    *problem = "the page is empty";
  } else if (width > kMaxBytes / 4 || height > kMaxBytes / (4 * width)) {
    *problem = "the page is too large";
  } else if (header.cupsBytesPerLine < width * (form->bits / 8)) {
    *problem = "the rows of the raster are shorter than the page";
  }
  if (!problem->empty()) return false;
  width_ = header.cupsWidth;
  height_ = header.cupsHeight;
  stride_ = (std::size_t{3} * width + 3) / 4 * 4;
  pixels_.assign(stride_ * height, 255);
  rows_ = 0;
  reader_ = form->reader;
  isGrey_ = form->isGrey;
  dpiX_ = header.HWResolution[0];
  dpiY_ = header.HWResolution[1];
  return true;
}

void RasterPage::SetRow(unsigned y, const unsigned char* row) {
  if (y != rows_ || IsComplete()) return;
  reader_(row, width_, pixels_.data() + y * stride_);
  ++rows_;
}

std::unique_ptr<Bitmap> RasterPage::Page() {
  return std::make_unique<Bitmap>(static_cast<INT>(width_), static_cast<INT>(height_),
                                  static_cast<INT>(stride_), PixelFormat24bppRGB, pixels_.data());
}

}  // namespace orv::printer_app
