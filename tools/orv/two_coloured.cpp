#include "tools/orv/two_coloured.h"

#include <bit>
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
  explicit Packer(const unsigned char* first)
      : first_(ColourAt(first)), second_(first_), eight_(EightPixels(first)) {}

  bool PackRow(const unsigned char* pixels, int width, BYTE* bytes) {
    int left = width;
    for (; left >= 8; left -= 8, pixels += 3 * 8) {
      // Most of a page has the colour of its corner.
      if (eight_.AreAt(pixels)) {
        *bytes++ = 0;
      } else if (!Pack(pixels, 8, bytes++)) {
        return false;
      }
    }
    return left == 0 || Pack(pixels, left, bytes);
  }

  std::uint32_t first() const { return first_; }
  std::uint32_t second() const { return second_; }

 private:
  /// Up to eight pixels. Without branches, since dots are spread without order.
  bool Pack(const unsigned char* pixels, int count, BYTE* byte) {
    unsigned bits = 0;
    unsigned others = 0;
    for (int i = 0; i < count; ++i, pixels += 3) {
      const std::uint32_t colour = ColourAt(pixels);
      bits = bits << 1 | unsigned{colour != first_};
      others = others << 1 | unsigned{colour != first_ && colour != second_};
    }
    *byte = static_cast<BYTE>(bits << (8 - count));
    if (others == 0) return true;
    if (second_ != first_) return false;
    // The first pixel of the second colour, which the others are to have too.
    second_ = ColourAt(pixels - 3 * std::bit_width(others));
    return Pack(pixels - 3 * count, count, byte);
  }

  const std::uint32_t first_;
  std::uint32_t second_;
  const EightPixels eight_;
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
  Packer packer(pixels.Row(0));
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
