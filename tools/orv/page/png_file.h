#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orv/platform/graphics.h"
#include "tools/orv/page/pixels.h"

/// Reads PNG images. Unlike the functions of `file.h` these keep nothing for the command: threads
/// may call them at the same time.

namespace orv::tool {

/// The longest side of a PNG image in pixels: the limit of libpng, and so that of both platforms.
inline constexpr int kMaxSide = 1'000'000;

/// What a PNG image says before its pixels.
struct PngHeader {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool isGrey = false;
};
/// Reads it; nothing if the file cannot be read or does not begin like a PNG image.
std::optional<PngHeader> ReadPngHeader(const std::wstring& path);

/// Loads a PNG image as a 24-bit page, transparency blended onto white. The result and the system's
/// error are those of `LoadPng`; after a failure `*page` is null.
Status LoadOnWhite(const std::wstring& path, PagePointer* page);

/// Why the bytes of a file did not load: for the results `UnknownImageFormat` and `GenericError`.
std::wstring DescribePngFault(Status status, const std::wstring& path);

}  // namespace orv::tool
