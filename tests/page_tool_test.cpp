/// `orv page`, run as people run it, on the sample label.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/pixels.h"
#include "orv/platform/files.h"
#include "orv/platform/graphics.h"
#include "tests/fixtures.h"
#include "tools/orv/exit_code.h"

namespace orv::tool {
namespace {

using test::ProgramResult;
using testing::HasSubstr;
using BitmapPointer = std::unique_ptr<Bitmap>;

const GraphicsSession graphics;

class PageCommand : public testing::Test {
 protected:
  static constexpr const char* kLabel = ORV_EXAMPLES "/label_page.png";

  ProgramResult Run(std::vector<std::string> arguments, const std::string& input = {}) {
    arguments.insert(arguments.begin(), "page");
    return test::RunProgram(ORV_PROGRAM, arguments, input);
  }

  std::string File(const std::string& name) const { return (folder_.path() / name).string(); }

  static BitmapPointer Load(const std::string& file) {
    Bitmap* page = nullptr;
    EXPECT_EQ(LoadPng(FromPath(file).c_str(), &page), Ok) << file;
    return BitmapPointer(page);
  }

  std::size_t FileCount() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder_.path()), {}));
  }

  test::TemporaryFolder folder_;
};

/// A pixel as 0xRRGGBB.
std::uint32_t PixelAt(Bitmap* page, int x, int y) {
  const LockedBits bits(page, ImageLockModeRead, PixelFormat24bppRGB);
  const std::uint8_t* pixel = bits.Row(static_cast<UINT>(y)) + 3 * x;
  return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
}

TEST_F(PageCommand, SplitWritesThePlanesAndWhatTheyPrint) {
  const ProgramResult result =
      Run({"split", kLabel, "--colour", "#E02020", "--tolerance", "0.35", "--background",
           File("black.png"), "--highlight", File("red.png"), "--preview", File("both.png")});
  ASSERT_EQ(result.exitCode, kDone) << result.messages;
  EXPECT_EQ(result.messages, "");
  EXPECT_THAT(result.output, HasSubstr("812 x 1218 pixels, 101.6 x 152.4 mm\n"));
  EXPECT_THAT(result.output, HasSubstr("highlight ink   23480 pixels, 2.37 %\n"));

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
  for (int y = 0; y < 1218; y += 7) {
    for (int x = 0; x < 812; x += 3) {
      const std::uint32_t black = PixelAt(planes[0].get(), x, y);
      const std::uint32_t colour = PixelAt(planes[1].get(), x, y);
      ASSERT_EQ(PixelAt(files[0].get(), x, y), black);
      ASSERT_EQ(PixelAt(files[1].get(), x, y), colour);
      // No pixel has both inks.
      ASSERT_EQ(PixelAt(both.get(), x, y), black & colour);
    }
  }
}

TEST_F(PageCommand, WritesAllOfItsFilesOrNone) {
  const ProgramResult result = Run({"split", kLabel, "--colour", "E02020", "--background",
                                    File("black.png"), "--highlight", File("missing/red.png")});
  EXPECT_EQ(result.exitCode, kUnreadable);
  EXPECT_THAT(result.messages, HasSubstr("cannot write"));
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(FileCount(), 0u);
}

TEST_F(PageCommand, BoundsInPixelsAndMillimetres) {
  EXPECT_EQ(Run({"bounds", kLabel, "--dpi", "254"}).output,
            "page     812 x 1218 pixels, 81.2 x 121.8 mm\n"
            "content  732 x 1120 pixels, 73.2 x 112.0 mm\n"
            "columns  40 to 771, 4.0 to 77.2 mm\n"
            "rows     50 to 1169, 5.0 to 117.0 mm\n");
  EXPECT_THAT(Run({"bounds", kLabel, "--json"}).output, HasSubstr("\"endMm\": 96.595"));
}

TEST_F(PageCommand, BoundsOfAWhitePage) {
  Bitmap white(3, 2, PixelFormat32bppARGB);  // transparent: white paper shows through
  ASSERT_EQ(SavePng(&white, FromPath(File("white.png")).c_str()), Ok);
  const ProgramResult result = Run({"bounds", File("white.png")});
  EXPECT_EQ(result.exitCode, kDone);
  EXPECT_THAT(result.output, HasSubstr("The page is white.\n"));
  EXPECT_THAT(Run({"bounds", File("white.png"), "--json"}).output, HasSubstr("\"content\": null"));
}

TEST_F(PageCommand, MonoAndDitherWriteWhatTheLibraryMakes) {
  ASSERT_EQ(Run({"mono", kLabel, File("mono.png")}).exitCode, kDone);
  ASSERT_EQ(Run({"dither", kLabel, File("dots.png"), "--method", "matrix8", "--colour", "0000FF"})
                .exitCode,
            kDone);
  // The same bytes come and go by the standard streams, and what there is to say beside them.
  const ProgramResult streamed = Run({"mono", "-", "-"}, test::ReadBytes(kLabel));
  EXPECT_EQ(streamed.output, test::ReadBytes(File("mono.png")));
  EXPECT_THAT(streamed.messages, HasSubstr("written  -\n"));
  const BitmapPointer page = Load(kLabel);
  const BitmapPointer mono = Load(File("mono.png"));
  Color blue(0xFF0000FF);
  const BitmapPointer dithered(
      BitmapRasterizer::Dither(page.get(), eBitmapDithererMatrix8, 128, blue));
  const BitmapPointer dots = Load(File("dots.png"));
  for (int y = 0; y < 1218; y += 5) {
    for (int x = 0; x < 812; x += 5) {
      ASSERT_EQ(PixelAt(mono.get(), x, y), PixelAt(page.get(), x, y) == 0xFFFFFF ? 0xFFFFFFu : 0u);
      ASSERT_EQ(PixelAt(dots.get(), x, y), PixelAt(dithered.get(), x, y));
    }
  }
}

TEST_F(PageCommand, CompareSaysWhereAndWhetherTheInkDiffers) {
  EXPECT_EQ(Run({"compare", kLabel, kLabel}).exitCode, kDone);
  Bitmap page(4, 3, PixelFormat24bppRGB);
  ASSERT_EQ(SavePng(&page, FromPath(File("a.png")).c_str()), Ok);
  {
    const LockedBits bits(&page, ImageLockModeWrite, PixelFormat24bppRGB);
    static_cast<BYTE*>(bits.data()->Scan0)[bits.data()->Stride + 3] = 7;
  }
  ASSERT_EQ(SavePng(&page, FromPath(File("b.png")).c_str()), Ok);
  const ProgramResult result = Run({"compare", File("a.png"), File("b.png")});
  EXPECT_EQ(result.exitCode, kFindings);
  EXPECT_THAT(result.output, HasSubstr("different  1 pixels, 8.33 %\n"
                                       "ink        the same\n"
                                       "columns    1 to 1, "));
  const ProgramResult sizes = Run({"compare", kLabel, File("b.png"), "--json"});
  EXPECT_EQ(sizes.exitCode, kFindings);
  EXPECT_THAT(sizes.output, HasSubstr("\"equal\": false"));
}

TEST_F(PageCommand, ExplainCountsEveryPixelOnce) {
  const ProgramResult result = Run({"explain", kLabel, "--colour", "E02020", "--tolerance", "0.35",
                                    "--picture", File("where.png")});
  ASSERT_EQ(result.exitCode, kDone) << result.messages;
  EXPECT_THAT(result.output, HasSubstr("in the highlight       23881 pixels, 2.41 %\n"));
  EXPECT_THAT(result.output, HasSubstr("nearly white or black  700568 pixels"));
  EXPECT_THAT(result.output, HasSubstr("0 to 0.07     22671"));
  const BitmapPointer where = Load(File("where.png"));
  EXPECT_EQ(PixelAt(where.get(), 130, 140), 0xE02020u);  // the star
  EXPECT_EQ(PixelAt(where.get(), 64, 1000), 0xFFFFFFu);
}

TEST_F(PageCommand, PreviewPrintsPlanesInTheirInksBesideRulers) {
  ASSERT_EQ(Run({"split", kLabel, "--colour", "E02020", "--background", File("black.png"),
                 "--highlight", File("red.png")})
                .exitCode,
            kDone);
  const BitmapPointer planes[] = {Load(File("black.png")), Load(File("red.png"))};
  const ProgramResult result =
      Run({"preview", File("black.png"), File("red.png"), "--ink", "000080", "--ink", "F0E020",
           "--dpi", "254", "--crop", "4,5,60,200px", "--zoom", "2", "-o", File("view.png")});
  ASSERT_EQ(result.exitCode, kDone) << result.messages;
  EXPECT_THAT(result.output, HasSubstr("columns  40 to 639, 4.0 to 64.0 mm\n"
                                       "rows     50 to 249, 5.0 to 25.0 mm\n"));
  const BitmapPointer view = Load(File("view.png"));
  constexpr int kLeft = 62;
  constexpr int kTop = 40;
  int inks[2] = {};
  for (int y = 0; y < 200; ++y) {
    for (int x = 0; x < 600; x += 3) {
      const bool isBlack = PixelAt(planes[0].get(), 40 + x, 50 + y) == 0;
      const bool isRed = PixelAt(planes[1].get(), 40 + x, 50 + y) != 0xFFFFFF;
      ASSERT_EQ(PixelAt(view.get(), kLeft + 2 * x + 1, kTop + 2 * y), isBlack ? 0x000080u
                                                                      : isRed ? 0xF0E020u
                                                                              : 0xFFFFFFu);
      inks[0] += isBlack;
      inks[1] += isRed;
    }
  }
  EXPECT_GT(inks[0], 1000);
  EXPECT_GT(inks[1], 1000);
  // A millimetre is 20 pixels: a mark each half, longer and with a number each five, and the first
  // row and column lie at 4 and 5 mm.
  const auto isMark = [&](int x, int y) { return PixelAt(view.get(), x, y) == 0x282828; };
  for (int tick = 0; tick <= 120; ++tick) {
    EXPECT_TRUE(isMark(kLeft + 10 * tick, kTop - 1)) << tick;
    EXPECT_FALSE(isMark(kLeft + 10 * tick + 5, kTop - 1)) << tick;
    EXPECT_EQ(isMark(kLeft + 10 * tick, kTop - 12), tick % 10 == 2) << tick;
    if (tick <= 40) {
      EXPECT_EQ(isMark(kLeft - 12, kTop + 10 * tick), tick % 10 == 0) << tick;
    }
  }
}

TEST_F(PageCommand, CompareMethodsShowsWhatEachMethodMakes) {
  ASSERT_EQ(Run({"compare-methods", kLabel, "--crop", "240px,640px,320px,100px", "--zoom", "1",
                 "-o", File("methods.png")})
                .exitCode,
            kDone);
  const BitmapPointer picture = Load(File("methods.png"));
  const BitmapPointer page = Load(kLabel);
  constexpr int kCaption = 42;
  constexpr int kGap = 16;
  for (int method = 0; method <= 5; ++method) {
    Color black(0xFF000000);
    const BitmapPointer dithered(
        BitmapRasterizer::Dither(page.get(), static_cast<eBitmapDitherer>(method), 128, black));
    const int left = kGap + method % 3 * (320 + kGap);
    const int top = kGap + method / 3 * (kCaption + 100 + kGap) + kCaption;
    for (int i = 0; i < 32000; i += 11) {
      ASSERT_EQ(PixelAt(picture.get(), left + i % 320, top + i / 320),
                PixelAt(dithered.get(), 240 + i % 320, 640 + i / 320))
          << method;
    }
  }
}

TEST_F(PageCommand, LegibilityMeasuresBarsSpecksAndTones) {
  // A bar of four columns, and a light grey in the last of four blocks; of the plane's bar a piece
  // is missing and a dot is white, a dot of ink stands alone, and the grey is lost.
  const auto write = [&](const std::string& name, const auto& shadeAt) {
    Bitmap page(32, 32, PixelFormat24bppRGB);
    {
      const LockedBits bits(&page, ImageLockModeWrite, PixelFormat24bppRGB);
      for (int y = 0; y < 32; ++y) {
        std::uint8_t* row = static_cast<BYTE*>(bits.data()->Scan0) + y * bits.data()->Stride;
        for (int x = 0; x < 32; ++x) std::fill_n(row + 3 * x, 3, shadeAt(x, y));
      }
    }
    ASSERT_EQ(SavePng(&page, FromPath(File(name)).c_str()), Ok);
  };
  const auto isBar = [](int x) { return x >= 8 && x < 12; };
  write("page.png", [&](int x, int y) -> std::uint8_t {
    return isBar(x) ? 0 : x >= 16 && y >= 16 ? 153 : 255;
  });
  write("plane.png", [&](int x, int y) -> std::uint8_t {
    const bool isLost = (x == 11 && y < 8) || (x == 9 && y == 20);
    return (isBar(x) && !isLost) || (x == 24 && y == 4) ? 0 : 255;
  });
  EXPECT_EQ(
      Run({"legibility", File("plane.png"), "--source", File("page.png"), "--dpi", "254"}).output,
      "page      32 x 32 pixels, 3.2 x 3.2 mm\n"
      "bars      32 measured, off by 0.28 dots on average, by 1.0 at most\n"
      "spaces    none\n"
      "isolated  1 dots and 1 holes in 120 dots of ink\n"
      "tone      3 blocks, off by 14.51 % on average, by 40.0 % at most (at 1.6, 1.6 mm)\n"
      "marks     width 7.03, tone 14.51, specks 1.67: 21.70 in all, 0 is best\n");
  const ProgramResult best = Run({"legibility", kLabel, "--recommend"});
  EXPECT_EQ(best.exitCode, kDone);
  EXPECT_THAT(best.output, HasSubstr("recommended  sierra-lite\n"));
  // Of the ordered methods two leave white dots in black bars, which only their widths tell.
  EXPECT_THAT(best.output, testing::ContainsRegex("matrix8 +1.61 "));
  EXPECT_THAT(best.output, testing::ContainsRegex("matrix4 +0.05 "));
}

TEST_F(PageCommand, TakesTheResolutionFromThePage) {
  std::string bytes = test::ReadBytes(kLabel);
  constexpr std::size_t kBehindHeader = 33;
  const std::string resolution(
      "\x00\x00\x00\x09"
      "pHYs"
      "\x00\x00\x2e\x23\x00\x00\x2e\x23\x01\x78\xa5\x3f\x76",
      21);
  bytes.insert(kBehindHeader, resolution);
  test::WriteBytes(File("300.png"), bytes);
  EXPECT_THAT(Run({"bounds", File("300.png")}).output, HasSubstr("68.7 x 103.1 mm"));
  EXPECT_THAT(Run({"bounds", File("300.png"), "--dpi", "600"}).output, HasSubstr("34.4 x 51.6 mm"));
}

TEST_F(PageCommand, RefusesWhatItCannotUse) {
  test::WriteBytes(folder_.path() / "text.png", "no picture");
  test::WriteBytes(folder_.path() / "cut.png", test::ReadBytes(kLabel).substr(0, 500));
  const struct {
    std::vector<std::string> arguments;
    int exitCode;
    const char* message;
  } cases[] = {
      {{"mono", File("missing.png"), File("out.png")}, kUnreadable, "cannot read"},
      {{"mono", File("text.png"), File("out.png")}, kUnreadable, "is no PNG image"},
      {{"mono", File("cut.png"), File("out.png")}, kUnreadable, "is damaged"},
      {{"dither", kLabel, File("out.png"), "--method", "foo"}, kUsage, "foo"},
      {{"dither", kLabel, File("out.png"), "--threshold", "256"}, kUsage, "range 0 to 255"},
      {{"dither", kLabel, File("out.png"), "--colour", "red"}, kUsage, "not a colour"},
      {{"explain", kLabel}, kUsage, "--colour"},
      {{"split", kLabel, "--colour", "E02020", "--tolerance", "-1", "--background", "a",
        "--highlight", "b"},
       kUsage,
       "not a distance"},
      {{"explain", kLabel, "--colour", "E02020", "--tolerance", "nan"}, kUsage, "not a distance"},
      {{"preview", kLabel, "-o", File("out.png"), "--crop", "1,2,3"}, kUsage, "four lengths"},
      {{"preview", kLabel, "-o", File("out.png"), "--crop", "1,2,3,4,5"}, kUsage, "four lengths"},
      {{"preview", kLabel, "-o", File("out.png"), "--crop", "1,2,3,4cm"}, kUsage, "four lengths"},
      {{"preview", kLabel, "-o", File("out.png"), "--crop", "9in,0,1,1"}, kUsage, "leaves nothing"},
      {{"preview", kLabel, "-o", File("out.png"), "--ink", "000000", "--ink", "E02020"},
       kUsage,
       "more inks"},
      {{"legibility", kLabel}, kUsage, "--source or --recommend"},
      {{"split", kLabel, "--colour", "E02020", "--background", File("out.png"), "--highlight",
        (folder_.path() / "." / "out.png").string()},
       kUsage,
       "one file"},
  };
  for (const auto& [arguments, exitCode, message] : cases) {
    const ProgramResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << arguments[0];
    EXPECT_THAT(result.messages, HasSubstr(message));
    EXPECT_FALSE(std::filesystem::exists(File("out.png")));
  }
}

}  // namespace
}  // namespace orv::tool
