#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/kernels.h"
#include "orv/imaging/pixels.h"

namespace {

/// Runs a search over the pixels of a bitmap as one bit each; one that cannot be locked has none.
int Search(Bitmap* bitmap, int (*search)(const orv::BitPlane&)) {
  const orv::LockedBits bits(bitmap, ImageLockModeRead, PixelFormat1bppIndexed);
  if (!bits.IsLocked()) return -1;
  return search({static_cast<const std::uint8_t*>(bits.data()->Scan0), bits.data()->Stride,
                 static_cast<int>(bitmap->GetWidth()), static_cast<int>(bitmap->GetHeight())});
}

}  // namespace

int BitmapHelper::GetFirstContentRow1BPP(Bitmap* bitmap) {
  // 0, not -1, for an image without rows: callers rely on it.
  if (bitmap->GetHeight() == 0) return 0;
  return Search(bitmap, orv::ActiveImagingKernels().firstInkRow);
}

int BitmapHelper::GetLastContentRow1BPP(Bitmap* bitmap) {
  return Search(bitmap, orv::ActiveImagingKernels().lastInkRow);
}

int BitmapHelper::GetFirstContentColumn1BPP(Bitmap* bitmap) {
  return Search(bitmap, orv::ActiveImagingKernels().firstInkColumn);
}

int BitmapHelper::GetLastContentColumn1BPP(Bitmap* bitmap) {
  return Search(bitmap, orv::ActiveImagingKernels().lastInkColumn);
}
