#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <tuple>

#include "imaging/pixels.h"
#include "orv/platform/graphics.h"

/// The pages that the benchmarks work on.

namespace orv::bench {

struct Size {
  const char* name;
  int width;
  int height;
};

/// These functions compute the colour of text, a bar code and a picture from the position alone.
inline std::uint32_t TextAt(int x, int y) {
  const bool isBarcode = y % 600 > 480 && (x * 7919 >> 4) % 5 < 2;
  const bool isLetter = y % 600 < 420 && y % 30 < 18 && (x / 3 * 31 + y / 3 * 17) % 7 < 2;
  return isBarcode || isLetter ? 0x000000 : 0xFFFFFF;
}

inline std::uint32_t PhotoAt(int x, int y, std::uint32_t noise) {
  const auto wave = [&](double phase, double scale) {
    const double value = 128 + 100 * std::sin(x * scale + phase) * std::cos(y * scale * 0.7);
    return static_cast<std::uint32_t>(value) + noise % 16;
  };
  return wave(0, 0.011) << 16 | wave(1, 0.007) << 8 | wave(2, 0.005);
}

/// Mostly white: a few lines of text, a small picture, a red mark.
inline std::uint32_t LabelAt(int x, int y, std::uint32_t noise) {
  if (y % 600 < 60 && x % 800 < 600) return TextAt(x, y);
  if (y % 1200 > 900 && x % 800 > 650) return PhotoAt(x, y, noise);
  if (y % 1200 > 700 && y % 1200 < 800 && x % 800 < 120) return 0xE02020 + noise % 4;
  return 0xFFFFFF;
}

enum Kind { kText, kPhoto, kLabel, kWhite };
inline constexpr const char* kKinds[] = {"text", "photo", "label", "white"};

/// A page with a white margin of this many pixels.
inline std::unique_ptr<Bitmap> MakePage(const Size& size, Kind kind, int margin) {
  auto page = std::make_unique<Bitmap>(size.width, size.height, PixelFormat24bppRGB);
  const LockedBits bits(page.get(), ImageLockModeWrite, PixelFormat24bppRGB);
  const PixelPlane plane = PlaneOf(*bits.data());
  std::mt19937 random(1);
  for (int y = 0; y < size.height; ++y) {
    std::uint8_t* pixel = plane.Row(y);
    for (int x = 0; x < size.width; ++x, pixel += 3) {
      std::uint32_t colour = 0xFFFFFF;
      const bool isMargin = std::min({x, y, size.width - 1 - x, size.height - 1 - y}) < margin;
      if (kind == kText) colour = TextAt(x, y);
      if (kind == kPhoto) colour = PhotoAt(x, y, random());
      if (kind == kLabel) colour = LabelAt(x, y, random());
      if (isMargin) colour = 0xFFFFFF;
      std::memcpy(pixel, &colour, 3);
    }
  }
  return page;
}

/// The page, generated once per process.
inline Bitmap* PageOf(const Size& size, Kind kind, int margin = 0) {
  static std::map<std::tuple<int, int, Kind, int>, std::unique_ptr<Bitmap>> pages;
  std::unique_ptr<Bitmap>& page = pages[{size.width, size.height, kind, margin}];
  if (page == nullptr) page = MakePage(size, kind, margin);
  return page.get();
}

}  // namespace orv::bench
