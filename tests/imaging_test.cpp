#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "imaging/dithering.h"
#include "imaging/pixels.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/color_extensions.h"
#include "platform/files.h"
#include "platform/png_resolution.h"
#include "tests/fixtures.h"
#include "tests/guarded.h"
#include "tests/png_file.h"

/// The program's allocations, and the one that must fail. All forms go through two functions that
/// are not inlined, so that the compiler does not match an allocation with its release.
static struct {
  int failing = 0;  ///< the n-th `nothrow` array from now on fails; 0 for none
  std::ptrdiff_t bitmaps = 0;
  std::ptrdiff_t maxBitmaps = 0;
  std::size_t maxSize = 0;
} allocations;

[[gnu::noinline]] static void* Allocate(std::size_t size) {
  if (size == sizeof(Bitmap)) {
    allocations.maxBitmaps = std::max(allocations.maxBitmaps, ++allocations.bitmaps);
  }
  allocations.maxSize = std::max(allocations.maxSize, size);
  return std::malloc(size);
}
[[gnu::noinline]] static void Release(void* block, std::size_t size = 0) {
  if (size == sizeof(Bitmap)) --allocations.bitmaps;
  std::free(block);
}
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocations.failing > 0 && --allocations.failing == 0 ? nullptr : Allocate(size);
}
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t size) noexcept { Release(block, size); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }

namespace orv {
namespace {

using testing::ElementsAre;
using BitmapPointer = std::unique_ptr<Bitmap>;

const GraphicsSession graphics;

Color Rgb(std::uint32_t rgb) { return Color(0xFF000000 | rgb); }

using Picture = std::function<std::uint32_t(int, int)>;

/// Sets a bitmap's pixels to the results of a function: 0xRRGGBB (0xAARRGGBB with alpha).
void Paint(Bitmap* bitmap, const Picture& at) {
  const LockedBits bits(bitmap, ImageLockModeWrite, bitmap->GetPixelFormat());
  const int size = bitmap->GetPixelFormat() == PixelFormat24bppRGB ? 3 : 4;
  const int width = static_cast<int>(bits.data()->Width);
  const int height = static_cast<int>(bits.data()->Height);
  for (int y = 0; y < height; ++y) {
    auto* row = static_cast<BYTE*>(bits.data()->Scan0) + y * bits.data()->Stride;
    for (int x = 0; x < width; ++x) {
      const std::uint32_t colour = at(x, y);
      std::memcpy(row + x * size, &colour, static_cast<std::size_t>(size));
    }
  }
}

BitmapPointer MakePage(int width, int height, const Picture& at,
                       PixelFormat format = PixelFormat24bppRGB) {
  BitmapPointer page(BitmapHelper::CreateBitmap(width, height, format));
  Paint(page.get(), at);
  return page;
}

/// A bitmap whose rows are `stride` bytes apart in guarded memory, bottom-up if that is negative.
struct StridedBitmap {
  StridedBitmap(int width, int height, int stride, PixelFormat format, test::Edge edge)
      : memory(static_cast<std::size_t>(std::abs(stride) * height), edge),
        bitmap(width, height, stride, format,
               memory.data() + (stride < 0 ? -stride * (height - 1) : 0)) {}

  test::Guarded<BYTE> memory;
  Bitmap bitmap;
};

BitmapPointer MakeFlat(int width, int height, std::uint32_t colour) {
  return MakePage(width, height, [=](int, int) { return colour; });
}

/// The pixels of a bitmap, row by row, as 0xAARRGGBB.
std::vector<std::uint32_t> Pixels(Bitmap* bitmap) {
  std::vector<std::uint32_t> pixels;
  const LockedBits bits(bitmap, ImageLockModeRead, PixelFormat32bppARGB);
  for (UINT y = 0; y < bits.data()->Height; ++y) {
    for (UINT x = 0; x < bits.data()->Width; ++x) {
      std::uint32_t pixel;
      std::memcpy(&pixel, bits.Row(y) + 4 * x, 4);
      pixels.push_back(pixel);
    }
  }
  return pixels;
}

/// A one-bit bitmap from text: '#' is ink.
BitmapPointer MakeBits(const std::vector<std::string>& rows) {
  const int width = static_cast<int>(rows.empty() ? 0 : rows[0].size());
  const auto page = MakePage(width, static_cast<int>(rows.size()), [&](int x, int y) {
    return rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == '#' ? 0u : 0xFFFFFFu;
  });
  BitmapPointer bits(
      BitmapHelper::CreateBitmap(width, static_cast<int>(rows.size()), PixelFormat1bppIndexed));
  EXPECT_EQ(BitmapHelper::GetMonochromeImage1BPP(page.get(), bits.get()), 1);
  return bits;
}

std::uint64_t Hash(const void* data, std::size_t size, std::uint64_t hash = 14695981039346656037u) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211u;
  return hash;
}

// Colours.

TEST(ColorExtensions, GreyValuesAreExact) {
  for (int v = 0; v < 256; ++v) {
    const BYTE grey = static_cast<BYTE>(v);
    EXPECT_EQ(ColorExtensions::CalculateGrayValue(grey, grey, grey), v);
    EXPECT_EQ(ColorExtensions::ToGray(Color(7, grey, grey, grey)).GetValue(),
              Rgb(static_cast<std::uint32_t>(v) * 0x010101).GetValue());
  }
  EXPECT_EQ(ColorExtensions::CalculateGrayValue(255, 0, 0), 76.245);
  EXPECT_EQ(ColorExtensions::ToGray(Rgb(0xFF0000)).GetValue(), 0xFF4C4C4Cu);
  EXPECT_EQ(ColorExtensions::ToGray(Rgb(0x00FF00)).GetValue(), 0xFF959595u);
}

TEST(ColorExtensions, StretchToDark) {
  constexpr struct {
    std::uint32_t colour;
    BYTE level;
    std::uint32_t expected;
  } kCases[] = {
      {0x00123456, 0, 0xFF123456},   {0xFFC8C8C8, 128, 0xFF909090}, {0xFFFF8000, 128, 0xFFFF0000},
      {0xFFFFFFFF, 254, 0xFFFFFFFF}, {0xFFFEFFFD, 254, 0xFF00FF00}, {0xFFFFFFFE, 255, 0xFF000000},
      {0xFFFFFFFF, 255, 0xFF000000}, {0xFF000102, 1, 0xFF000001},
  };
  for (const auto& [colour, level, expected] : kCases) {
    EXPECT_EQ(ColorExtensions::StretchToDark(Color(colour), level).GetValue(), expected)
        << std::hex << colour << ' ' << int{level};
  }
}

TEST(ColorExtensions, NearlyWhiteAndNearlyBlack) {
  constexpr struct {
    std::uint32_t colour;
    bool white;
    bool black;
  } kCases[] = {{0xFEFEFE, true, false},  {0xFDFFFF, false, false}, {0xFFFDFF, false, false},
                {0xFFFFFD, false, false}, {0x010101, false, true},  {0x020000, false, false},
                {0x000200, false, false}, {0x000002, false, false}, {0x000000, false, true}};
  for (const auto& [colour, white, black] : kCases) {
    EXPECT_EQ(ColorExtensions::IsNearlyWhite(Color(colour)) != 0, white) << std::hex << colour;
    EXPECT_EQ(ColorExtensions::IsNearlyBlack(Color(colour)) != 0, black) << std::hex << colour;
  }
}

TEST(ColorExtensions, LabFollowsItsOwnScale) {
  // The formula in double precision; for a grey, the sum of a row of weights.
  const auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 0.13793103; };
  for (const int v : {0, 1, 2, 64, 200, 255}) {
    const double linear = v > 0 ? std::pow((v + 0.0055) / 1.055, 2.4) : 0;
    const double fx = f(0.950456 * linear * 95.047);
    const double fy = f(linear * 100);
    const double fz = f(1.088754 * linear * 108.883);
    float lab[3];
    ColorExtensions::RGBToLab(
        Color(255, static_cast<BYTE>(v), static_cast<BYTE>(v), static_cast<BYTE>(v)), lab);
    EXPECT_NEAR(lab[0], 116 * fy - 16, 0.02);
    EXPECT_NEAR(lab[1], 500 * (fx - fy), 0.1);
    EXPECT_NEAR(lab[2], 200 * (fy - fz), 0.05);
  }
}

TEST(ColorExtensions, LabIsBitIdenticalEverywhere) {
  std::uint64_t hash = 14695981039346656037u;
  for (std::uint32_t colour = 0; colour < 0x1000000; colour += 61) {
    float lab[3];
    ColorExtensions::RGBToLab(Rgb(colour), lab);
    hash = Hash(lab, sizeof lab, hash);
  }
  EXPECT_EQ(hash, 5374019677787174614u);
}

TEST(ColorExtensions, DistanceIsScaled) {
  const Color red = Rgb(0xE02020);
  const Color blue = Color(0x000030E0);
  float a[3];
  float b[3];
  ColorExtensions::RGBToLab(red, a);
  ColorExtensions::RGBToLab(blue, b);
  const double distance = std::hypot(double{a[0]} - b[0], double{a[1]} - b[1], double{a[2]} - b[2]);
  EXPECT_DOUBLE_EQ(ColorExtensions::CalculateToleranceCIE76(red, blue), distance / 72160);
}

// Dithering.

/// A direct implementation of error diffusion: an error entry for every pixel of the image, with
/// shares scaled by 256 and shifted when they are used, or shifted one by one.
std::vector<std::uint32_t> Diffused(Bitmap* source, eBitmapDitherer method, int threshold) {
  const int width = static_cast<int>(source->GetWidth());
  const int height = static_cast<int>(source->GetHeight());
  std::vector<std::uint32_t> pixels = Pixels(source);
  std::vector<std::int32_t> errors(pixels.size());
  const bool isFloyd = method == eBitmapDithererFloydSteinberg;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto at = static_cast<std::size_t>(y * width + x);
      const Color colour(pixels[at]);
      const int entry = isFloyd ? errors[at] >> 8 : errors[at];
      const int value = (299 * colour.GetRed() + 587 * colour.GetGreen() + 114 * colour.GetBlue() +
                         1000 * entry) /
                        1000;
      const bool isWhite = value >= threshold;
      pixels[at] = isWhite ? 0xFFFFFFFF : 0xFF000000;
      const int e = isWhite ? value - 255 : value;
      const bool isLast = y == height - 1;
      const auto below = at + static_cast<std::size_t>(width);
      if (x < width - 1) errors[at + 1] += isFloyd ? e * 112 : (e * 512) >> 10;
      if (!isLast && x > 0) errors[below - 1] += isFloyd ? e * 48 : (e * 256) >> 10;
      if (!isLast) errors[below] += isFloyd ? e * 80 : (e * 256) >> 10;
      if (!isLast && x < width - 1 && isFloyd) errors[below + 1] += e * 16;
    }
  }
  return pixels;
}

TEST(BitmapRasterizer, DiffusesErrorsAsDescribed) {
  const auto page = MakePage(67, 41, [](int x, int y) {
    return static_cast<std::uint32_t>((x * x * 7 + y * 13) & 255) << 16 | ((x * 3) & 255) << 8 |
           ((y * 31) & 255);
  });
  for (const auto method : {eBitmapDithererFloydSteinberg, eBitmapDithererSierraLite}) {
    for (const int threshold : {-300, 0, 1, 100, 128, 255, 256, 400}) {
      const BitmapPointer dithered(BitmapRasterizer::Dither(page.get(), method, threshold));
      EXPECT_EQ(Pixels(dithered.get()), Diffused(page.get(), method, threshold))
          << method << ' ' << threshold;
    }
  }
}

TEST(BitmapRasterizer, PassesNegativeErrorsOnRoundedDown) {
  // A grey of 128 becomes white and passes -127 on: 7/16 of it are -55.56, which a shift makes -56;
  // half of it is -63.5, which becomes -64.
  const auto page = MakeFlat(2, 1, 0x808080);
  constexpr struct {
    eBitmapDitherer method;
    int second;  ///< the expected value of the second pixel
  } kCases[] = {{eBitmapDithererFloydSteinberg, 72}, {eBitmapDithererSierraLite, 64}};
  for (const auto& [method, second] : kCases) {
    BitmapPointer dithered(BitmapRasterizer::Dither(page.get(), method, 128));
    EXPECT_THAT(Pixels(dithered.get()), ElementsAre(0xFFFFFFFFu, 0xFF000000u));
    dithered.reset(BitmapRasterizer::Dither(page.get(), method, second));
    EXPECT_THAT(Pixels(dithered.get()), ElementsAre(0xFFFFFFFFu, 0xFFFFFFFFu));
    // At a threshold above 128 the first pixel stays dark and passes +128 on instead.
    dithered.reset(BitmapRasterizer::Dither(page.get(), method, 129));
    EXPECT_THAT(Pixels(dithered.get()), ElementsAre(0xFF000000u, 0xFFFFFFFFu));
  }
}

TEST(BitmapRasterizer, OrderedMethodsIndexColumnsFirst) {
  constexpr struct {
    eBitmapDitherer method;
    int x;
    int y;
    int threshold;
  } kCases[] = {
      {eBitmapDithererMatrix4, 0, 1, 195},   {eBitmapDithererMatrix4, 1, 0, 135},
      {eBitmapDithererMatrix4, 7, 6, 150},   {eBitmapDithererMatrix8, 1, 0, 192},
      {eBitmapDithererMatrix8, 0, 1, 128},   {eBitmapDithererMatrix8, 7, 2, 220},
      {eBitmapDithererMatrix8, 13, 31, 100}, {eBitmapDithererMatrix16, 1, 0, 127},
      {eBitmapDithererMatrix16, 0, 1, 191},  {eBitmapDithererMatrix16, 15, 15, 85},
      {eBitmapDithererMatrix16, 1, 15, 127}, {eBitmapDithererMatrix16, 18, 33, 223},
  };
  for (const auto& [method, x, y, threshold] : kCases) {
    for (const int grey : {threshold - 1, threshold}) {
      const auto page = MakeFlat(40, 40, static_cast<std::uint32_t>(grey) * 0x010101);
      const BitmapPointer dithered(BitmapRasterizer::Dither(page.get(), method, 999));
      EXPECT_EQ(Pixels(dithered.get())[static_cast<std::size_t>(y * 40 + x)] == 0xFFFFFFFF,
                grey == threshold)
          << method << ' ' << x << ' ' << y << ' ' << grey;
    }
  }
}

TEST(BitmapRasterizer, DithersToBitsInBands) {
  const int height = 2 * BandRowsFor(205) + 3;
  const auto page = MakePage(
      205, height, [](int x, int y) { return 0x010203u * static_cast<unsigned>((x + y) % 80); });
  constexpr int kGreyStride = 208;
  std::vector<std::uint8_t> greys(static_cast<std::size_t>(kGreyStride * height));
  for (std::size_t i = 0; i < greys.size(); ++i) greys[i] = static_cast<std::uint8_t>(i * 7 / 3);
  const auto greyPage = MakePage(205, height, [&](int x, int y) {
    return 0x010101u * greys[static_cast<std::size_t>(y * kGreyStride + x)];
  });
  for (int number = 1; number <= 5; ++number) {
    const auto method = static_cast<eBitmapDitherer>(number);
    const BitmapPointer whole(BitmapRasterizer::Dither(page.get(), method, 128));
    const BitmapPointer expected(BitmapHelper::CreateBitmap(205, height, PixelFormat1bppIndexed));
    const BitmapPointer bits(BitmapHelper::CreateBitmap(205, height, PixelFormat1bppIndexed));
    EXPECT_EQ(BitmapHelper::GetMonochromeImage1BPP(whole.get(), expected.get()), 1);
    {
      const LockedBits from(page.get(), ImageLockModeRead, PixelFormat24bppRGB);
      const LockedBits to(bits.get(), ImageLockModeWrite, PixelFormat1bppIndexed);
      EXPECT_TRUE(DitherToBits(PlaneOf(*from.data()), method, 128,
                               static_cast<BYTE*>(to.data()->Scan0), to.data()->Stride));
    }
    EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(bits.get(), expected.get()), 1) << method;

    const LockedBits from(greyPage.get(), ImageLockModeRead, PixelFormat24bppRGB);
    std::vector<std::uint8_t> ofPixels(static_cast<std::size_t>(26 * height));
    std::vector<std::uint8_t> ofGreys(ofPixels.size());
    EXPECT_TRUE(DitherToBits(PlaneOf(*from.data()), method, 128, ofPixels.data(), 26));
    EXPECT_TRUE(DitherToBits(GreyPlane{greys.data(), kGreyStride, 205, height}, method, 128,
                             ofGreys.data(), 26));
    EXPECT_EQ(ofGreys, ofPixels) << method;
  }
}

TEST(BitmapRasterizer, WhitensWhiteAndBlackOnlyWhereAThresholdIsZero) {
  constexpr std::ptrdiff_t kWhitesOfBlack[] = {0, 0, 0, 0, 16, 4};  // by method
  for (int method = 0; method <= 5; ++method) {
    const auto whitesOf = [method](std::uint32_t colour) {
      const BitmapPointer dithered(BitmapRasterizer::Dither(
          MakeFlat(32, 32, colour).get(), static_cast<eBitmapDitherer>(method), 255));
      const auto pixels = Pixels(dithered.get());
      return std::count(pixels.begin(), pixels.end(), 0xFFFFFFFF);
    };
    EXPECT_EQ(whitesOf(0xFFFFFF), 32 * 32) << method;
    EXPECT_EQ(whitesOf(0), kWhitesOfBlack[method]) << method;
  }
}

TEST(BitmapRasterizer, IgnoresTheAlphaOfTheColour) {
  Color colour(0x00123456);
  for (int method = 1; method <= 5; ++method) {
    const auto page = MakeFlat(5, 1, 0x010000);
    const BitmapPointer dithered(
        BitmapRasterizer::Dither(page.get(), static_cast<eBitmapDitherer>(method), 128, colour));
    EXPECT_EQ(Pixels(dithered.get())[1], 0xFF123456u) << method;
  }
}

TEST(BitmapRasterizer, KeepsSourceAndFormatAndRefusesUnknownMethods) {
  const auto page = MakePage(
      3, 2, [](int, int) { return 0x80402010u; }, PixelFormat32bppARGB);
  const auto before = Pixels(page.get());
  for (const int method : {6, 100, -1}) {
    EXPECT_EQ(BitmapRasterizer::Dither(page.get(), static_cast<eBitmapDitherer>(method), 1),
              nullptr);
  }
  const BitmapPointer copy(BitmapRasterizer::Dither(page.get(), eBitmapDithererMatrix4, 1));
  EXPECT_EQ(copy->GetPixelFormat(), PixelFormat32bppARGB);
  EXPECT_EQ(Pixels(copy.get())[0], 0xFFFFFFFFu);  // locking as 24 bits drops the alpha
  EXPECT_EQ(Pixels(page.get()), before);

  Bitmap empty(0, 0, PixelFormat24bppRGB);
  EXPECT_EQ(BitmapRasterizer::Dither(&empty, eBitmapDithererNone, 1), nullptr);
}

// Bitmaps.

TEST(BitmapHelper, CreatesZeroedBitmapsOrFails) {
  const BitmapPointer bitmap(BitmapHelper::CreateBitmap(3, 2, PixelFormat24bppRGB));
  EXPECT_THAT(Pixels(bitmap.get()), testing::Each(0xFF000000u));
  Rect rect(9, 9, 9, 9);
  BitmapHelper::GetDimensions(bitmap.get(), &rect);
  EXPECT_EQ(rect.X, 0);
  EXPECT_EQ(rect.Y, 0);
  EXPECT_EQ(rect.Width, 3);
  EXPECT_EQ(rect.Height, 2);
  EXPECT_EQ(BitmapHelper::CreateBitmap(0, 5, PixelFormat24bppRGB), nullptr);
  EXPECT_EQ(BitmapHelper::CreateBitmap(5, 0, PixelFormat24bppRGB), nullptr);
  EXPECT_EQ(BitmapHelper::CreateBitmap(5, -1, PixelFormat24bppRGB), nullptr);
  EXPECT_EQ(BitmapHelper::CreateBitmap(100000, 100000, PixelFormat24bppRGB), nullptr);
  BitmapHelper::DeleteBitmap(nullptr);
}

TEST(BitmapHelper, CopiesRawRowsWithTheirPadding) {
  const BYTE buffer[] = {1, 2, 3, 4, 5, 6, 0xEE, 0xEE, 7, 8, 9, 10, 11, 12, 0xEE, 0xEE};
  for (const int stride : {8, -8}) {
    for (const test::Edge edge : test::kEdges) {
      StridedBitmap page(2, 3, stride, PixelFormat24bppRGB, edge);
      BitmapHelper::Copy24BPPBufferToBitmap(buffer, 2, 2, &page.bitmap);
      BitmapHelper::Copy24BPPBufferToBitmap(buffer, 2, -1, &page.bitmap);
      EXPECT_THAT(Pixels(&page.bitmap), ElementsAre(0xFF030201u, 0xFF060504u, 0xFF090807u,
                                                    0xFF0C0B0Au, 0xFFA5A5A5u, 0xFFA5A5A5u));
      EXPECT_TRUE(page.memory.IsUntouchedAround());
    }
  }
}

TEST(Bitmaps, ConvertAndLockPixelsIdenticallyOnEverySystem) {
  const auto page = MakePage(
      3, 1, [](int x, int) { return 0x80102030u + x; }, PixelFormat32bppARGB);
  const BitmapPointer opaque(page->Clone(0, 0, 3, 1, PixelFormat24bppRGB));
  EXPECT_THAT(Pixels(opaque.get()), ElementsAre(0xFF102030u, 0xFF102031u, 0xFF102032u));
  const BitmapPointer part(page->Clone(1, 0, 2, 1, PixelFormat32bppARGB));
  EXPECT_THAT(Pixels(part.get()), ElementsAre(0x80102031u, 0x80102032u));
  EXPECT_EQ(page->Clone(0, 0, 4, 1, PixelFormat24bppRGB), nullptr);
  EXPECT_EQ(page->Clone(0, 0, 0, 0, PixelFormat24bppRGB), nullptr);
  BYTE pixels[8];
  EXPECT_EQ(Bitmap(2, 1, 6, PixelFormat24bppRGB, pixels).GetLastStatus(), InvalidParameter);

  page->GetLastStatus();
  const Rect all(0, 0, 3, 1);
  BitmapData data;
  BitmapData second;
  ASSERT_EQ(page->LockBits(&all, ImageLockModeRead, PixelFormat24bppRGB, &data), Ok);
  EXPECT_EQ(page->LockBits(&all, ImageLockModeRead, PixelFormat24bppRGB, &second), WrongState);
  EXPECT_EQ(page->GetLastStatus(), WrongState);
  EXPECT_EQ(page->GetLastStatus(), Ok);
  page->UnlockBits(&data);
  const Rect tooWide(0, 0, 4, 1);
  EXPECT_EQ(page->LockBits(&tooWide, ImageLockModeRead, PixelFormat24bppRGB, &data),
            InvalidParameter);
#if !defined(_WIN32)
  const Rect noColumns(0, 0, 0, 1);
  EXPECT_EQ(page->LockBits(&noColumns, ImageLockModeRead, PixelFormat24bppRGB, &data),
            InvalidParameter);
  EXPECT_EQ(page->LockBits(&all, ImageLockModeRead, PixelFormat24bppRGB, nullptr),
            InvalidParameter);
  const BitmapPointer later(page->Clone(0, 0, 3, 1, PixelFormat32bppRGB));
  EXPECT_EQ(page->GetLastStatus(), InvalidParameter);  // of an earlier call
  EXPECT_EQ(Pixels(later.get()), Pixels(opaque.get()));
  EXPECT_THAT(Pixels(MakeBits({"#."}).get()), ElementsAre(0xFF000000u, 0xFFFFFFFFu));
#endif
}

#if !defined(_WIN32)  // Wine's bitmaps lose these pixels
TEST(Bitmaps, ClonesKeepTheLastPixelsOfEveryWidth) {
  for (int width = 1; width <= 17; ++width) {
    const std::string ink(static_cast<std::size_t>(width - 1), '#');
    const BitmapPointer page = MakeBits({ink + '#', ink + '.'});
    const BitmapPointer clone(page->Clone(0, 0, width, 2, PixelFormat1bppIndexed));
    const LockedBits bits(clone.get(), ImageLockModeRead, PixelFormat1bppIndexed);
    const int last = (width - 1) / 8;
    EXPECT_EQ(bits.Row(0)[last], 0) << width;
    EXPECT_EQ(bits.Row(1)[last], 0x80 >> (width - 1) % 8) << width;
  }
}
#endif

TEST(BitmapHelper, ReducesEverythingNotWhiteToInk) {
  // White and its three nearest neighbours; the bits after the last pixel are 1, the bytes after it
  // unchanged.
  constexpr std::uint32_t kColours[] = {0xFFFFFF, 0xFEFFFF, 0xFFFEFF, 0xFFFFFE};
  for (const int width : {1, 4, 7, 8, 9, 17, 31}) {
    const auto page = MakePage(width, 2, [&](int x, int y) { return kColours[(x + y) % 4]; });
    const BitmapPointer bits(BitmapHelper::CreateBitmap(width, 2, PixelFormat1bppIndexed));
    EXPECT_EQ(BitmapHelper::GetMonochromeImage1BPP(page.get(), bits.get()), 1);
    const LockedBits locked(bits.get(), ImageLockModeRead, PixelFormat1bppIndexed);
    for (UINT y = 0; y < 2; ++y) {
      for (int x = 0; x < (width + 7) / 8 * 8; ++x) {
        const bool isWhite = x >= width || (x + static_cast<int>(y)) % 4 == 0;
        EXPECT_EQ((locked.Row(y)[x / 8] >> (7 - x % 8) & 1) != 0, isWhite) << width << ' ' << x;
      }
      for (int i = (width + 7) / 8; i < locked.data()->Stride; ++i) EXPECT_EQ(locked.Row(y)[i], 0);
    }
  }
  EXPECT_EQ(BitmapHelper::GetMonochromeImage1BPP(nullptr, MakeFlat(1, 1, 0).get()), 0);
  EXPECT_EQ(BitmapHelper::GetMonochromeImage1BPP(MakeFlat(1, 1, 0).get(), nullptr), 0);
}

TEST(BitmapHelper, ComparesOneBitImages) {
  const auto a = MakeBits({"#..........", "...........", "..........#"});
  const auto b = MakeBits({"#..........", "...........", "..........#"});
  EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(a.get(), b.get()), 1);
  EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(a.get(), a.get()), 1);
  EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(a.get(), nullptr), 0);
  EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(nullptr, b.get()), 0);
  EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(a.get(), MakeBits({"#.........."}).get()), 0);
  EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(a.get(), MakeFlat(11, 3, 0).get()), 0);
}

/// The first and last row and the first and last column with ink.
std::vector<int> Content(Bitmap* bits) {
  return {BitmapHelper::GetFirstContentRow1BPP(bits), BitmapHelper::GetLastContentRow1BPP(bits),
          BitmapHelper::GetFirstContentColumn1BPP(bits),
          BitmapHelper::GetLastContentColumn1BPP(bits)};
}

TEST(BitmapHelper, FindsContent) {
  const struct {
    std::vector<std::string> rows;
    std::vector<int> content;
  } cases[] = {
      {{"...", "..."}, {-1, -1, -1, -1}},
      {{"#"}, {0, 0, 0, 0}},
      {{".........", "........#", "........."}, {1, 1, 8, 8}},
      {{"................", "..#.............", ".............#..", "................"},
       {1, 2, 2, 13}},
      {{".................#", "#................."}, {0, 1, 0, 17}},
  };
  for (const auto& [rows, content] : cases) EXPECT_EQ(Content(MakeBits(rows).get()), content);

  // Not -1 for the first row of a bitmap without rows.
  Bitmap empty(0, 0, PixelFormat1bppIndexed);
  EXPECT_THAT(Content(&empty), ElementsAre(0, -1, -1, -1));
}

TEST(BitmapHelper, PaddingIsNotContent) {
  StridedBitmap white(13, 2, 4, PixelFormat1bppIndexed, test::Edge::kEnd);
  for (BYTE* row : {white.memory.data(), white.memory.data() + 4}) {
    row[0] = 0xFF;
    row[1] = 0xF8;  // the padding bits, and the bytes after them, are ink
  }
  EXPECT_THAT(Content(&white.bitmap), testing::Each(-1));
}

// The split.

struct SplitResult {
  int code = 0;
  BitmapPointer background;
  BitmapPointer highlight;
};

SplitResult Split(Bitmap* page, std::uint32_t colour, double tolerance,
                  eBitmapDitherer method = eBitmapDithererNone, int threshold = 128) {
  Color highlightColour = Rgb(colour);
  Bitmap* background = nullptr;
  Bitmap* highlight = nullptr;
  SplitResult result;
  result.code = BitmapHelper::SplitImage(page, highlightColour, tolerance, method, threshold,
                                         &background, &highlight);
  result.background.reset(background);
  result.highlight.reset(highlight);
  return result;
}

TEST(SplitImage, SendsEachPixelToOnePlane) {
  constexpr std::uint32_t kRed = 0xE02020;
  const std::uint32_t colours[] = {kRed,     0xFFFFFF, 0x000000, 0xE12121,
                                   0x2020E0, 0xFEFEFE, 0x010101};
  const auto page = MakePage(7, 1, [&](int x, int) { return colours[x]; });
  const SplitResult split = Split(page.get(), kRed, 0.02);
  ASSERT_EQ(split.code, 1);
  EXPECT_EQ(split.highlight->GetPixelFormat(), PixelFormat24bppRGB);
  EXPECT_THAT(Pixels(split.highlight.get()),
              ElementsAre(0xFF000000u, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF010101u, 0xFFFFFFFFu,
                          0xFFFFFFFFu, 0xFFFFFFFFu));
  EXPECT_THAT(Pixels(split.background.get()),
              ElementsAre(0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF000000u, 0xFFFFFFFFu, 0xFF2020E0u,
                          0xFFFEFEFEu, 0xFF010101u));
}

TEST(SplitImage, TheToleranceIsInclusive) {
  constexpr std::uint32_t kNear = 0xD84040;
  const double distance = ColorExtensions::CalculateToleranceCIE76(Rgb(kNear), Rgb(0xE02020));
  const auto page = MakeFlat(19, 3, kNear);
  EXPECT_NE(Pixels(Split(page.get(), 0xE02020, distance).highlight.get())[0], 0xFFFFFFFFu);
  EXPECT_EQ(Pixels(Split(page.get(), 0xE02020, std::nextafter(distance, 0)).highlight.get())[0],
            0xFFFFFFFFu);
}

TEST(SplitImage, NearlyWhiteAndNearlyBlackStayInTheBackground) {
  for (const std::uint32_t colour : {0xFEFEFEu, 0x010101u, 0xFEFFFFu, 0u}) {
    const auto page = MakeFlat(9, 2, colour);
    EXPECT_THAT(Pixels(Split(page.get(), colour, 100).highlight.get()), testing::Each(0xFFFFFFFFu));
  }
}

TEST(SplitImage, DithersThePlanesWithTheirColours) {
  const auto page = MakePage(64, 20, [](int x, int) {
    return x < 32 ? 0xE08080u + static_cast<std::uint32_t>(x) * 0x000101u
                  : static_cast<std::uint32_t>(x) * 0x030303u;
  });
  for (int method = 1; method <= 5; ++method) {
    const auto dither = static_cast<eBitmapDitherer>(method);
    const SplitResult split = Split(page.get(), 0xE02020, 0.3, dither, 128);
    const SplitResult plain = Split(page.get(), 0xE02020, 0.3);
    Color red = Rgb(0xE02020);
    const BitmapPointer highlight(
        BitmapRasterizer::Dither(plain.highlight.get(), dither, 128, red));
    EXPECT_EQ(Pixels(split.highlight.get()), Pixels(highlight.get())) << method;
    const BitmapPointer whole(BitmapRasterizer::Dither(page.get(), dither, 128));
    auto background = Pixels(whole.get());
    const auto mask = Pixels(plain.highlight.get());
    for (std::size_t i = 0; i < mask.size(); ++i) {
      if (mask[i] != 0xFFFFFFFF) background[i] = 0xFFFFFFFF;
    }
    EXPECT_EQ(Pixels(split.background.get()), background) << method;
  }
}

TEST(SplitImage, AnInvalidHighlightColourMakesTheHighlightBlack) {
  // White has the grey 255: the stretch divides by zero, and every pixel that is not white becomes
  // 0.
  const auto page = MakeFlat(9, 1, 0xC0C0C0);
  EXPECT_THAT(Pixels(Split(page.get(), 0xFFFFFF, 100).highlight.get()), testing::Each(0xFF000000u));
}

TEST(SplitImage, ReadsTheMaskWithTheBackgroundsStride) {
  // A 32-bit source yields a 32-bit background, and both are read in three-byte steps: the first of
  // four mask rows coincides with the first row of the background, the second starts one pixel
  // before it.
  const auto page = MakePage(
      4, 4, [](int, int y) { return y == 0 ? 0xFFE02020u : 0xFFFFFFFFu; }, PixelFormat32bppARGB);
  const SplitResult split = Split(page.get(), 0xE02020, 0.02);
  ASSERT_EQ(split.code, 1);
  EXPECT_EQ(split.background->GetPixelFormat(), PixelFormat32bppARGB);
  // Twelve of sixteen bytes in the first row are whitened.
  const auto pixels = Pixels(split.background.get());
  EXPECT_EQ(pixels[0], 0xFFFFFFFFu);
  EXPECT_EQ(pixels[2], 0xFFFFFFFFu);
  EXPECT_EQ(pixels[3], 0xFFE02020u);
}

TEST(SplitImage, ReadsNoMaskRowOutsideTheMask) {
  // The mask's stride and height, the page's stride, and how many of the page's five rows are read.
  constexpr int kCases[][4] = {{12, 5, 12, 5}, {-12, 5, -12, 5}, {-12, 5, 12, 5}, {12, 5, -12, 5},
                               {12, 5, 16, 4}, {-12, 5, -16, 4}, {16, 2, 12, 2},  {12, 1, 400, 1},
                               {8, 10, 12, 0}, {-8, 10, 12, 0},  {12, 5, 8, 0},   {12, 5, -8, 0}};
  for (const auto& [maskStride, maskHeight, pageStride, rows] : kCases) {
    for (const test::Edge edge : test::kEdges) {
      StridedBitmap mask(1, maskHeight, maskStride, PixelFormat24bppRGB, edge);
      const LockedBits bits(&mask.bitmap, ImageLockModeRead, PixelFormat24bppRGB);
      const PixelPlane plane = MaskRowsFor(*bits.data(), {nullptr, pageStride, 4, 5});
      EXPECT_EQ(plane.height, rows) << maskStride << ' ' << pageStride;
      EXPECT_EQ(plane.stride, (maskStride < 0 ? -1 : 1) * std::abs(pageStride));
      for (int y = 0; y < plane.height; ++y) {
        EXPECT_THAT(std::span(plane.Row(y), 12), testing::Each(0xA5));
      }
    }
  }
}

TEST(SplitImage, MasksBottomUpBackgrounds) {
  const auto isInk = [](int x, int y) { return x * y % 3 == 0; };
  for (const int stride : {64, -64}) {
    StridedBitmap mask(21, 9, stride, PixelFormat24bppRGB, test::Edge::kEnd);
    StridedBitmap background(21, 9, stride, PixelFormat24bppRGB, test::Edge::kEnd);
    Paint(&mask.bitmap, [&](int x, int y) { return isInk(x, y) ? 0x404040u : 0xFFFFFFu; });
    Paint(&background.bitmap, [](int, int) { return 0u; });
    {
      const LockedBits from(&mask.bitmap, ImageLockModeRead, PixelFormat24bppRGB);
      const LockedBits to(&background.bitmap, ImageLockModeRead | ImageLockModeWrite,
                          PixelFormat24bppRGB);
      PixelPlane plane = PlaneOf(*to.data());
      const PixelPlane rows = MaskRowsFor(*from.data(), plane);
      plane.height = rows.height;
      ActiveImagingKernels().whiten(plane, rows);
    }
    const auto pixels = Pixels(&background.bitmap);
    for (int i = 0; i < 21 * 9; ++i) {
      EXPECT_EQ(pixels[static_cast<std::size_t>(i)],
                isInk(i % 21, i / 21) ? 0xFFFFFFFFu : 0xFF000000u)
          << stride << ' ' << i;
    }
  }
}

/// A page in one bit, the limits of its ink, and the result of each method.
std::vector<std::uint32_t> ResultsOf(Bitmap* page, Bitmap* bits) {
  const Picture picture = [](int x, int y) {
    // Margins wider than the blocks of the searches for ink.
    if (x < 70 || x > 130 || y < 9 || y > 25 || (x + y) % 5 < 2) return 0xFFFFFFu;
    return x % 2 == 0 ? 0xE02020u : 0x203040u + static_cast<unsigned>(x);
  };
  Paint(page, picture);
  BitmapHelper::GetMonochromeImage1BPP(page, bits);
  std::vector<std::uint32_t> results = Pixels(bits);
  for (const int edge : Content(bits)) results.push_back(static_cast<std::uint32_t>(edge));
  for (int method = 1; method <= 5; ++method) {
    Paint(page, picture);
    Color black;
    LockedBits pixels(page, ImageLockModeRead | ImageLockModeWrite, PixelFormat24bppRGB);
    BitmapRasterizer::Dither(pixels.data(), static_cast<eBitmapDitherer>(method), 128, black);
    for (UINT y = 0; y < page->GetHeight(); ++y) {
      results.insert(results.end(), pixels.Row(y), pixels.Row(y) + 3 * page->GetWidth());
    }
  }
  return results;
}

TEST(BitmapHelper, AcceptsRowsOfAnyStride) {
  constexpr int kWidth = 205;
  constexpr int kHeight = 35;
  const BitmapPointer page(BitmapHelper::CreateBitmap(kWidth, kHeight, PixelFormat24bppRGB));
  const BitmapPointer ink(BitmapHelper::CreateBitmap(kWidth, kHeight, PixelFormat1bppIndexed));
  const auto expected = ResultsOf(page.get(), ink.get());
  for (const int stride : {616, 628, -616, -628}) {
    for (const test::Edge edge : test::kEdges) {
      StridedBitmap same(kWidth, kHeight, stride, PixelFormat24bppRGB, edge);
      StridedBitmap bits(kWidth, kHeight, stride, PixelFormat1bppIndexed, edge);
      StridedBitmap twin(kWidth, kHeight, stride, PixelFormat1bppIndexed, edge);
      StridedBitmap mirrored(kWidth, kHeight, -stride, PixelFormat1bppIndexed, edge);
      for (StridedBitmap* const each : {&bits, &twin, &mirrored}) {
        EXPECT_TRUE(ResultsOf(&same.bitmap, &each->bitmap) == expected) << stride;
        EXPECT_TRUE(each->memory.IsUntouchedAround() && same.memory.IsUntouchedAround());
      }
      EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(&bits.bitmap, &twin.bitmap), 1);
      ++twin.memory.data()[twin.memory.size() - 1];  // padding of a row
      for (Bitmap* const unequal : {&twin.bitmap, &mirrored.bitmap, ink.get()}) {
        EXPECT_EQ(BitmapHelper::Are1BPPBitmapsEqual(&bits.bitmap, unequal), 0) << stride;
      }
    }
  }
}

TEST(SplitImage, ReleasesEverythingWhenItFails) {
  Bitmap* const untouched = reinterpret_cast<Bitmap*>(16);
  const auto page = MakeFlat(4, 4, 0xE02020);
  Bitmap empty(0, 0, PixelFormat24bppRGB);
  Color red = Rgb(0xE02020);
  const struct {
    Bitmap* source;
    int method;
    Bitmap* highlight;
  } cases[] = {{page.get(), 6, nullptr}, {page.get(), -1, nullptr}, {&empty, 1, untouched}};
  for (const auto& [source, method, expected] : cases) {
    Bitmap* background = untouched;
    Bitmap* highlight = untouched;
    EXPECT_EQ(BitmapHelper::SplitImage(source, red, 0.1, static_cast<eBitmapDitherer>(method), 1,
                                       &background, &highlight),
              0);
    EXPECT_EQ(background, untouched);
    EXPECT_EQ(highlight, expected);
  }
}

TEST(SplitImage, ReportsThePlaneThatRanOutOfMemory) {
  Bitmap* const untouched = reinterpret_cast<Bitmap*>(16);
  const auto page = MakeFlat(40, 40, 0xE04040);
  Color red = Rgb(0xE02020);
  const struct {
    int failing;  ///< the background is dithered before the highlight
    Bitmap* background;
  } cases[] = {{1, nullptr}, {2, untouched}};
  for (const auto method : {eBitmapDithererFloydSteinberg, eBitmapDithererSierraLite}) {
    for (const auto& [failing, expected] : cases) {
      Bitmap* background = untouched;
      Bitmap* highlight = untouched;
      allocations.failing = failing;
      const int code =
          BitmapHelper::SplitImage(page.get(), red, 0.1, method, 128, &background, &highlight);
      EXPECT_EQ(allocations.failing, 0);
      EXPECT_EQ(code, 0) << failing;
      EXPECT_EQ(background, expected) << failing;
      EXPECT_EQ(highlight, nullptr) << failing;
    }
  }
}

TEST(SplitImage, NeedsAtMostOnePageBesidesItsResults) {
  const auto page = MakeFlat(400, 600, 0xE04040);
  for (int method = 0; method <= 5; ++method) {
    const std::ptrdiff_t before = allocations.maxBitmaps = allocations.bitmaps;
    allocations.maxSize = 0;
    const SplitResult split =
        Split(page.get(), 0xE02020, 0.1, static_cast<eBitmapDitherer>(method));
    ASSERT_EQ(split.code, 1);
    EXPECT_LE(allocations.maxBitmaps - before, 3) << method;
    EXPECT_LE(allocations.maxSize, std::size_t{3 * 400 * 8}) << method;  // some rows
  }
}

// Files.

TEST(Png, ReadsEveryPngKind) {
  const test::TemporaryFolder folder;
  const std::wstring path = folder.Name(L"page.png");
  for (const test::PngKind& kind : test::kPngKinds) {
    for (const bool isInterlaced : {false, true}) {
      constexpr int kWidth = 21;
      constexpr int kHeight = 11;
      test::WritePng(folder.path() / "page.png", kind, kWidth, kHeight, isInterlaced);
      Bitmap* loaded = nullptr;
      ASSERT_EQ(LoadPng(path.c_str(), &loaded), Ok) << kind.name;
      const BitmapPointer page(loaded);
      EXPECT_EQ(page->GetPixelFormat(), kind.hasAlpha ? PixelFormat32bppARGB : PixelFormat24bppRGB)
          << kind.name;
      std::vector<std::uint32_t> expected;
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) expected.push_back(test::PngColour(kind, x, y));
      }
      EXPECT_EQ(Pixels(page.get()), expected) << kind.name << (isInterlaced ? " interlaced" : "");
    }
  }
}

TEST(Png, RefusesInvalidAndIncompleteFiles) {
  const test::TemporaryFolder folder;
  const std::wstring path = folder.Name(L"page.png");
  const auto load = [&] {
    OwnedBitmap loaded(BitmapHelper::CreateBitmap(1, 1, PixelFormat24bppRGB));  // is replaced
    const Status status = LoadPng(path.c_str(), Out(loaded));
    EXPECT_EQ(loaded == nullptr, status != Ok);
    return status;
  };
  EXPECT_EQ(load(), FileNotFound);
  test::WriteBytes(folder.path() / "page.png", "P6 1 1 255\n   ");
  EXPECT_EQ(load(), UnknownImageFormat);
  test::WriteBytes(folder.path() / "page.png", "");
  EXPECT_EQ(load(), UnknownImageFormat);

  test::WritePng(folder.path() / "page.png", test::kPngKinds[0], 300, 200, false);
  const std::string whole = test::ReadBytes(folder.path() / "page.png");
  EXPECT_EQ(load(), Ok);
  for (const std::size_t size : {std::size_t{8}, std::size_t{20}, whole.size() / 2}) {
    test::WriteBytes(folder.path() / "page.png", whole.substr(0, size));
    EXPECT_NE(load(), Ok) << size;
  }
#if !defined(_WIN32)
  test::WriteBytes(folder.path() / "header.png", whole.substr(0, 8));
  test::WriteBytes(folder.path() / "wrong.png", "x" + whole.substr(1));
  std::filesystem::create_symlink("link.png", folder.path() / "link.png");
  const std::pair<std::wstring, Status> cases[] = {
      {folder.Name(L"header.png"), GenericError}, {folder.Name(L"wrong.png"), UnknownImageFormat},
      {folder.Name(), UnknownImageFormat},        {folder.Name(L"wrong.png/x"), FileNotFound},
      {folder.Name(L"link.png"), Win32Error},     {L"/proc/self/mem", Win32Error}};
  for (const auto& [file, status] : cases) {
    Bitmap* loaded = nullptr;
    EXPECT_EQ(LoadPng(file.c_str(), &loaded), status) << WideToUtf8(file);
  }
#endif
}

TEST(Png, WritesWhatItReads) {
  const test::TemporaryFolder folder;
  const std::wstring path = folder.Name(L"\u00e9.png");
  const auto colour = [](int x, int y) {
    return 0x80000000u + 0x102030u * static_cast<unsigned>(x) + static_cast<unsigned>(y);
  };
  const auto oneTransparent = [](int x, int y) {
    return x == 0 && y == 4 ? 0x80102030u : 0xFF102030u;
  };
  std::vector<BitmapPointer> pages;
  pages.push_back(MakePage(17, 5, colour));
  pages.push_back(MakePage(17, 5, colour, PixelFormat32bppARGB));
  pages.push_back(MakePage(17, 5, oneTransparent, PixelFormat32bppARGB));
  pages.push_back(MakeBits({"#.#.......#", "...........", ".#........."}));
#if !defined(_WIN32)
  const ColorPalette oneColour = {0, 1, {0xFF804020}};
  pages.emplace_back(BitmapHelper::CreateBitmap(17, 5, PixelFormat8bppIndexed));
  ASSERT_EQ(pages.back()->SetPalette(&oneColour), Ok);
  EXPECT_NE(SavePng(pages[0].get(), L"/dev/full"), Ok);
#endif
  for (const BitmapPointer& page : pages) {
    ASSERT_EQ(SavePng(page.get(), path.c_str()), Ok);
    OwnedBitmap loaded;
    ASSERT_EQ(LoadPng(path.c_str(), Out(loaded)), Ok);
    EXPECT_EQ(Pixels(loaded.get()), Pixels(page.get()));
    std::string bytes;
    ASSERT_EQ(EncodePng(page.get(), {}, &bytes), Ok);
    EXPECT_EQ(bytes, test::ReadBytes(ToPath(path)));
    // On Windows the system has a resolution for every file.
    EXPECT_EQ(ReadPngResolution(path.c_str()).has_value(), kPathSeparator == L'\\');
    ASSERT_EQ(EncodePng(page.get(), PngResolution{11811, 23622}, &bytes), Ok);
    test::WriteBytes(ToPath(path), bytes);
    const PngResolution resolution = ReadPngResolution(path.c_str()).value_or(PngResolution{});
    EXPECT_TRUE(resolution.x == 11811 && resolution.y == 23622);
  }
  EXPECT_NE(SavePng(pages[0].get(), folder.Name(L"missing/page.png").c_str()), Ok);
}

TEST(DevTestSaveBitmapAs, KeepsTheSettingsOfTheFirstCall) {
  const test::ScratchRegistry registry;
  const test::TemporaryFolder folder;
  test::SetSetting(HKEY_CURRENT_USER, L"Test", L"SaveIntermediateBitmapsEnabled", L"1");
  test::SetSetting(HKEY_CURRENT_USER, L"Test", L"SaveIntermediateBitmapsPath", folder.Name());
  test::LogCapture log;
  const auto page = MakeFlat(5, 4, 0x123456);
  // The slash makes the path invalid; the failure is not reported.
  for (const wchar_t* const name : {L"Mono", L"Highlight", L"a/b"}) {
    BitmapHelper::DevTestSaveBitmapAs(page.get(), 1234, 100, name, nullptr);
    test::SetSetting(HKEY_CURRENT_USER, L"Test", L"SaveIntermediateBitmapsEnabled", L"0");
  }
  const auto lines = log.TakeMessages();
  ASSERT_THAT(lines, testing::SizeIs(3));
  for (const std::wstring& line : {lines[0], lines[1]}) {
    OwnedBitmap saved;
    ASSERT_EQ(LoadPng(folder.Name(line.substr(line.find(L"Job"))).c_str(), Out(saved)), Ok);
    EXPECT_EQ(Pixels(saved.get()), Pixels(page.get()));
  }
}

TEST(DevTestSaveBitmapAs, SavesOnlyWithBothSettings) {
  const test::ScratchRegistry registry;
  const test::TemporaryFolder folder;
  const struct {
    const wchar_t* enabled;
    std::wstring path;
    bool saves;
  } cases[] = {{L"1", folder.Name(), true},     {L"", folder.Name(), false},
               {L"0", folder.Name(), false},    {L"01", folder.Name(), false},
               {L"true", folder.Name(), false}, {L"1", L"", false}};
  for (const auto& [enabled, path, saves] : cases) {
    test::SetSetting(HKEY_CURRENT_USER, L"Test", L"SaveIntermediateBitmapsEnabled", enabled);
    test::SetSetting(HKEY_CURRENT_USER, L"Test", L"SaveIntermediateBitmapsPath", path);
    const std::wstring log = Utf8ToWide(test::RunProgram(ORV_TEST_HELPER, {"image"}).output);
    EXPECT_TRUE(
        log.starts_with(L"TRCRendering BitmapHelper: Generated intermediate image Job007_2"));
    const std::size_t end = log.find(L"_Page03_Mono.png") + 16;
    const std::wstring name = log.substr(log.find(L"Job"), end - log.find(L"Job"));
    EXPECT_EQ(name.size(), std::wstring(L"Job007_YYYYMMDD-HHMMSSmmm_Page03_Mono.png").size());
    EXPECT_EQ(std::filesystem::exists(ToPath(path + kPathSeparator + name)), saves) << path;
  }
}

}  // namespace
}  // namespace orv
