#include "orv/imaging/bitmap_helper.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "imaging/kernels.h"
#include "imaging/pixels.h"
#include "orv/platform/registry.h"
#include "platform/clock.h"
#include "platform/files.h"

namespace {

Bitmap* CloneWhole(Bitmap* source, PixelFormat format) {
  return source->Clone(0, 0, static_cast<INT>(source->GetWidth()),
                       static_cast<INT>(source->GetHeight()), format);
}

}  // namespace

Bitmap* BitmapHelper::CreateBitmap(INT width, INT height, PixelFormat format) {
  try {
    auto bitmap = std::make_unique<Bitmap>(width, height, format);
    return bitmap->GetLastStatus() == Ok ? bitmap.release() : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void BitmapHelper::DeleteBitmap(Bitmap* bitmap) { delete bitmap; }

void BitmapHelper::GetDimensions(Bitmap* bitmap, Rect* rect) {
  *rect = Rect(0, 0, static_cast<INT>(bitmap->GetWidth()), static_cast<INT>(bitmap->GetHeight()));
}

void BitmapHelper::Copy24BPPBufferToBitmap(const BYTE* buffer, INT width, INT height,
                                           Bitmap* bitmap) {
  const Rect area(0, 0, width, height);
  BitmapData data;
  if (bitmap->LockBits(&area, ImageLockModeWrite, PixelFormat24bppRGB, &data) != Ok) return;
  const orv::PixelPlane plane = orv::PlaneOf(data);
  const std::ptrdiff_t size = std::abs(plane.stride);
  for (INT y = 0; y < height; ++y) {
    std::memcpy(plane.Row(y), buffer + y * size, static_cast<std::size_t>(size));
  }
  bitmap->UnlockBits(&data);
}

int BitmapHelper::Are1BPPBitmapsEqual(Bitmap* a, Bitmap* b) {
  if (a == nullptr || b == nullptr) return 0;
  if (a == b) return 1;  // a bitmap cannot be locked twice
  if (a->GetWidth() != b->GetWidth() || a->GetHeight() != b->GetHeight() ||
      a->GetPixelFormat() != b->GetPixelFormat()) {
    return 0;
  }
  const orv::LockedBits first(a, ImageLockModeRead, a->GetPixelFormat());
  const orv::LockedBits second(b, ImageLockModeRead, b->GetPixelFormat());
  if (!first.IsLocked() || !second.IsLocked()) return first.IsLocked() == second.IsLocked();
  if (first.data()->Stride != second.data()->Stride) return 0;
  const std::size_t size = static_cast<std::size_t>(std::abs(first.data()->Stride));
  for (UINT y = 0; y < first.data()->Height; ++y) {
    if (std::memcmp(first.Row(y), second.Row(y), size) != 0) return 0;
  }
  return 1;
}

int BitmapHelper::GetMonochromeImage1BPP(Bitmap* source, Bitmap* target) {
  if (source == nullptr || target == nullptr) return 0;
  const orv::LockedBits from(source, ImageLockModeRead, source->GetPixelFormat());
  if (!from.IsLocked()) return 1;
  const orv::PixelPlane plane = orv::PlaneOf(*from.data());
  // Rows of fewer than three bytes a pixel would be read past their end.
  if (orv::RowBytes(plane) > std::abs(plane.stride)) return 1;

  const Rect area(0, 0, plane.width, plane.height);
  BitmapData to;
  if (target->LockBits(&area, ImageLockModeWrite, PixelFormat1bppIndexed, &to) != Ok) return 1;
  orv::ActiveImagingKernels().monochrome(plane, static_cast<BYTE*>(to.Scan0), to.Stride);
  target->UnlockBits(&to);
  return 1;
}

int BitmapHelper::SplitImage(Bitmap* source, Color& highlightColour, double tolerance,
                             eBitmapDitherer method, int threshold, Bitmap** background,
                             Bitmap** highlight) {
  std::unique_ptr<Bitmap> mask(
      ExtractHighlightImage(source, highlightColour, tolerance, eBitmapDithererNone, 0));
  if (mask == nullptr) return 0;
  *highlight = nullptr;
  if (static_cast<unsigned>(method) > eBitmapDithererMatrix16) return 0;

  std::unique_ptr<Bitmap> rest(ExtractBackgroundImage(source, mask.get(), method, threshold));
  if (rest == nullptr) {
    *background = nullptr;
    return 0;
  }

  // The mask has done its work and becomes the highlight: dithering it gives what extracting the
  // highlight from the source a second time and dithering that would.
  {
    const orv::LockedBits bits(mask.get(), ImageLockModeRead | ImageLockModeWrite,
                               PixelFormat24bppRGB);
    if (!bits.IsLocked() ||
        !BitmapRasterizer::Dither(bits.data(), method, threshold, highlightColour)) {
      return 0;
    }
  }
  *background = rest.release();
  *highlight = mask.release();
  return 1;
}

Bitmap* BitmapHelper::ExtractHighlightImage(Bitmap* source, Color& colour, double tolerance,
                                            eBitmapDitherer method, int threshold) {
  std::unique_ptr<Bitmap> clone(CloneWhole(source, PixelFormat24bppRGB));
  if (clone == nullptr) return nullptr;
  const orv::LockedBits bits(clone.get(), ImageLockModeRead | ImageLockModeWrite,
                             PixelFormat24bppRGB);
  if (!bits.IsLocked() || !Extract(bits.data(), colour, tolerance, method, threshold)) {
    return nullptr;
  }
  return clone.release();
}

int BitmapHelper::Extract(BitmapData* data, Color colour, double tolerance, eBitmapDitherer method,
                          int threshold) {
  orv::ActiveImagingKernels().extractHighlight(orv::PlaneOf(*data), {colour.GetValue(), tolerance});
  return BitmapRasterizer::Dither(data, method, threshold, colour);
}

Bitmap* BitmapHelper::ExtractBackgroundImage(Bitmap* source, Bitmap* mask, eBitmapDitherer method,
                                             int threshold) {
  Bitmap* background = BitmapRasterizer::Dither(source, method, threshold);
  if (background != nullptr) MaskHighlightImage(background, mask);
  return background;
}

void BitmapHelper::MaskHighlightImage(Bitmap* background, Bitmap* mask) {
  const orv::LockedBits from(mask, ImageLockModeRead, mask->GetPixelFormat());
  const orv::LockedBits to(background, ImageLockModeRead | ImageLockModeWrite,
                           background->GetPixelFormat());
  if (!from.IsLocked() || !to.IsLocked()) return;
  orv::PixelPlane plane = orv::PlaneOf(*to.data());
  const orv::PixelPlane maskPlane = orv::MaskPlaneOf(*from.data(), plane);
  plane.height = maskPlane.height;
  orv::ActiveImagingKernels().whiten(plane, maskPlane);
}

void BitmapHelper::DevTestSaveBitmapAs(Bitmap* bitmap, int jobId, int page, const wchar_t* name,
                                       CLoggerClient* client) try {
  // The folder for intermediate images, empty when saving is off.
  static const CString folder = orv::ReadSetting(L"Test", L"SaveIntermediateBitmapsEnabled") == L"1"
                                    ? orv::ReadSetting(L"Test", L"SaveIntermediateBitmapsPath")
                                    : CString();

  const orv::LocalTime now = orv::GetLocalTimeNow();
  const CString time = orv::Format(L"%04d%02d%02d-%02d%02d%02d%03d", now.year, now.month, now.day,
                                   now.hour, now.minute, now.second, now.millisecond);
  const CString fileName =
      orv::Format(L"Job%03d_%ls_Page%02d_%ls.png", jobId, time.c_str(), page, name);
  orv::LogFormat(eLogLevelTrace, client, L"Rendering",
                 L"BitmapHelper: Generated intermediate image %ls", fileName.c_str());
  if (folder.empty()) return;
  orv::SavePng(bitmap, (folder + orv::kPathSeparator + fileName).c_str());
} catch (const std::bad_alloc&) {
  // A look at a page is not worth the page.
}
