#include "tools/orv/page/pixels.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/types.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

std::uint32_t ColourAt(const unsigned char* pixel) {
  return std::uint32_t{pixel[2]} << 16 | std::uint32_t{pixel[1]} << 8 | pixel[0];
}

/// Packs pixels of two colours into bits. The first colour is that of the first pixel, the second
/// is learnt on the way. Fails at the first pixel of a third colour.
class Packer {
 public:
  explicit Packer(const unsigned char* first)
      : first_(ColourAt(first)), second_(first_), eight_(EightPixels(first)) {}

  bool PackRow(const unsigned char* pixels, int width, BYTE* bytes) {
    int left = width;
    for (; left >= 8; left -= 8, pixels += kEight, ++bytes) {
      // Most of a page has the colour of its corner.
      if (eight_.AreAt(pixels)) {
        *bytes = 0;
      } else if (!PackKnown(pixels, bytes) && !Pack(pixels, 8, bytes)) {
        return false;
      }
    }
    return left == 0 || Pack(pixels, left, bytes);
  }

  std::uint32_t first() const { return first_; }
  std::uint32_t second() const { return second_; }

 private:
  static constexpr std::size_t kEight = 3 * 8;  ///< bytes of eight pixels

  /// Packs eight pixels, distinguishing the colours by one channel. False when the second colour is
  /// not known yet or there is a third colour.
  bool PackKnown(const unsigned char* pixels, BYTE* byte) const {
    if (second_ == first_) return false;
    unsigned bits = 0;
    for (int i = 0; i < 8; ++i) {
      bits = bits << 1 | unsigned{pixels[3 * i + channel_] != firstShade_};
    }
    *byte = static_cast<BYTE>(bits);
    return std::memcmp(pixels, &groups_[kEight * bits], kEight) == 0;
  }

  void SetSecond(std::uint32_t colour) {
    second_ = colour;
    channel_ = std::countr_zero(first_ ^ second_) / 8;
    firstShade_ = static_cast<unsigned char>(first_ >> 8 * channel_);
    unsigned char* next = groups_.data();
    for (unsigned bits = 0; bits < 256; ++bits) {
      for (int i = 7; i >= 0; --i) {
        const std::uint32_t pixel = (bits >> i & 1) != 0 ? second_ : first_;
        for (int shift = 0; shift < 24; shift += 8) {
          *next++ = static_cast<unsigned char>(pixel >> shift);
        }
      }
    }
  }

  /// Packs up to eight pixels and learns the second colour from them.
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
    // Learn the colour of the first pixel that differs, and pack again.
    SetSecond(ColourAt(pixels - 3 * std::bit_width(others)));
    return Pack(pixels - 3 * count, count, byte);
  }

  const std::uint32_t first_;
  std::uint32_t second_;
  const EightPixels eight_;
  int channel_ = 0;                                 ///< in which the colours differ
  unsigned char firstShade_ = 0;                    ///< the first colour's, in that channel
  std::array<unsigned char, 256 * kEight> groups_;  ///< the eight pixels of each byte value
};

/// Sets the palette of a page with one bit per pixel, to colours 0xRRGGBB.
bool SetColours(Bitmap* bits, std::uint32_t first, std::uint32_t second) {
  constexpr std::uint32_t kOpaque = 0xFF000000;
  alignas(ColorPalette) BYTE block[sizeof(ColorPalette) + sizeof(ARGB)];
  auto* palette = reinterpret_cast<ColorPalette*>(block);
  palette->Flags = 0;
  palette->Count = 2;
  palette->Entries[0] = kOpaque | first;
  palette->Entries[1] = kOpaque | second;
  return bits->SetPalette(palette) == Ok;
}

[[noreturn]] void FailToLock() { Fail(kUnreadable, L"cannot access the pixels of a page"); }

Rect WholeOf(Bitmap* page) {
  return {0, 0, static_cast<INT>(page->GetWidth()), static_cast<INT>(page->GetHeight())};
}

/// Locks a page with one bit per pixel.
BitmapData LockBitsOf(Bitmap* page) {
  const Rect all = WholeOf(page);
  BitmapData data;
  if (page->LockBits(&all, ImageLockModeRead | ImageLockModeWrite, PixelFormat1bppIndexed, &data) !=
      Ok) {
    FailToLock();
  }
  return data;
}

}  // namespace

PlaneDots::PlaneDots(Bitmap* plane) : plane_(plane) {
  if (plane->GetPixelFormat() != PixelFormat1bppIndexed) {
    pixels_.emplace(plane);
    return;
  }
  isInk_ = InkOfBits(plane);
  bits_ = LockBitsOf(plane);
}

PlaneDots::~PlaneDots() {
  if (!pixels_) plane_->UnlockBits(&bits_);
}

bool PlaneDots::IsInk(int x, int y) const {
  if (pixels_) return !IsWhite(pixels_->Row(y) + std::ptrdiff_t{3} * x);
  const auto* row = static_cast<const BYTE*>(bits_.Scan0) + std::ptrdiff_t{y} * bits_.Stride;
  return isInk_[static_cast<std::size_t>(row[x / 8] >> (7 - x % 8) & 1)];
}

std::array<bool, 2> InkOfBits(Bitmap* page) {
  constexpr ARGB kWhite = 0xFFFFFFFF;
  alignas(ColorPalette) BYTE block[sizeof(ColorPalette) + sizeof(ARGB)] = {};
  auto* palette = reinterpret_cast<ColorPalette*>(block);
  if (page->GetPalette(palette, sizeof block) != Ok) FailToLock();
  return {palette->Entries[0] != kWhite, palette->Entries[1] != kWhite};
}

void ColourBits(Bitmap* bits, Color colour) {
  constexpr std::uint32_t kWhite = 0xFFFFFF;
  BitmapData data = LockBitsOf(bits);
  auto* const first = static_cast<BYTE*>(data.Scan0);
  const int bytes = (static_cast<int>(data.Width) + 7) / 8;
  const auto unused = static_cast<BYTE>(0xFF >> ((data.Width + 7) % 8 + 1));
  const bool startsWhite = (*first & 0x80) != 0;
  const std::uint64_t flip = startsWhite ? ~std::uint64_t{0} : 0;
  std::uint64_t any = 0;
  for (UINT y = 0; y < data.Height; ++y) {
    BYTE* const row = first + std::ptrdiff_t{data.Stride} * y;
    int x = 0;
    for (; x + 8 < bytes; x += 8) {
      std::uint64_t eight;
      std::memcpy(&eight, row + x, sizeof eight);
      eight ^= flip;
      any |= eight;
      std::memcpy(row + x, &eight, sizeof eight);
    }
    for (; x < bytes; ++x) {
      row[x] = static_cast<BYTE>(row[x] ^ flip);
      if (x == bytes - 1) row[x] = static_cast<BYTE>(row[x] & ~unused);
      any |= row[x];
    }
  }
  bits->UnlockBits(&data);
  const std::uint32_t ink = colour.GetValue() & kWhite;
  const std::uint32_t colours[] = {startsWhite ? kWhite : ink, startsWhite ? ink : kWhite};
  if (!SetColours(bits, colours[0], colours[any != 0 ? 1 : 0])) FailToLock();
}

PagePixels::PagePixels(Bitmap* page)
    : PagePixels(page, WholeOf(page), ImageLockModeRead | ImageLockModeWrite) {}

PagePixels::PagePixels(Bitmap* page, const Rect& part, UINT mode) : page_(page) {
  if (page->LockBits(&part, mode, PixelFormat24bppRGB, &data_) != Ok) FailToLock();
}

unsigned char* PagePixels::Row(int y) const {
  return static_cast<unsigned char*>(data_.Scan0) + std::ptrdiff_t{y} * data_.Stride;
}

PagePointer ReduceToTwoColours(Bitmap* page) {
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

  if (!SetColours(packed.get(), packer.first(), packer.second())) return nullptr;
  return packed;
}

PagePointer To1Bpp(PagePointer page) {
  PagePointer packed = ReduceToTwoColours(page.get());
  return packed != nullptr ? std::move(packed) : std::move(page);
}

}  // namespace orv::tool
