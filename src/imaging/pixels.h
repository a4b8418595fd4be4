#pragma once

#include "imaging/kernels.h"
#include "orv/platform/graphics.h"

/// Access to the pixels of bitmaps.

namespace orv {

/// The 24-bit pixels that a lock gave access to.
inline PixelPlane PlaneOf(const BitmapData& data) {
  return {static_cast<std::uint8_t*>(data.Scan0), data.Stride, static_cast<int>(data.Width),
          static_cast<int>(data.Height)};
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
