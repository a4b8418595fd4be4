/// Tests of what fits a page to a print head: screens, clusters, resampling and trapping.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <vector>

#include "orv/imaging/bitmap_helper.h"
#include "tests/fixtures.h"
#include "tools/orv/page/canvas.h"
#include "tools/orv/page/fit.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/min_dots.h"
#include "tools/orv/page/planes.h"
#include "tools/orv/page/screens.h"
#include "tools/orv/page/trap.h"

namespace orv::tool {
namespace {

const GraphicsSession graphics;
const Color kBlack(0xFF000000);
const Color kRed(0xFFE02020);

/// A page from the colours of its pixels, 0xRRGGBB.
PagePointer PageOf(int width, int height, const std::function<int(int x, int y)>& colourOf) {
  PagePointer page(BitmapHelper::CreateBitmap(width, height, PixelFormat24bppRGB));
  ForEachPixel(PagePixels(page.get()), [&](unsigned char* pixel, int x, int y) {
    for (int i = 0; i < 3; ++i) {
      pixel[i] = static_cast<unsigned char>(colourOf(x, y) >> 8 * i);
    }
  });
  return page;
}

PagePointer GreyPage(int width, int height, const std::function<int(int x, int y)>& greyOf) {
  return PageOf(width, height, [&](int x, int y) { return greyOf(x, y) * 0x010101; });
}

using Rows = std::vector<std::vector<int>>;

/// The pixels of a page, 0xRRGGBB.
Rows RowsOf(const PagePointer& page) {
  Rows rows(page->GetHeight(), std::vector<int>(page->GetWidth()));
  ForEachPixel(PagePixels(page.get()), [&](const unsigned char* pixel, int x, int y) {
    rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] =
        pixel[2] << 16 | pixel[1] << 8 | pixel[0];
  });
  return rows;
}

/// The sizes of the clusters of ink; `wraps` if the rows repeat in both directions.
std::vector<int> ClusterSizes(Rows rows, bool wraps = false) {
  const int height = static_cast<int>(rows.size());
  const int width = static_cast<int>(rows[0].size());
  std::vector<int> sizes;
  const std::function<int(int, int)> fill = [&](int x, int y) {
    if (wraps) {
      x = (x + width) % width;
      y = (y + height) % height;
    }
    if (x < 0 || y < 0 || x >= width || y >= height) return 0;
    int& dot = rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)];
    if (dot == 0xFFFFFF) return 0;
    dot = 0xFFFFFF;
    int size = 1;
    for (int i = 0; i < 9; ++i) size += fill(x + i % 3 - 1, y + i / 3 - 1);
    return size;
  };
  for (int i = 0; i < width * height; ++i) {
    if (const int size = fill(i % width, i / width); size > 0) sizes.push_back(size);
  }
  return sizes;
}

TEST(Halftone, KeepsEveryTone) {
  for (const std::string method : {"serpentine", "blue-noise", "clustered"}) {
    DitherOptions options;
    options.name = method;
    for (const int grey : {0, 1, 16, 64, 128, 191, 254, 255}) {
      const PagePointer page = GreyPage(128, 128, [&](int, int) { return grey; });
      const PagePointer dots = Dithered(page.get(), options, kRed);
      const double ink = static_cast<double>(CountInk(dots.get())) / (128 * 128);
      EXPECT_NEAR(ink, (255 - grey) / 255.0, method == "clustered" ? 1 / 128.0 : 0.005)
          << method << grey;
    }
  }
}

TEST(Halftone, SerpentineTurnsAfterEveryRow) {
  const auto grey = [](int x) { return 3 * x; };
  const PagePointer forward = GreyPage(80, 2, [&](int x, int y) { return y == 0 ? grey(x) : 255; });
  const PagePointer backward =
      GreyPage(80, 2, [&](int x, int y) { return y == 1 ? grey(79 - x) : 255; });
  DitherOptions options;
  options.name = "serpentine";
  std::vector<int> row = RowsOf(Dithered(forward.get(), options, kBlack))[0];
  std::reverse(row.begin(), row.end());
  EXPECT_EQ(RowsOf(Dithered(backward.get(), options, kBlack))[1], row);
}

TEST(Screens, BlueNoiseIsTheSameEverywhereAndKeepsDotsApart) {
  const Screen& screen = BlueNoiseScreen();
  std::uint32_t hash = 0;
  for (const std::uint8_t threshold : screen.thresholds) hash = hash * 31 + threshold;
  EXPECT_EQ(hash, 1162623138u);
  // One dot in 16: random places would leave half of the dots with a neighbour.
  const PagePointer page = GreyPage(64, 64, [](int, int) { return 239; });
  DitherOptions options;
  options.name = "blue-noise";
  EXPECT_THAT(ClusterSizes(RowsOf(Dithered(page.get(), options, kBlack)), true), testing::Each(1));
}

TEST(Screens, ClusteredGrowsTwoSpots) {
  DitherOptions options;
  options.name = "clustered";
  for (int grey = 160; grey < 250; ++grey) {
    const PagePointer page = GreyPage(8, 8, [&](int, int) { return grey; });
    EXPECT_EQ(ClusterSizes(RowsOf(Dithered(page.get(), options, kBlack)), true).size(), 2u) << grey;
  }
}

TEST(Halftone, CorrectsTones) {
  struct Row {
    double gamma;
    int dotGain;
    int grey;
    double ink;  // before it grows
  };
  // 0.3 of ink grows by 4 * 0.2 * 0.3 * 0.7 = 0.168.
  constexpr Row kRows[] = {
      {1, 20, 135, 0.3}, {1, 20, 0, 1}, {2, 0, 64, 0.5}, {0.5, 0, 180, 0.5}, {2, 0, 255, 0}};
  for (const auto& [gamma, dotGain, grey, ink] : kRows) {
    DitherOptions options;
    options.gamma = gamma;
    options.dotGain = dotGain;
    const PagePointer page = GreyPage(128, 128, [grey = grey](int, int) { return grey; });
    const PagePointer dots = Dithered(page.get(), options, kBlack);
    EXPECT_NEAR(static_cast<double>(CountInk(dots.get())) / (128 * 128), ink, 0.005) << grey;
  }
}

TEST(MinDots, LeavesLargeClustersAndTheAmountOfInk) {
  const PagePointer page = GreyPage(200, 120, [](int x, int y) { return 255 - x * y / 200; });
  for (int minDots = 2; minDots <= 9; ++minDots) {
    const PagePointer dots = Dithered(page.get(), DitherOptions(), kRed);
    const std::int64_t before = CountInk(dots.get());
    RemoveSmallClusters(PagePixels(dots.get()), minDots, {0x20, 0x20, 0xE0});
    EXPECT_NEAR(static_cast<double>(CountInk(dots.get())), static_cast<double>(before), 200)
        << minDots;
    const Rows rows = RowsOf(dots);
    EXPECT_THAT(ClusterSizes(rows), testing::Each(testing::Ge(minDots)));
    std::set<int> colours;
    for (const std::vector<int>& row : rows) colours.insert(row.begin(), row.end());
    EXPECT_THAT(colours, testing::ElementsAre(0xE02020, 0xFFFFFF));
  }
}

TEST(MinDots, SplitKeepsFullStopsAndTheHighlight) {
  // Stripes of red and of a pale grey, and a black full stop.
  const PagePointer page = PageOf(96, 96, [](int x, int y) {
    if (y >= 72) return x / 2 == 20 && y / 2 == 42 ? 0 : 0xFFFFFF;
    return x % 6 < 3 ? 0xE02020 : 0xC0C0C0;
  });
  for (const std::string method : {"mixed", "blue-noise"}) {
    DitherOptions options;
    options.name = method;
    options.minDots = 5;
    const Rows black = RowsOf(SplitPage(page.get(), kRed, 0.1, options).background);
    for (std::size_t x = 0; x < 96; ++x) {
      for (std::size_t y = 0; y < 72; ++y) {
        if (x % 6 < 3) {
          ASSERT_EQ(black[y][x], 0xFFFFFF) << method << x << ' ' << y;
        }
      }
    }
    // 4 dots are too few unless they are text.
    const Rows whole = RowsOf(page);
    if (method == "mixed") {
      EXPECT_TRUE(std::equal(whole.begin() + 80, whole.end(), black.begin() + 80));
    }
  }
}

TEST(Resampling, AveragesAreas) {
  const PagePointer page = GreyPage(3, 2, [](int x, int y) { return 100 * x + 10 * y; });
  EXPECT_EQ(RowsOf(Resampled(page.get(), 3, 2)), RowsOf(page));
  EXPECT_EQ(RowsOf(Resampled(page.get(), 1, 1)), Rows{{0x696969}});
  // Each covers one pixel and half of the middle one.
  EXPECT_EQ(RowsOf(Resampled(page.get(), 2, 1)), Rows({{0x262626, 0xACACAC}}));
  EXPECT_EQ(RowsOf(Resampled(page.get(), 6, 2))[1],
            std::vector<int>({0x0A0A0A, 0x0A0A0A, 0x6E6E6E, 0x6E6E6E, 0xD2D2D2, 0xD2D2D2}));
}

TEST(Trapping, SpreadsTheHighlightUnderBlackOnly) {
  // A black frame in a red area with a paler middle.
  const PagePointer page = PageOf(40, 40, [](int x, int y) {
    const int ring = std::max(std::abs(x - 20), std::abs(y - 20));
    return ring > 17 ? 0xFFFFFF : ring > 8 && ring < 14 ? 0 : ring <= 8 ? 0xF09090 : 0xE02020;
  });
  DitherOptions options;
  options.name = "matrix8";
  const Planes plain = SplitPage(page.get(), kRed, 0.4, options);
  const Planes trapped = SplitPage(page.get(), kRed, 0.4, options, 2);
  const Rows black = RowsOf(plain.background);
  EXPECT_EQ(RowsOf(trapped.background), black);
  const Rows before = RowsOf(plain.highlight);
  const Rows after = RowsOf(trapped.highlight);
  int added = 0;
  for (std::size_t y = 0; y < 40; ++y) {
    for (std::size_t x = 0; x < 40; ++x) {
      if (before[y][x] == after[y][x]) continue;
      ++added;
      const int ring =
          std::max(std::abs(static_cast<int>(x) - 20), std::abs(static_cast<int>(y) - 20));
      EXPECT_TRUE(ring == 9 || ring == 10 || ring == 12 || ring == 13) << x << ' ' << y;
      EXPECT_EQ(black[y][x], 0);
    }
  }
  EXPECT_GT(added, 250);
}

TEST(Trapping, SpreadsAlongTheEdgesOfThePage) {
  const PagePointer black = GreyPage(5, 5, [](int, int) { return 0; });
  for (const int dot : {0, 1, 4}) {
    const auto at = [dot](int reach) {
      return GreyPage(5, 5, [dot, reach](int x, int y) {
        return std::max(std::abs(x - dot), std::abs(y - dot)) <= reach ? 90 : 255;
      });
    };
    const PagePointer highlight = at(0);
    SpreadUnder(PagePixels(highlight.get()), PagePixels(black.get()), 1);
    EXPECT_EQ(RowsOf(highlight), RowsOf(at(1))) << dot;
  }
}

TEST(Trapping, FindsGapsAndOverlaps) {
  struct Row {
    const char* inks;  // b black, r red, x both
    std::int64_t gaps;
    std::int64_t touching;
    std::int64_t overlaps;
    int maxDots;
    int minOverlap;
  };
  constexpr Row kRows[] = {
      {"bbbrrr", 0, 1, 0, 0, 0},
      {"bbb rrr", 1, 0, 0, 1, 0},
      {"rrr                bbb", 1, 0, 0, 16, 0},
      {"bbbxxrrrr xxrr", 0, 0, 1, 2, 2},
      {"bbbxrrrxxxbbb", 0, 0, 2, 3, 1},
      {"bbrrr", 0, 0, 0, 0, 0},
      {"bbb bbb rr  bbb", 0, 0, 0, 0, 0},
      {"bbbrrrrrbbb", 0, 2, 0, 0, 0},
      {"rrrxxbbb  rrr", 1, 0, 1, 2, 2},
      {"bbbx                rrr", 0, 0, 0, 0, 0},
  };
  for (const auto& [text, gaps, touching, overlaps, maxDots, minOverlap] : kRows) {
    const std::string inks = text;
    for (const bool isColumn : {false, true}) {
      const auto plane = [&](char one, int colour) {
        const int count = static_cast<int>(inks.size());
        return PageOf(isColumn ? 1 : count, isColumn ? count : 1, [&](int x, int y) {
          const char ink = inks[static_cast<std::size_t>(x + y)];
          return ink == one || ink == 'x' ? colour : 0xFFFFFF;
        });
      };
      const PagePointer black = plane('b', 0);
      const PagePointer red = plane('r', 0xE02020);
      const PlaneEdges edges = FindEdges(PagePixels(black.get()), PagePixels(red.get()));
      EXPECT_EQ(edges.gaps, gaps) << text;
      EXPECT_EQ(edges.touching, touching) << text;
      EXPECT_EQ(edges.overlaps, overlaps) << text;
      EXPECT_EQ(std::max(edges.maxGap, edges.maxOverlap), maxDots) << text;
      EXPECT_EQ(edges.minOverlap, minOverlap) << text;
    }
  }
}

TEST(PageCanvas, WritesTextOverThePage) {
  Canvas canvas(10, 9, {255, 255, 255});
  canvas.Text(-2, 1, "7l", 1, {0, 0, 0});  // begins outside
  const Rows rows = RowsOf(canvas.Take());
  const char* const lines[] = {"          ", "### #     ", "  # #     ", " #  #     ", "#   #     ",
                               "#   #     ", "    #     ", "    ##### ", "          "};
  for (std::size_t y = 0; y < rows.size(); ++y) {
    for (std::size_t x = 0; x < rows[y].size(); ++x) {
      EXPECT_EQ(rows[y][x], lines[y][x] == '#' ? 0 : 0xFFFFFF) << x << ' ' << y;
    }
  }
}

TEST(PageCanvas, MixesAPlaneWithAPage) {
  const PagePointer page = PageOf(3, 1, [](int, int) { return 0x64C8FF; });
  const PagePointer plane = PageOf(3, 1, [](int x, int) { return x == 1 ? 0x96320A : 0xFFFFFF; });
  Canvas view = DrawView(page.get(), plane.get(), {1, 0, 2, 1}, 2, {203, 203}, true);
  const std::vector<int> row = {0x64320A, 0x64320A, 0x64C8FF, 0x64C8FF};
  EXPECT_EQ(RowsOf(view.Take()), (Rows{row, row}));
}

}  // namespace
}  // namespace orv::tool
