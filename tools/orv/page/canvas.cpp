#include "tools/orv/page/canvas.h"

#include <algorithm>

#include "orv/imaging/bitmap_helper.h"
#include "tools/orv/common/exit_code.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/small_font.h"

namespace orv::tool {

Canvas::Canvas(std::int64_t width, std::int64_t height, const Shade& shade) {
  constexpr std::int64_t kMostPixels = 200'000'000;
  if (width * height > kMostPixels) {
    Fail(kUsage, L"the picture would be too large: give a smaller --crop or --zoom");
  }
  page_.reset(BitmapHelper::CreateBitmap(static_cast<INT>(width), static_cast<INT>(height),
                                         PixelFormat24bppRGB));
  if (page_ == nullptr) Fail(kUnreadable, L"not enough memory for the picture");
  pixels_ = std::make_unique<PagePixels>(page_.get());
  Fill(0, 0, this->width(), this->height(), shade);
}

void Canvas::Fill(int x, int y, int width, int height, const Shade& shade) {
  const int right = std::min(x + width, this->width());
  const int bottom = std::min(y + height, this->height());
  for (int row = std::max(y, 0); row < bottom; ++row) {
    unsigned char* pixel = pixels_->Row(row) + std::ptrdiff_t{3} * std::max(x, 0);
    for (int column = std::max(x, 0); column < right; ++column, pixel += 3) {
      std::copy(shade.begin(), shade.end(), pixel);
    }
  }
}

void Canvas::Text(int x, int y, std::string_view text, int size, const Shade& shade) {
  for (const char character : text) {
    const std::uint8_t(&rows)[kGlyphHeight] = GlyphOf(character);
    for (int row = 0; row < kGlyphHeight; ++row) {
      for (int column = 0; column < kGlyphWidth; ++column) {
        if ((rows[row] >> (kGlyphWidth - 1 - column) & 1) == 0) continue;
        Fill(x + column * size, y + row * size, size, size, shade);
      }
    }
    x += kGlyphAdvance * size;
  }
}

void Canvas::Put(int x, int y, const PagePixels& page, const PageArea& area, int zoom) {
  for (int row = 0; row < area.height; ++row) {
    const unsigned char* from = page.Row(area.y + row) + std::ptrdiff_t{3} * area.x;
    for (int column = 0; column < area.width; ++column, from += 3) {
      Fill(x + column * zoom, y + row * zoom, zoom, zoom, {from[0], from[1], from[2]});
    }
  }
}

void Canvas::Save(const std::wstring& path) {
  pixels_.reset();
  PageFiles files;
  files.Add(page_.get(), path);
  files.Finish();
}

int TextWidth(std::string_view text, int size) {
  return (static_cast<int>(text.size()) * kGlyphAdvance - 1) * size;
}

}  // namespace orv::tool
