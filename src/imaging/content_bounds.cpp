#include "imaging/kernels.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/graphics.h"

namespace {

/// Runs a search over the pixels of a bitmap as one bit each; one that cannot be locked has none.
int Search(Bitmap* bitmap, int (*search)(const orv::BitPlane&)) {
  const Rect all(0, 0, static_cast<INT>(bitmap->GetWidth()), static_cast<INT>(bitmap->GetHeight()));
  BitmapData data;
  if (bitmap->LockBits(&all, ImageLockModeRead, PixelFormat1bppIndexed, &data) != Ok) return -1;
  const int found =
      search({static_cast<const std::uint8_t*>(data.Scan0), data.Stride, all.Width, all.Height});
  bitmap->UnlockBits(&data);
  return found;
}

}  // namespace

int BitmapHelper::GetFirstContentRow1BPP(Bitmap* bitmap) {
  // Kept for compatibility: 0, not -1, for an image without rows.
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
