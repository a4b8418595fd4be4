/// `orv page`, run as people run it, on the sample label.

#include <algorithm>
#include <functional>
#include <memory>

#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/pixels.h"
#include "orv/platform/files.h"
#include "orv/platform/graphics.h"
#include "tests/program_runs.h"
#include "tools/orv/exit_code.h"

namespace orv::tool {
namespace {

using test::ExpectDone;
using test::ExpectRuns;
using test::ProgramResult;
using testing::_;
using testing::HasSubstr;
using BitmapPointer = std::unique_ptr<Bitmap>;

const GraphicsSession graphics;

class PageCommand : public testing::Test {
 protected:
  static constexpr const char* kLabel = ORV_EXAMPLES "/label_page.png";

  std::string File(const std::string& name) const { return (folder_.path() / name).string(); }

  static BitmapPointer Load(const std::string& file) {
    Bitmap* page = nullptr;
    EXPECT_EQ(LoadPng(FromPath(file).c_str(), &page), Ok) << file;
    return BitmapPointer(page);
  }

  /// Writes a page whose pixels are grey, as light as they are said to be.
  void Write(const std::string& name, int size, const std::function<int(int, int)>& shadeAt) {
    Bitmap page(size, size, PixelFormat24bppRGB);
    {
      const LockedBits bits(&page, ImageLockModeWrite, PixelFormat24bppRGB);
      for (int y = 0; y < size; ++y) {
        std::uint8_t* row = static_cast<BYTE*>(bits.data()->Scan0) + y * bits.data()->Stride;
        for (int x = 0; x < size; ++x) std::fill_n(row + 3 * x, 3, shadeAt(x, y));
      }
    }
    ASSERT_EQ(SavePng(&page, FromPath(File(name)).c_str()), Ok);
  }

  test::TemporaryFolder folder_;
};

/// A pixel as 0xRRGGBB.
std::uint32_t PixelAt(const BitmapPointer& page, int x, int y) {
  const LockedBits bits(page.get(), ImageLockModeRead, PixelFormat24bppRGB);
  const std::uint8_t* pixel = bits.Row(static_cast<UINT>(y)) + 3 * x;
  return static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
}

TEST_F(PageCommand, SplitWritesThePlanesAndWhatTheyPrint) {
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

TEST_F(PageCommand, BoundsInPixelsAndMillimetres) {
  Bitmap white(3, 2, PixelFormat32bppARGB);  // transparent: white paper shows through
  ASSERT_EQ(SavePng(&white, FromPath(File("white.png")).c_str()), Ok);
  std::string bytes = test::ReadBytes(kLabel);
  constexpr std::size_t kBehindHeader = 33;
  const std::string resolution(
      "\x00\x00\x00\x09"
      "pHYs"
      "\x00\x00\x2e\x23\x00\x00\x2e\x23\x01\x78\xa5\x3f\x76",
      21);
  bytes.insert(kBehindHeader, resolution);
  test::WriteBytes(File("300.png"), bytes);
  ExpectRuns(
      {{{"page", "bounds", kLabel, "--dpi", "254"},
        kDone,
        "page     812 x 1218 pixels, 81.2 x 121.8 mm\n"
        "content  732 x 1120 pixels, 73.2 x 112.0 mm\n"
        "columns  40 to 771, 4.0 to 77.2 mm\n"
        "rows     50 to 1169, 5.0 to 117.0 mm\n"},
       {{"page", "bounds", File("300.png")}, kDone, HasSubstr("68.7 x 103.1 mm")},
       {{"page", "bounds", File("300.png"), "--dpi", "600"}, kDone, HasSubstr("34.4 x 51.6 mm")},
       {{"page", "bounds", File("white.png")}, kDone, HasSubstr("The page is white.\n")},
       {{"page", "bounds", File("white.png"), "--json"}, kDone, HasSubstr("\"content\": null")}});
}

TEST_F(PageCommand, MonoAndDitherWriteWhatTheLibraryMakes) {
  ExpectDone({"page", "mono", kLabel, File("mono.png")});
  ExpectDone(
      {"page", "dither", kLabel, File("dots.png"), "--method", "matrix8", "--colour", "0000FF"});
  // The same bytes come and go by the standard streams, and what there is to say beside them.
  const ProgramResult streamed =
      test::RunProgram(ORV_PROGRAM, {"page", "mono", "-", "-"}, test::ReadBytes(kLabel));
  EXPECT_EQ(streamed.output, test::ReadBytes(File("mono.png")));
  EXPECT_THAT(streamed.messages, HasSubstr("written  -\n"));
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

TEST_F(PageCommand, CompareSaysWhereAndWhetherTheInkDiffers) {
  Write("a.png", 3, [](int, int) { return 0; });
  Write("b.png", 3, [](int x, int y) { return x == 1 && y == 1 ? 7 : 0; });
  ExpectRuns({{{"page", "compare", kLabel, kLabel}, kDone, _},
              {{"page", "compare", kLabel, File("b.png")}, kFindings, _},
              {{"page", "compare", File("a.png"), File("b.png")},
               kFindings,
               HasSubstr("different  1 pixels, 11.11 %\n"
                         "ink        the same\n"
                         "columns    1 to 1, ")}});
}

TEST_F(PageCommand, ExplainCountsEveryPixelOnce) {
  ExpectRuns({{{"page", "explain", kLabel, "--colour", "E02020", "--tolerance", "0.35", "--picture",
                File("where.png")},
               kDone,
               testing::AllOf(HasSubstr("in the highlight       23881 pixels, 2.41 %\n"),
                              HasSubstr("0 to 0.07     22671"))}});
  const BitmapPointer where = Load(File("where.png"));
  EXPECT_EQ(PixelAt(where, 130, 140), 0xE02020u);  // the star
  EXPECT_EQ(PixelAt(where, 64, 1000), 0xFFFFFFu);
}

TEST_F(PageCommand, PreviewPrintsPlanesInTheirInksBesideRulers) {
  ExpectDone({"page", "split", kLabel, "--colour", "E02020", "--background", File("black.png"),
              "--highlight", File("red.png")});
  const BitmapPointer planes[] = {Load(File("black.png")), Load(File("red.png"))};
  ExpectRuns(
      {{{"page", "preview", File("black.png"), File("red.png"), "--ink", "000080", "--ink",
         "F0E020", "--dpi", "254", "--crop", "4,5,60,200px", "--zoom", "2", "-o", File("view.png")},
        kDone,
        HasSubstr("columns  40 to 639, 4.0 to 64.0 mm\nrows     50 to 249, 5.0 to 25.0 mm\n")}});
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
  // row and column lie at 4 and 5 mm.
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

TEST_F(PageCommand, CompareMethodsShowsWhatEachMethodMakes) {
  ExpectDone({"page", "compare-methods", kLabel, "--crop", "240px,640px,320px,100px", "--zoom", "1",
              "-o", File("methods.png")});
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
      ASSERT_EQ(PixelAt(picture, left + i % 320, top + i / 320),
                PixelAt(dithered, 240 + i % 320, 640 + i / 320))
          << method;
    }
  }
}

TEST_F(PageCommand, LegibilityMeasuresBarsSpecksAndTones) {
  // A bar of four columns, and a light grey in the last of four blocks; of the plane's bar a piece
  // is missing and a dot is white, a dot of ink stands alone, and the grey is lost.
  const auto isBar = [](int x) { return x >= 8 && x < 12; };
  Write("page.png", 32, [&](int x, int y) {
    return isBar(x) ? 0 : x >= 16 && y >= 16 ? 153 : 255;
  });
  Write("plane.png", 32, [&](int x, int y) {
    const bool isLost = (x == 11 && y < 8) || (x == 9 && y == 20);
    return (isBar(x) && !isLost) || (x == 24 && y == 4) ? 0 : 255;
  });
  ExpectRuns(
      {{{"page", "legibility", File("plane.png"), "--source", File("page.png"), "--dpi", "254"},
        kDone,
        "page      32 x 32 pixels, 3.2 x 3.2 mm\n"
        "bars      32 measured, off by 0.28 dots on average, by 1.0 at most\n"
        "spaces    none\n"
        "isolated  1 dots and 1 holes in 120 dots of ink\n"
        "tone      3 blocks, off by 14.51 % on average, by 40.0 % at most (at 1.6, 1.6 mm)\n"
        "marks     width 7.03, tone 14.51, specks 1.67: 21.70 in all, 0 is best\n"}});
}

TEST_F(PageCommand, RefusesWhatItCannotUseAndWritesAllFilesOrNone) {
  test::WriteBytes(folder_.path() / "text.png", "no picture");
  test::WriteBytes(folder_.path() / "cut.png", test::ReadBytes(kLabel).substr(0, 500));
  const std::string out = File("out.png");
  const std::pair<std::vector<std::string>, const char*> misuses[] = {
      {{"dither", kLabel, out, "--method", "foo"}, "foo"},
      {{"dither", kLabel, out, "--threshold", "256"}, "range 0 to 255"},
      {{"dither", kLabel, out, "--colour", "red"}, "not a colour"},
      {{"explain", kLabel}, "--colour"},
      {{"explain", kLabel, "--colour", "E02020", "--tolerance", "-1"}, "not a distance"},
      {{"explain", kLabel, "--colour", "E02020", "--tolerance", "nan"}, "not a distance"},
      {{"preview", kLabel, "-o", out, "--crop", "1,2,3"}, "four lengths"},
      {{"preview", kLabel, "-o", out, "--crop", "1,2,3,4,5"}, "four lengths"},
      {{"preview", kLabel, "-o", out, "--crop", "1,2,3,4cm"}, "four lengths"},
      {{"preview", kLabel, "-o", out, "--crop", "9in,0,1,1"}, "leaves nothing"},
      {{"preview", kLabel, "-o", out, "--ink", "000000", "--ink", "E02020"}, "more inks"},
      {{"legibility", kLabel}, "--source or --recommend"},
      {{"split", kLabel, "--colour", "E02020", "--background", out, "--highlight",
        File("./out.png")},
       "one file"}};
  for (auto [arguments, message] : misuses) {
    arguments.insert(arguments.begin(), "page");
    ExpectRuns({{arguments, kUsage, HasSubstr(message)}});
  }
  ExpectRuns({{{"page", "mono", File("missing.png"), out}, kUnreadable, HasSubstr("cannot read")},
              {{"page", "mono", File("text.png"), out}, kUnreadable, HasSubstr("is no PNG image")},
              {{"page", "mono", File("cut.png"), out}, kUnreadable, HasSubstr("is damaged")},
              {{"page", "split", kLabel, "--colour", "E02020", "--background", out, "--highlight",
                File("missing/red.png")},
               kUnreadable,
               testing::StartsWith("orv: cannot write")}});
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 2);
}

}  // namespace
}  // namespace orv::tool
