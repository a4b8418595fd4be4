#pragma once

#include "orv/platform/export.h"

/// Bitmaps and colours. On Windows they are GDI+'s own types. On Linux
/// `orv/platform/posix/graphics.h` declares the subset that the imaging functions and their callers
/// use, with the same behaviour. Example:
///
///     orv::GraphicsSession session;
///     orv::OwnedBitmap page;
///     if (orv::LoadPng(L"label.png", orv::Out(page)) == Ok) Use(page->GetWidth());
///
/// `orv::OwnedBitmap` is declared in `orv/imaging/bitmap_helper.h`. Destroy all bitmaps before the
/// session.

#if defined(_WIN32)
#include <windows.h>

#include <objidl.h>

#include <gdiplus.h>

using Gdiplus::ARGB;
using Gdiplus::Bitmap;
using Gdiplus::BitmapData;
using Gdiplus::Color;
using Gdiplus::ColorPalette;
using Gdiplus::PixelFormat;
using Gdiplus::Rect;

using Gdiplus::ImageLockModeRead;
using Gdiplus::ImageLockModeWrite;

using Gdiplus::FileNotFound;
using Gdiplus::GenericError;
using Gdiplus::InvalidParameter;
using Gdiplus::Ok;
using Gdiplus::OutOfMemory;
using Gdiplus::Status;
using Gdiplus::UnknownImageFormat;
using Gdiplus::Win32Error;
using Gdiplus::WrongState;
#else
#include "orv/platform/posix/graphics.h"
#endif

namespace orv {

/// Initialises GDI+. A program that uses bitmaps keeps one object alive for as long as it uses any.
/// The library itself never initialises GDI+; the process that loads it does.
class ORV_EXPORT GraphicsSession {
 public:
  GraphicsSession();
  GraphicsSession(const GraphicsSession&) = delete;
  GraphicsSession& operator=(const GraphicsSession&) = delete;
  ~GraphicsSession();

 private:
  [[maybe_unused]] void* token_ = nullptr;  // used on Windows only
};

/// Reads a PNG file of any colour type, depth and interlacing. `*bitmap` becomes 24-bit RGB if
/// every pixel is opaque, otherwise 32-bit ARGB; the caller deletes it. 16-bit channels keep their
/// high byte. On failure the result is the reason: `FileNotFound`, `Win32Error` for a file that
/// cannot be read, whose reason is then the system's last error (`errno` on Linux),
/// `UnknownImageFormat` for one that is not a PNG image, `OutOfMemory`, or `GenericError` for a
/// damaged or truncated one.
extern "C" ORV_EXPORT Status LoadPng(const wchar_t* path, Bitmap** bitmap);

/// Writes a bitmap as a PNG file, replacing an existing file. Not atomic: a failure can leave a
/// partial file.
extern "C" ORV_EXPORT Status SavePng(Bitmap* bitmap, const wchar_t* path);

}  // namespace orv
