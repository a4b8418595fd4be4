#include "orv/imaging/bitmap_helper.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "base/out_of_memory.h"
#include "imaging/kernels.h"
#include "imaging/page_split.h"
#include "imaging/pixels.h"
#include "orv/settings/settings.h"
#include "orv/text/format.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/unload.h"

namespace {

/// Runs a search over the bitmap's pixels, read as one bit each. A bitmap that cannot be locked has
/// no ink.
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

Bitmap* BitmapHelper::CreateBitmap(INT width, INT height, PixelFormat format) {
  return orv::OrOutOfMemory<Bitmap*>(nullptr, [=] {
    auto bitmap = std::make_unique<Bitmap>(width, height, format);
    return bitmap->GetLastStatus() == Ok ? bitmap.release() : nullptr;
  });
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
  // With fewer than three bytes per pixel, reading would run past the end of each row.
  if (orv::RowBytes(plane) > std::abs(plane.stride)) return 1;

  const Rect area(0, 0, plane.width, plane.height);
  BitmapData to;
  if (target->LockBits(&area, ImageLockModeWrite, PixelFormat1bppIndexed, &to) != Ok) return 1;
  orv::ActiveImagingKernels().monochrome(plane, static_cast<BYTE*>(to.Scan0), to.Stride);
  target->UnlockBits(&to);
  return 1;
}

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

int BitmapHelper::SplitImage(Bitmap* source, Color& highlightColour, double tolerance,
                             eBitmapDitherer method, int threshold, Bitmap** background,
                             Bitmap** highlight) {
  orv::PagePlanes planes;
  const orv::SplitOutcome outcome =
      orv::SplitPage(source, highlightColour, tolerance, method, threshold, &planes);
  // Kept for compatibility: which of the two is set to null depends on the step that failed.
  if (outcome == orv::SplitOutcome::kNoMask) return 0;
  *highlight = planes.highlight.release();
  if (outcome == orv::SplitOutcome::kUnknownMethod || outcome == orv::SplitOutcome::kNoHighlight) {
    return 0;
  }
  *background = planes.background.release();
  return outcome == orv::SplitOutcome::kDone;
}

void BitmapHelper::DevTestSaveBitmapAs(Bitmap* bitmap, int jobId, int page, const wchar_t* name,
                                       CLoggerClient* client) try {
  // The folder for intermediate images, empty when saving is off.
  static const CString& folder = orv::KeptUntilUnload([] {
    return orv::ReadSetting(L"Test", L"SaveIntermediateBitmapsEnabled") == L"1"
               ? orv::ReadSetting(L"Test", L"SaveIntermediateBitmapsPath")
               : CString();
  });

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
  // A failed debug image must not fail the print job.
}
