#pragma once

#include <cstdint>
#include <filesystem>

/// PNG files of every kind, written without a library.

namespace orv::test {

struct PngKind {
  const char* name;
  int colourType;  ///< the number in the header: 0 grey, 2 RGB, 3 palette, 4 grey with alpha, 6
                   ///< RGBA
  int depth;
  bool hasAlpha;         ///< some pixel is not opaque
  bool hasTransparency;  ///< with a tRNS chunk
};

inline constexpr PngKind kPngKinds[] = {
    {"RGB", 2, 8, false, false},
    {"RGB 16", 2, 16, false, false},
    {"RGBA", 6, 8, true, false},
    {"RGBA 16", 6, 16, true, false},
    {"opaque RGBA", 6, 8, false, false},
    {"grey 1", 0, 1, false, false},
    {"grey 2", 0, 2, false, false},
    {"grey 4", 0, 4, false, false},
    {"grey 8", 0, 8, false, false},
    {"grey 16", 0, 16, false, false},
    {"grey with alpha", 4, 8, true, false},
    {"grey with alpha 16", 4, 16, true, false},
    {"palette 1", 3, 1, false, false},
    {"palette 4", 3, 4, false, false},
    {"palette 8", 3, 8, false, false},
    {"palette with transparency", 3, 8, true, true},
};

/// Writes a picture whose colours follow from the coordinates of its pixels.
void WritePng(const std::filesystem::path& path, const PngKind& kind, int width, int height,
              bool isInterlaced);

/// The colour of a pixel of such a picture, 0xAARRGGBB.
std::uint32_t PngColour(const PngKind& kind, int x, int y);

}  // namespace orv::test
