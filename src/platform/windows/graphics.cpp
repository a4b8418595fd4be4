#include "orv/platform/graphics.h"

#include <cmath>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>

#include "base/out_of_memory.h"
#include "platform/opacity.h"
#include "platform/png_resolution.h"

namespace orv {
namespace {

/// Finds the encoder for a MIME type. Returns false if the system has none.
bool FindEncoder(const wchar_t* mimeType, CLSID* encoder) {
  UINT count = 0;
  UINT size = 0;
  if (Gdiplus::GetImageEncodersSize(&count, &size) != Ok || size == 0) return false;
  const std::unique_ptr<BYTE[]> block(new (std::nothrow) BYTE[size]);
  if (block == nullptr) return false;
  auto* codecs = reinterpret_cast<Gdiplus::ImageCodecInfo*>(block.get());
  if (Gdiplus::GetImageEncoders(count, size, codecs) != Ok) return false;
  for (UINT i = 0; i < count; ++i) {
    if (std::wcscmp(codecs[i].MimeType, mimeType) != 0) continue;
    *encoder = codecs[i].Clsid;
    return true;
  }
  return false;
}

/// Whether a file can be read and begins with the PNG signature, so that GDI+ fails only for a
/// damaged image.
Status CheckSignature(const wchar_t* path) {
  constexpr char kSignature[] = {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1A', '\n'};
  const DWORD attributes = GetFileAttributesW(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? FileNotFound
                                                                          : Win32Error;
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return UnknownImageFormat;
  // Shares reading only, so that a file that is being written fails here, where the reason is
  // known.
  const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return Win32Error;
  char bytes[sizeof kSignature] = {};
  DWORD count = 0;
  const bool isRead = ReadFile(file, bytes, sizeof bytes, &count, nullptr) != FALSE;
  const DWORD error = GetLastError();
  CloseHandle(file);
  SetLastError(error);
  if (!isRead) return Win32Error;
  return std::memcmp(bytes, kSignature, sizeof bytes) == 0 ? Ok : UnknownImageFormat;
}

struct ReleaseStream {
  void operator()(IStream* stream) const { stream->Release(); }
};
using StreamPointer = std::unique_ptr<IStream, ReleaseStream>;

/// An empty stream in memory; null on failure. Only the program encodes images, so the library does
/// not import shlwapi.dll, which the system always loads from its own folder.
StreamPointer NewStream() {
  using Create = IStream*(WINAPI*)(const BYTE*, UINT);
  static const auto create = reinterpret_cast<Create>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"shlwapi.dll"), "SHCreateMemStream")));
  return StreamPointer(create != nullptr ? create(nullptr, 0) : nullptr);
}

Status ReadStream(IStream* stream, std::string* bytes) {
  STATSTG facts;
  if (FAILED(stream->Stat(&facts, STATFLAG_NONAME)) ||
      FAILED(stream->Seek({}, STREAM_SEEK_SET, nullptr))) {
    return GenericError;
  }
  return OrOutOfMemory(OutOfMemory, [&] {
    std::string content(facts.cbSize.LowPart, '\0');
    ULONG count = 0;
    if (FAILED(stream->Read(content.data(), facts.cbSize.LowPart, &count)) ||
        count != content.size()) {
      return GenericError;
    }
    *bytes = std::move(content);
    return Ok;
  });
}

}  // namespace

GraphicsSession::GraphicsSession() {
  ULONG_PTR token = 0;
  const Gdiplus::GdiplusStartupInput input;
  if (Gdiplus::GdiplusStartup(&token, &input, nullptr) == Ok) {
    token_ = reinterpret_cast<void*>(token);
  }
}

GraphicsSession::~GraphicsSession() {
  if (token_ != nullptr) Gdiplus::GdiplusShutdown(reinterpret_cast<ULONG_PTR>(token_));
}

Status LoadPng(const wchar_t* path, Bitmap** bitmap) {
  *bitmap = nullptr;
  if (const Status status = CheckSignature(path); status != Ok) return status;
  Bitmap file(path);
  if (file.GetLastStatus() != Ok) return GenericError;
  GUID fileFormat;
  if (file.GetRawFormat(&fileFormat) != Ok || fileFormat != Gdiplus::ImageFormatPNG) {
    return UnknownImageFormat;
  }

  // A bitmap loaded from a file keeps the file open and can have any format, so return a copy.
  const INT width = static_cast<INT>(file.GetWidth());
  const INT height = static_cast<INT>(file.GetHeight());
  BitmapData data;
  const Rect whole(0, 0, width, height);
  if (file.LockBits(&whole, ImageLockModeRead, PixelFormat32bppARGB, &data) != Ok) {
    return GenericError;
  }
  const PixelFormat format = IsOpaque(data) ? PixelFormat24bppRGB : PixelFormat32bppARGB;
  file.UnlockBits(&data);
  *bitmap = file.Clone(0, 0, width, height, format);
  return *bitmap != nullptr ? Ok : OutOfMemory;
}

std::optional<PngResolution> ReadPngResolution(const wchar_t* path) {
  Bitmap file(path);
  if (file.GetLastStatus() != Ok) return {};
  // GDI+ converts what the file stores to dots per inch, in single precision.
  return PngResolution{
      static_cast<std::uint32_t>(std::lround(file.GetHorizontalResolution() / kMetresPerInch)),
      static_cast<std::uint32_t>(std::lround(file.GetVerticalResolution() / kMetresPerInch))};
}

Status EncodePng(Bitmap* bitmap, const std::optional<PngResolution>& resolution,
                 std::string* bytes) {
  CLSID encoder;
  if (!FindEncoder(L"image/png", &encoder)) return UnknownImageFormat;
  if (resolution) {
    // A quarter of a dot more, because the encoder may cut off the number of dots per metre.
    constexpr auto kInch = static_cast<float>(kMetresPerInch);
    const Status status =
        bitmap->SetResolution((static_cast<float>(resolution->x) + 0.25f) * kInch,
                              (static_cast<float>(resolution->y) + 0.25f) * kInch);
    if (status != Ok) return status;
  }
  const StreamPointer stream = NewStream();
  if (stream == nullptr) return OutOfMemory;
  const Status status = bitmap->Save(stream.get(), &encoder, nullptr);
  return status == Ok ? ReadStream(stream.get(), bytes) : status;
}

Status SavePng(Bitmap* bitmap, const wchar_t* path) {
  CLSID encoder;
  if (!FindEncoder(L"image/png", &encoder)) return UnknownImageFormat;
  return bitmap->Save(path, &encoder, nullptr);
}

}  // namespace orv
