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

  ProgramResult Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "page");
    return test::RunProgram(ORV_PROGRAM, arguments);
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
      {{"dither", kLabel, File("out.png"), "--colour", "red"}, kUsage, "not a colour"},
      {{"explain", kLabel}, kUsage, "--colour"},
      {{"split", kLabel, "--colour", "E02020", "--tolerance", "-1", "--background", "a",
        "--highlight", "b"},
       kUsage,
       "not a distance"},
      {{"explain", kLabel, "--colour", "E02020", "--tolerance", "nan"}, kUsage, "not a distance"},
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
