#include "tools/orv/two_coloured.h"

#include <cstddef>
#include <cstdint>

#include "orv/imaging/bitmap_helper.h"

namespace orv::tool {
namespace {

std::uint32_t ColourAt(const unsigned char* pixel) {
  return std::uint32_t{pixel[2]} << 16 | std::uint32_t{pixel[1]} << 8 | pixel[0];
}

/// Packs pixels that have one of two colours, the second of which is found on the way. False at the
/// first pixel of a third.
class Packer {
 public:
  explicit Packer(std::uint32_t first) : first_(first), second_(first) {}

  bool PackRow(const unsigned char* pixels, int width, BYTE* bytes) {
    for (int x = 0; x < width; x += 8, ++bytes) {
      unsigned bits = 0;
      for (int i = x; i < x + 8 && i < width; ++i, pixels += 3) {
        const std::uint32_t colour = ColourAt(pixels);
        if (colour == first_) continue;
        if (second_ == first_) second_ = colour;
        if (colour != second_) return false;
        bits |= 0x80u >> (i - x);
      }
      *bytes = static_cast<BYTE>(bits);
    }
    return true;
  }

  std::uint32_t first() const { return first_; }
  std::uint32_t second() const { return second_; }

 private:
  const std::uint32_t first_;
  std::uint32_t second_;
};

}  // namespace

PagePointer TwoColoured(Bitmap* page) {
  if (page->GetPixelFormat() != PixelFormat24bppRGB) return nullptr;
  const PagePixels pixels(page);
  PagePointer packed(
      BitmapHelper::CreateBitmap(pixels.width(), pixels.height(), PixelFormat1bppIndexed));
  const Rect all(0, 0, pixels.width(), pixels.height());
  BitmapData data;
  if (packed == nullptr ||
      packed->LockBits(&all, ImageLockModeWrite, PixelFormat1bppIndexed, &data) != Ok) {
    return nullptr;
  }
  Packer packer(ColourAt(pixels.Row(0)));
  bool isPacked = true;
  for (int y = 0; isPacked && y < pixels.height(); ++y) {
    isPacked = packer.PackRow(pixels.Row(y), pixels.width(),
                              static_cast<BYTE*>(data.Scan0) + std::ptrdiff_t{y} * data.Stride);
  }
  packed->UnlockBits(&data);
  if (!isPacked) return nullptr;

  constexpr std::uint32_t kOpaque = 0xFF000000;
  alignas(ColorPalette) BYTE block[sizeof(ColorPalette) + sizeof(ARGB)];
  auto* palette = reinterpret_cast<ColorPalette*>(block);
  palette->Flags = 0;
  palette->Count = 2;
  palette->Entries[0] = kOpaque | packer.first();
  palette->Entries[1] = kOpaque | packer.second();
  if (packed->SetPalette(palette) != Ok) return nullptr;
  return packed;
}

}  // namespace orv::tool
