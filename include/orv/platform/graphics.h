#pragma once

#include <string>

#include "orv/platform/export.h"

/// Bitmaps and colours. On Windows they are GDI+'s own types; elsewhere
/// `include/orv/platform/posix/graphics.h` declares the same names with the same shapes and rules,
/// as far as the imaging code and its callers use them.

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

/// Keeps the system's graphics alive: a program that uses bitmaps holds one from before the first
/// to after the last. The library itself never starts graphics; the process that loads it does.
class ORV_EXPORT GraphicsSession {
 public:
  GraphicsSession();
  GraphicsSession(const GraphicsSession&) = delete;
  GraphicsSession& operator=(const GraphicsSession&) = delete;
  ~GraphicsSession();

 private:
  [[maybe_unused]] void* token_ = nullptr;  // only one of the systems needs it
};

/// Reads a PNG file of any colour type, depth and interlacing. `*bitmap` becomes 24-bit RGB when
/// every pixel is opaque, else 32-bit ARGB; the caller deletes it. 16-bit channels keep their high
/// byte. Otherwise the result says why there is no bitmap: `FileNotFound`, `UnknownImageFormat`
/// for a file that is no PNG, `OutOfMemory`, `GenericError` for a damaged or truncated one.
extern "C" ORV_EXPORT Status LoadPng(const wchar_t* path, Bitmap** bitmap);

/// Writes a bitmap as a PNG file, replacing one that exists. Not atomic: a failure may leave a
/// partial file.
extern "C" ORV_EXPORT Status SavePng(Bitmap* bitmap, const wchar_t* path);

}  // namespace orv
