#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orv/platform/graphics.h"

namespace orv {

/// The length of an inch.
inline constexpr double kMetresPerInch = 0.0254;

/// The resolution stored in a PNG file, in dots per metre.
struct PngResolution {
  std::uint32_t x = 0;
  std::uint32_t y = 0;
};

/// Reads the resolution of the PNG file at `path`. Nothing if the file cannot be read. On Linux
/// also nothing if it stores none; on Windows the system then reports 96 dots per inch.
std::optional<PngResolution> ReadPngResolution(const wchar_t* path);

/// Encodes a bitmap as the bytes of a PNG file, with its resolution if that is given. On Windows
/// the bitmap keeps the resolution. After a failure `*bytes` is not changed.
Status EncodePng(Bitmap* bitmap, const std::optional<PngResolution>& resolution,
                 std::string* bytes);

}  // namespace orv
