#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "imaging/colour.h"
#include "imaging/content_scan.h"
#include "imaging/highlight.h"
#include "imaging/kernels.h"

/// The reference loops, one pixel at a time: the portable path, with which all others are compared.

namespace orv {
namespace {

/// A pixel's grey value plus an error, truncated towards zero.
int GreyWithError(const std::uint8_t* pixel, std::int32_t error) {
  const std::int64_t thousandths =
      GrayThousandths(pixel[2], pixel[1], pixel[0]) + std::int64_t{error} * 1000;
  return static_cast<int>(thousandths / 1000);
}

/// The output rule of all methods.
bool Paint(std::uint8_t* pixel, bool isWhite, Ink ink) {
  pixel[0] = isWhite ? 255 : ink.blue;
  pixel[1] = isWhite ? 255 : ink.green;
  pixel[2] = isWhite ? 255 : ink.red;
  return isWhite;
}

/// Adds to an error with 32-bit wraparound: thresholds far outside 0 to 255 make errors grow with
/// the image, and very large images exceed 32 bits.
void AddError(std::int32_t* entry, std::int32_t error, std::int32_t factor) {
  *entry = static_cast<std::int32_t>(static_cast<std::uint32_t>(*entry) +
                                     static_cast<std::uint32_t>(error) *
                                         static_cast<std::uint32_t>(factor));
}

/// Errors are kept scaled by 256: 112, 48, 80 and 16 are 7, 3, 5 and 1 sixteenths.
struct FloydSteinberg {
  static std::int32_t Error(std::int32_t entry) { return entry >> 8; }
  static void ToRight(std::int32_t* entry, std::int32_t error) { AddError(entry, error, 112); }
  static void ToLowerLeft(std::int32_t* entry, std::int32_t error) { AddError(entry, error, 48); }
  static void ToBelow(std::int32_t* entry, std::int32_t error) { AddError(entry, error, 80); }
  static void ToLowerRight(std::int32_t* entry, std::int32_t error) { AddError(entry, error, 16); }
};

/// Errors are not scaled; each share is rounded down separately.
struct SierraLite {
  static std::int32_t Error(std::int32_t entry) { return entry; }
  static void ToRight(std::int32_t* entry, std::int32_t error) { AddError(entry, error >> 1, 1); }
  static void ToLowerLeft(std::int32_t* entry, std::int32_t error) {
    AddError(entry, error >> 2, 1);
  }
  static void ToBelow(std::int32_t* entry, std::int32_t error) { AddError(entry, error >> 2, 1); }
  static void ToLowerRight(std::int32_t*, std::int32_t) {}
};

template <typename Method>
bool Diffuse(const PixelPlane& plane, int threshold, Ink ink, DiffusionErrors* errors) {
  // Errors of two rows suffice. One extra entry on either side takes what leaves the image.
  const std::size_t rowSize = static_cast<std::size_t>(plane.width) + 2;
  if (errors->plain == nullptr) {
    errors->plain.reset(new (std::nothrow) std::int32_t[rowSize * 2]());
    if (errors->plain == nullptr) return false;
  }
  // A band has an even number of rows, so the next one begins with the same row.
  static_assert(kBandRows % 2 == 0);
  std::int32_t* current = errors->plain.get() + 1;
  std::int32_t* below = current + rowSize;
  for (int y = 0; y < plane.height; ++y) {
    std::uint8_t* pixel = plane.Row(y);
    for (int x = 0; x < plane.width; ++x, pixel += 3) {
      const int value = GreyWithError(pixel, Method::Error(current[x]));
      const bool isWhite = Paint(pixel, value >= threshold, ink);
      const std::int32_t error = isWhite ? value - 255 : value;
      Method::ToRight(&current[x + 1], error);
      Method::ToLowerLeft(&below[x - 1], error);
      Method::ToBelow(&below[x], error);
      Method::ToLowerRight(&below[x + 1], error);
    }
    std::swap(current, below);
    std::fill(below - 1, below - 1 + rowSize, 0);
  }
  return true;
}

void Ordered(const PixelPlane& plane, const OrderedMatrix& matrix, Ink ink) {
  for (int y = 0; y < plane.height; ++y) {
    std::uint8_t* pixel = plane.Row(y);
    for (int x = 0; x < plane.width; ++x, pixel += 3) {
      Paint(pixel, GreyWithError(pixel, 0) >= matrix.Threshold(x, y), ink);
    }
  }
}

bool IsWhite(const std::uint8_t* pixel) {
  return pixel[0] == 255 && pixel[1] == 255 && pixel[2] == 255;
}

void Monochrome(const PixelPlane& source, std::uint8_t* target, std::ptrdiff_t targetStride) {
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* pixel = source.Row(y);
    std::uint8_t* bytes = target + y * targetStride;
    for (int x = 0; x < source.width; x += 8) {
      unsigned ink = 0;
      const int count = std::min(8, source.width - x);
      for (int bit = 0; bit < count; ++bit, pixel += 3) {
        if (!IsWhite(pixel)) ink |= 0x80u >> bit;
      }
      *bytes++ = static_cast<std::uint8_t>(~ink);
    }
  }
}

void GreyPixels(const std::uint8_t* greys, int count, std::uint8_t* pixels) {
  for (int i = 0; i < count; ++i, pixels += 3) std::memset(pixels, greys[i], 3);
}

void ExtractHighlight(const PixelPlane& plane, const HighlightRule& rule, HighlightLimits*) {
  const float factor = StretchFactor(rule.colour);
  for (int y = 0; y < plane.height; ++y) {
    std::uint8_t* pixel = plane.Row(y);
    for (int x = 0; x < plane.width; ++x, pixel += 3) {
      const std::uint32_t colour = pixel[2] << 16 | pixel[1] << 8 | pixel[0];
      const std::uint8_t value =
          IsHighlight(colour, rule) ? StretchGrey(GreyWithError(pixel, 0), factor) : 255;
      pixel[0] = pixel[1] = pixel[2] = value;
    }
  }
}

void Whiten(const PixelPlane& plane, const PixelPlane& mask) {
  for (int y = 0; y < plane.height; ++y) {
    std::uint8_t* pixel = plane.Row(y);
    const std::uint8_t* maskPixel = mask.Row(y);
    for (int x = 0; x < plane.width; ++x, pixel += 3, maskPixel += 3) {
      if (!IsWhite(maskPixel)) std::memset(pixel, 255, 3);
    }
  }
}

using Scan = ContentScan<WordBytes>;

}  // namespace

const ImagingKernels kPlainKernels = {
    Diffuse<FloydSteinberg>,
    Diffuse<SierraLite>,
    Ordered,
    Monochrome,
    GreyPixels,
    ExtractHighlight,
    Whiten,
    Scan::FirstRow,
    Scan::LastRow,
    Scan::FirstColumn,
    Scan::LastColumn,
};

}  // namespace orv
