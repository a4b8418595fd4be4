#pragma once

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "imaging/kernels.h"
#include "orv/platform/graphics.h"

/// Access to the pixels of bitmaps.

namespace orv {

/// The 24-bit pixels that a lock gave access to.
inline PixelPlane PlaneOf(const BitmapData& data) {
  return {static_cast<std::uint8_t*>(data.Scan0), data.Stride, static_cast<int>(data.Width),
          static_cast<int>(data.Height)};
}

inline std::ptrdiff_t RowBytes(const PixelPlane& plane) { return std::ptrdiff_t{3} * plane.width; }

/// The rows of a mask that correspond to those of `page`. Kept for compatibility: they are as far
/// apart as the page's rows, whatever the mask's stride. Rows outside the mask are skipped; with
/// fewer than three bytes per pixel in either image, all are.
inline PixelPlane MaskRowsFor(const BitmapData& mask, const PixelPlane& page) {
  const std::ptrdiff_t step = std::abs(page.stride);
  const std::ptrdiff_t maskStep = std::abs(std::ptrdiff_t{mask.Stride});
  PixelPlane plane = PlaneOf(mask);
  plane.stride = mask.Stride < 0 ? -step : step;
  plane.width = page.width;
  const std::ptrdiff_t rows =
      RowBytes(page) > std::min(step, maskStep) ? 0 : maskStep * (plane.height - 1) / step + 1;
  plane.height = static_cast<int>(std::min<std::ptrdiff_t>(page.height, rows));
  return plane;
}

/// The ink of a print head; alpha is ignored.
inline Ink InkOf(const Color& colour) {
  return {colour.GetBlue(), colour.GetGreen(), colour.GetRed()};
}

/// A copy of a whole bitmap; null if the system refuses.
inline std::unique_ptr<Bitmap> CloneWhole(Bitmap* source, PixelFormat format) {
  return std::unique_ptr<Bitmap>(source->Clone(0, 0, static_cast<INT>(source->GetWidth()),
                                               static_cast<INT>(source->GetHeight()), format));
}

/// All pixels of a bitmap, locked until the end of the scope.
class LockedBits {
 public:
  LockedBits(Bitmap* bitmap, UINT flags, PixelFormat format) : bitmap_(bitmap) {
    const Rect all(0, 0, static_cast<INT>(bitmap->GetWidth()),
                   static_cast<INT>(bitmap->GetHeight()));
    isLocked_ = bitmap->LockBits(&all, flags, format, &data_) == Ok;
  }
  LockedBits(const LockedBits&) = delete;
  LockedBits& operator=(const LockedBits&) = delete;
  ~LockedBits() {
    if (isLocked_) bitmap_->UnlockBits(&data_);
  }

  bool IsLocked() const { return isLocked_; }
  BitmapData* data() const { return &data_; }
  const std::uint8_t* Row(UINT y) const {
    return static_cast<const std::uint8_t*>(data_.Scan0) + std::ptrdiff_t{data_.Stride} * y;
  }

 private:
  Bitmap* bitmap_;
  mutable BitmapData data_ = {};
  bool isLocked_ = false;
};

}  // namespace orv
