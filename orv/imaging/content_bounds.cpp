#include <bit>

#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/pixels.h"

/// Where the ink of a one-bit image begins and ends.

namespace {

/// The ink of a byte of pixels as 1 bits.
std::uint8_t InkOf(std::uint8_t pixels) { return static_cast<std::uint8_t>(~pixels); }

/// The first `count` bits of a byte.
std::uint8_t LeadingBits(int count) { return static_cast<std::uint8_t>(0xFF00 >> count); }

/// The first column below `limit` that has ink in a row; `limit` when there is none.
int FirstInk(const std::uint8_t* row, int limit) {
  const int whole = limit / 8;
  const auto index = static_cast<int>(orv::ActiveImagingKernels().firstNot255(row, whole));
  if (index < whole) return index * 8 + std::countl_zero(InkOf(row[index]));
  if (limit % 8 != 0) {
    const auto ink = static_cast<std::uint8_t>(InkOf(row[whole]) & LeadingBits(limit % 8));
    if (ink != 0) return whole * 8 + std::countl_zero(ink);
  }
  return limit;
}

/// The last column of a row of `width` pixels that has ink, `floor` when none above it has.
int LastInk(const std::uint8_t* row, int width, int floor) {
  const int whole = width / 8;
  if (width % 8 != 0) {
    const auto ink = static_cast<std::uint8_t>(InkOf(row[whole]) & LeadingBits(width % 8));
    if (ink != 0) return std::max(floor, whole * 8 + 7 - std::countr_zero(ink));
  }
  const int start = (floor + 1) / 8;
  const auto index =
      start + static_cast<int>(orv::ActiveImagingKernels().lastNot255(row + start, whole - start));
  if (index < start) return floor;
  return std::max(floor, index * 8 + 7 - std::countr_zero(InkOf(row[index])));
}

/// The rows of a bitmap locked as one bit per pixel; none when it cannot be locked.
class OneBitRows {
 public:
  explicit OneBitRows(Bitmap* bitmap) : bits_(bitmap, ImageLockModeRead, PixelFormat1bppIndexed) {}

  int width() const { return static_cast<int>(bits_.data()->Width); }
  int height() const { return static_cast<int>(bits_.data()->Height); }
  const std::uint8_t* Row(int y) const { return bits_.Row(static_cast<UINT>(y)); }
  bool HasInk(int y) const { return FirstInk(Row(y), width()) < width(); }

 private:
  orv::LockedBits bits_;
};

}  // namespace

int BitmapHelper::GetFirstContentRow1BPP(Bitmap* bitmap) {
  // 0, not -1, for an image without rows: callers rely on it.
  if (bitmap->GetHeight() == 0) return 0;
  const OneBitRows rows(bitmap);
  for (int y = 0; y < rows.height(); ++y) {
    if (rows.HasInk(y)) return y;
  }
  return -1;
}

int BitmapHelper::GetLastContentRow1BPP(Bitmap* bitmap) {
  const OneBitRows rows(bitmap);
  int y = rows.height() - 1;
  while (y >= 0 && !rows.HasInk(y)) --y;
  return y;
}

int BitmapHelper::GetFirstContentColumn1BPP(Bitmap* bitmap) {
  const OneBitRows rows(bitmap);
  int first = rows.width();
  for (int y = 0; y < rows.height(); ++y) first = FirstInk(rows.Row(y), first);
  return first < rows.width() ? first : -1;
}

int BitmapHelper::GetLastContentColumn1BPP(Bitmap* bitmap) {
  const OneBitRows rows(bitmap);
  int last = -1;
  for (int y = 0; y < rows.height(); ++y) last = LastInk(rows.Row(y), rows.width(), last);
  return last;
}
