#pragma once

#include <cstdint>
#include <optional>

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

/// Writes a bitmap like `SavePng`, with its resolution. On Windows the bitmap keeps the resolution.
Status SavePngWithResolution(Bitmap* bitmap, const wchar_t* path, const PngResolution& resolution);

}  // namespace orv
