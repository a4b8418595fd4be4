#include "imaging/dithering.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>

#include "imaging/pixels.h"

namespace orv {
namespace {

constexpr std::uint8_t kMatrix4[4 * 4] = {
    15,  195, 60,  240,  //
    135, 75,  180, 120,  //
    45,  225, 30,  210,  //
    165, 105, 150, 90,
};

/// The recursive matrix of 0 to 63, scaled by 4.
constexpr std::uint8_t kMatrix8[8 * 8] = {
    0,   128, 32,  160, 8,   136, 40,  168,  //
    192, 64,  224, 96,  200, 72,  232, 104,  //
    48,  176, 16,  144, 56,  184, 24,  152,  //
    240, 112, 208, 80,  248, 120, 216, 88,   //
    12,  140, 44,  172, 4,   132, 36,  164,  //
    204, 76,  236, 108, 196, 68,  228, 100,  //
    60,  188, 28,  156, 52,  180, 20,  148,  //
    252, 124, 220, 92,  244, 116, 212, 84,
};

/// The recursive matrix of 0 to 255, scaled to 0 to 254; 127 occurs twice.
constexpr std::uint8_t kMatrix16[16 * 16] = {
    0,   191, 48,  239, 12,  203, 60,  251, 3,   194, 51,  242, 15,  206, 63,  254,  //
    127, 64,  175, 112, 139, 76,  187, 124, 130, 67,  178, 115, 142, 79,  190, 127,  //
    32,  223, 16,  207, 44,  235, 28,  219, 35,  226, 19,  210, 47,  238, 31,  222,  //
    159, 96,  143, 80,  171, 108, 155, 92,  162, 99,  146, 83,  174, 111, 158, 95,   //
    8,   199, 56,  247, 4,   195, 52,  243, 11,  202, 59,  250, 7,   198, 55,  246,  //
    135, 72,  183, 120, 131, 68,  179, 116, 138, 75,  186, 123, 134, 71,  182, 119,  //
    40,  231, 24,  215, 36,  227, 20,  211, 43,  234, 27,  218, 39,  230, 23,  214,  //
    167, 104, 151, 88,  163, 100, 147, 84,  170, 107, 154, 91,  166, 103, 150, 87,   //
    2,   193, 50,  241, 14,  205, 62,  253, 1,   192, 49,  240, 13,  204, 61,  252,  //
    129, 66,  177, 114, 141, 78,  189, 126, 128, 65,  176, 113, 140, 77,  188, 125,  //
    34,  225, 18,  209, 46,  237, 30,  221, 33,  224, 17,  208, 45,  236, 29,  220,  //
    161, 98,  145, 82,  173, 110, 157, 94,  160, 97,  144, 81,  172, 109, 156, 93,   //
    10,  201, 58,  249, 6,   197, 54,  245, 9,   200, 57,  248, 5,   196, 53,  244,  //
    137, 74,  185, 122, 133, 70,  181, 118, 136, 73,  184, 121, 132, 69,  180, 117,  //
    42,  233, 26,  217, 38,  229, 22,  213, 41,  232, 25,  216, 37,  228, 21,  212,  //
    169, 106, 153, 90,  165, 102, 149, 86,  168, 105, 152, 89,  164, 101, 148, 85,
};

template <int kSize, const std::uint8_t* kEntries>
bool DitherOrdered(const PixelPlane& plane, int, Ink ink, DiffusionErrors*) {
  static_assert(kBandRows % kSize == 0);
  ActiveImagingKernels().ordered(plane, {kSize, kEntries}, ink);
  return true;
}

using Method = bool (*)(const PixelPlane&, int threshold, Ink, DiffusionErrors*);

/// Indexed by `eBitmapDitherer`.
constexpr Method kMethods[] = {
    [](const PixelPlane&, int, Ink, DiffusionErrors*) { return true; },
    [](const PixelPlane& plane, int threshold, Ink ink, DiffusionErrors* errors) {
      return ActiveImagingKernels().floydSteinberg(plane, threshold, ink, errors);
    },
    [](const PixelPlane& plane, int threshold, Ink ink, DiffusionErrors* errors) {
      return ActiveImagingKernels().sierraLite(plane, threshold, ink, errors);
    },
    DitherOrdered<4, kMatrix4>,
    DitherOrdered<8, kMatrix8>,
    DitherOrdered<16, kMatrix16>,
};

}  // namespace

bool IsKnownMethod(eBitmapDitherer method) {
  return static_cast<unsigned>(method) < std::size(kMethods);
}

bool DitherBand(const PixelPlane& band, eBitmapDitherer method, int threshold, Ink ink,
                DiffusionErrors* errors) {
  return IsKnownMethod(method) && kMethods[method](band, threshold, ink, errors);
}

bool Dither(const PixelPlane& plane, eBitmapDitherer method, int threshold, Ink ink) {
  DiffusionErrors errors;
  return DitherBand(plane, method, threshold, ink, &errors);
}

int BandRowsFor(int width) {
  constexpr std::int64_t kBandBytes = std::int64_t{1} << 18;
  return static_cast<int>(
             std::max<std::int64_t>(kBandBytes / (std::int64_t{3} * width) / kBandRows, 1)) *
         kBandRows;
}

namespace {

void CopyRow(const PixelPlane& image, int y, std::uint8_t* pixels) {
  std::memcpy(pixels, image.Row(y), static_cast<std::size_t>(RowBytes(image)));
}

void CopyRow(const GreyPlane& image, int y, std::uint8_t* pixels) {
  ActiveImagingKernels().greyPixels(image.first + y * image.stride, image.width, pixels);
}

}  // namespace

BandCopy::BandCopy(int width) : rows_(BandRowsFor(width)), band_{nullptr, 0, width, 0} {
  band_.stride = RowBytes(band_);
  pixels_.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(band_.stride * rows_)]);
  band_.first = pixels_.get();
}

template <typename Plane>
const PixelPlane* BandCopy::Copy(const Plane& image, int y) {
  if (pixels_ == nullptr) return nullptr;
  band_.height = std::min(rows_, image.height - y);
  for (int row = 0; row < band_.height; ++row) CopyRow(image, y + row, band_.Row(row));
  return &band_;
}

const PixelPlane* BandCopy::Of(const PixelPlane& image, int y) { return Copy(image, y); }

const PixelPlane* BandCopy::Of(const GreyPlane& image, int y) { return Copy(image, y); }

namespace {

template <typename Plane>
bool DitherBands(const Plane& plane, eBitmapDitherer method, int threshold, std::uint8_t* bits,
                 std::ptrdiff_t stride) {
  DiffusionErrors errors;
  BandCopy copy(plane.width);
  for (int y = 0; y < plane.height; y += copy.rows()) {
    const PixelPlane* const band = copy.Of(plane, y);
    if (band == nullptr || !DitherBand(*band, method, threshold, {0, 0, 0}, &errors)) return false;
    ActiveImagingKernels().monochrome(*band, bits + y * stride, stride);
  }
  return true;
}

}  // namespace

bool DitherToBits(const PixelPlane& plane, eBitmapDitherer method, int threshold,
                  std::uint8_t* bits, std::ptrdiff_t stride) {
  return DitherBands(plane, method, threshold, bits, stride);
}

bool DitherToBits(const GreyPlane& plane, eBitmapDitherer method, int threshold, std::uint8_t* bits,
                  std::ptrdiff_t stride) {
  return DitherBands(plane, method, threshold, bits, stride);
}

std::unique_ptr<Bitmap> DitheredCopy(Bitmap* source, eBitmapDitherer method, int threshold,
                                     Ink ink) {
  std::unique_ptr<Bitmap> copy = CloneWhole(source, source->GetPixelFormat());
  if (copy == nullptr) return nullptr;
  const LockedBits bits(copy.get(), ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
  if (!bits.IsLocked() || !Dither(PlaneOf(*bits.data()), method, threshold, ink)) return nullptr;
  return copy;
}

}  // namespace orv
