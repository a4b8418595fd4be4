/// Tests of `orv page` with the sample label.

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "imaging/dithering.h"
#include "imaging/pixels.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/graphics.h"
#include "platform/files.h"
#include "tests/program_runs.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/planes.h"

namespace orv::tool {
namespace {

using test::ExpectDone;
using BitmapPointer = std::unique_ptr<Bitmap>;

const GraphicsSession pageGraphics;

class PageCommand : public testing::Test {
 protected:
  static constexpr const char* kLabel = ORV_EXAMPLES "/label_page.png";

  std::string File(const std::string& name) const { return (folder_.path() / name).string(); }

  static BitmapPointer Load(const std::string& file) {
    Bitmap* page = nullptr;
    EXPECT_EQ(LoadPng(FromPath(file).c_str(), &page), Ok) << file;
    return BitmapPointer(page);
  }

  test::TemporaryFolder folder_;
};

/// A pixel as 0xRRGGBB.
std::uint32_t PixelAt(const BitmapPointer& page, int x, int y) {
  const LockedBits bits(page.get(), ImageLockModeRead, PixelFormat24bppRGB);
  const std::uint8_t* pixel = bits.Row(static_cast<UINT>(y)) + 3 * x;
  return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
}

TEST_F(PageCommand, SplitWritesPlanesAndPreview) {
  ExpectDone({"page", "split", kLabel, "--colour", "#E02020", "--tolerance", "0.35", "--background",
              File("black.png"), "--highlight", File("red.png"), "--preview", File("both.png")});
  const BitmapPointer page = Load(kLabel);
  Color red(0xFFE02020);
  Bitmap* background = nullptr;
  Bitmap* highlight = nullptr;
  ASSERT_EQ(BitmapHelper::SplitImage(page.get(), red, 0.35, eBitmapDithererFloydSteinberg, 128,
                                     &background, &highlight),
            1);
  const BitmapPointer planes[] = {BitmapPointer(background), BitmapPointer(highlight)};
  const BitmapPointer files[] = {Load(File("black.png")), Load(File("red.png"))};
  const BitmapPointer both = Load(File("both.png"));
  for (int i = 0; i < 812 * 1218; i += 17) {
    const std::uint32_t black = PixelAt(planes[0], i % 812, i / 812);
    const std::uint32_t colour = PixelAt(planes[1], i % 812, i / 812);
    ASSERT_EQ(PixelAt(files[0], i % 812, i / 812), black);
    ASSERT_EQ(PixelAt(files[1], i % 812, i / 812), colour);
    ASSERT_EQ(PixelAt(both, i % 812, i / 812), black & colour);  // no pixel has both inks
  }
}

TEST_F(PageCommand, MonoAndDitherMatchTheLibrary) {
  ExpectDone({"page", "mono", kLabel, File("mono.png")});
  ExpectDone(
      {"page", "dither", kLabel, File("dots.png"), "--method", "matrix8", "--colour", "0000FF"});
  const BitmapPointer page = Load(kLabel);
  const BitmapPointer mono = Load(File("mono.png"));
  Color blue(0xFF0000FF);
  const BitmapPointer dithered(
      BitmapRasterizer::Dither(page.get(), eBitmapDithererMatrix8, 128, blue));
  const BitmapPointer dots = Load(File("dots.png"));
  for (int i = 0; i < 812 * 1218; i += 25) {
    const std::uint32_t ink = PixelAt(page, i % 812, i / 812) == 0xFFFFFF ? 0xFFFFFF : 0;
    ASSERT_EQ(PixelAt(mono, i % 812, i / 812), ink);
    ASSERT_EQ(PixelAt(dots, i % 812, i / 812), PixelAt(dithered, i % 812, i / 812));
  }
}

TEST_F(PageCommand, MixedDithersPicturesOnly) {
  ExpectDone({"page", "dither", kLabel, File("dots.png"), "--method", "mixed"});
  const BitmapPointer page = Load(kLabel);
  const BitmapPointer dots = Load(File("dots.png"));
  const auto darkness = [&](int x, int y) {
    const std::uint32_t pixel = PixelAt(page, x, y);
    return 1 - (299 * (pixel >> 16) + 587 * (pixel >> 8 & 255) + 114 * (pixel & 255)) / 255000.0;
  };
  double picture[2] = {};
  for (int i = 0; i < 400 * 200; ++i) {
    // The red line of text is solid.
    const int x = 240 + i % 400;
    const int y = 175 + i / 400;
    if (y < 215) {
      ASSERT_EQ(PixelAt(dots, x, y) == 0, darkness(x, y) > 0.5) << x << ", " << y;
    }
    picture[0] += darkness(x, y + 450);
    picture[1] += PixelAt(dots, x, y + 450) == 0;
  }
  EXPECT_NEAR(picture[1] / picture[0], 1, 0.02);
}

TEST_F(PageCommand, ExplainMarksTheColour) {
  ExpectDone({"page", "explain", kLabel, "--colour", "E02020", "--tolerance", "0.35", "--picture",
              File("where.png")});
  const BitmapPointer where = Load(File("where.png"));
  EXPECT_EQ(PixelAt(where, 130, 140), 0xE02020u);  // the star
  EXPECT_EQ(PixelAt(where, 64, 1000), 0xFFFFFFu);
}

TEST_F(PageCommand, PreviewDrawsPlanesInTheirInksWithRulers) {
  ExpectDone({"page", "split", kLabel, "--colour", "E02020", "--background", File("black.png"),
              "--highlight", File("red.png")});
  const BitmapPointer planes[] = {Load(File("black.png")), Load(File("red.png"))};
  ExpectDone({"page", "preview", File("black.png"), File("red.png"), "--ink", "000080", "--ink",
              "F0E020", "--dpi", "254", "--crop", "4,5,60,200px", "--zoom", "2", "-o",
              File("view.png")});
  const BitmapPointer view = Load(File("view.png"));
  constexpr int kLeft = 62;
  constexpr int kTop = 40;
  int inks[2] = {};
  for (int i = 0; i < 600 * 200; i += 7) {
    const int x = i % 600;
    const int y = i / 600;
    const bool isBlack = PixelAt(planes[0], 40 + x, 50 + y) == 0;
    const bool isRed = PixelAt(planes[1], 40 + x, 50 + y) != 0xFFFFFF;
    const std::uint32_t ink = isBlack ? 0x000080 : isRed ? 0xF0E020 : 0xFFFFFF;
    ASSERT_EQ(PixelAt(view, kLeft + 2 * x + 1, kTop + 2 * y), ink);
    inks[0] += isBlack;
    inks[1] += isRed;
  }
  EXPECT_GT(std::min(inks[0], inks[1]), 400);
  // A millimetre is 20 pixels: a mark each half, longer and with a number each five, and the first
  // row and column are at 4 and 5 mm.
  const auto isMark = [&](int x, int y) { return PixelAt(view, x, y) == 0x282828; };
  for (int tick = 0; tick <= 120; ++tick) {
    EXPECT_TRUE(isMark(kLeft + 10 * tick, kTop - 1)) << tick;
    EXPECT_FALSE(isMark(kLeft + 10 * tick + 5, kTop - 1)) << tick;
    EXPECT_EQ(isMark(kLeft + 10 * tick, kTop - 12), tick % 10 == 2) << tick;
    if (tick <= 40) {
      EXPECT_EQ(isMark(kLeft - 12, kTop + 10 * tick), tick % 10 == 0) << tick;
    }
  }
}

TEST_F(PageCommand, CompareMethodsDrawsEveryMethod) {
  ExpectDone({"page", "compare-methods", kLabel, "--crop", "240px,640px,320px,100px", "--zoom", "1",
              "-o", File("methods.png")});
  const BitmapPointer picture = Load(File("methods.png"));
  const BitmapPointer page = Load(kLabel);
  constexpr int kCaption = 42;
  constexpr int kGap = 16;
  constexpr int kWidth = 360;  // of the captions, which are wider than the part
  for (int method = 0; method <= 5; ++method) {
    Color black(0xFF000000);
    const BitmapPointer dithered(
        BitmapRasterizer::Dither(page.get(), static_cast<eBitmapDitherer>(method), 128, black));
    const int left = kGap + method % 3 * (kWidth + kGap);
    const int top = kGap + method / 3 * (kCaption + 100 + kGap) + kCaption;
    for (int i = 0; i < 32000; i += 11) {
      ASSERT_EQ(PixelAt(picture, left + i % 320, top + i / 320),
                PixelAt(dithered, 240 + i % 320, 640 + i / 320))
          << method;
    }
  }
  ExpectDone({"page", "compare-methods", kLabel, "--crop", "240px,640px,320px,100px", "--zoom", "1",
              "--gamma", "2", "-o", File("lighter.png")});
  const BitmapPointer lighter = Load(File("lighter.png"));
  for (int i = 0; i < 32000; i += 11) {
    ASSERT_EQ(PixelAt(lighter, kGap + i % 320, kGap + kCaption + i / 320),
              PixelAt(page, 240 + i % 320, 640 + i / 320));
  }
}

/// The bits of a page with one bit per pixel, without the unused ones, and their two colours.
std::vector<std::uint32_t> BitsOf(Bitmap* page) {
  alignas(ColorPalette) BYTE block[sizeof(ColorPalette) + sizeof(ARGB)] = {};
  auto* palette = reinterpret_cast<ColorPalette*>(block);
  EXPECT_EQ(page->GetPalette(palette, sizeof block), Ok);
  std::vector<std::uint32_t> bits = {palette->Entries[0], palette->Entries[1]};
  const LockedBits locked(page, ImageLockModeRead, PixelFormat1bppIndexed);
  for (UINT y = 0; y < page->GetHeight(); ++y) {
    for (UINT x = 0; x < page->GetWidth(); ++x) {
      bits.push_back(locked.Row(y)[x / 8] >> (7 - x % 8) & 1u);
    }
  }
  return bits;
}

/// Planes made in bands of one bit per pixel are those of the library, packed afterwards. The last
/// size has several bands, the last of which is shorter.
TEST(PagePlanes, OfOneBitMatchTheLibrary) {
  constexpr int kSizes[][2] = {{1, 1}, {8, 3}, {13, 9}, {1203, 150}};
  constexpr const char* kMethods[] = {"floyd-steinberg", "sierra-lite", "matrix4", "matrix8",
                                      "matrix16"};
  ASSERT_GT(150, BandRowsFor(1203));
  ASSERT_NE(150 % BandRowsFor(1203), 0);
  std::mt19937 random(1);
  const std::function<std::uint32_t(int)> pictures[] = {
      [](int) { return 0xFFFFFFu; }, [](int) { return 0u; }, [](int) { return 0xE02020u; },
      // Red, white, black, and noise in which neither is frequent.
      [&](int x) {
        const std::uint32_t noise = static_cast<std::uint32_t>(random());
        const std::uint32_t colours[] = {0xE02020, 0xFFFFFF, 0, noise & 0xFFFFFF};
        return colours[(static_cast<std::uint32_t>(x / 5) + (noise >> 30)) % 4];
      }};
  Color black(0xFF000000);
  Color red(0xFFE02020);
  for (const auto& [width, height] : kSizes) {
    for (const auto& picture : pictures) {
      const PagePointer page(BitmapHelper::CreateBitmap(width, height, PixelFormat24bppRGB));
      ForEachPixel(PagePixels(page.get()), [&](unsigned char* pixel, int x, int) {
        const std::uint32_t colour = picture(x);
        for (int i = 0; i < 3; ++i) pixel[i] = static_cast<unsigned char>(colour >> 8 * i);
      });
      for (int method = 1; method <= 5; ++method) {
        SCOPED_TRACE(testing::Message() << width << " x " << height << ", picture "
                                        << &picture - pictures << ", method " << method);
        DitherOptions options;
        options.name = kMethods[method - 1];
        const auto ditherer = static_cast<eBitmapDitherer>(method);
        const auto expectSame = [width = width, height = height](Bitmap* packed, Bitmap* plane) {
          const PagePointer reference = ReduceToTwoColours(plane);
          ASSERT_NE(reference, nullptr);
          EXPECT_TRUE(BitsOf(packed) == BitsOf(reference.get()));
          const PlaneDots ofPacked(packed);
          const PlaneDots ofPlane(plane);
          int differences = 0;
          for (int i = 0; i < width * height; ++i) {
            const int x = i % width;
            differences += ofPacked.IsInk(x, i / width) != ofPlane.IsInk(x, i / width);
          }
          EXPECT_EQ(differences, 0);
        };

        const PagePointer dithered(BitmapRasterizer::Dither(page.get(), ditherer, 128, red));
        expectSame(DitheredInTwoColours(page.get(), options, red).get(), dithered.get());

        Bitmap* background = nullptr;
        Bitmap* highlight = nullptr;
        ASSERT_EQ(
            BitmapHelper::SplitImage(page.get(), red, 0.2, ditherer, 128, &background, &highlight),
            1);
        const Planes whole = {PagePointer(background), PagePointer(highlight)};
        const Planes packed = SplitInTwoColours(page.get(), red, 0.2, options);
        expectSame(packed.background.get(), whole.background.get());
        expectSame(packed.highlight.get(), whole.highlight.get());
      }
    }
  }
}

}  // namespace
}  // namespace orv::tool
