#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "imaging/highlight.h"
#include "imaging/kernels.h"
#include "orv/imaging/color_extensions.h"
#include "tests/guarded.h"

/// Every instruction set against the plain loops: identical bits, and no change outside the pixels,
/// which are at the edge of inaccessible memory.

namespace orv {
namespace {

using test::Edge;
using test::Guarded;

/// Pixels with rows of any stride, at an edge of guarded memory.
class Page {
 public:
  Page(int width, int height, int gap, Edge edge = Edge::kEnd)
      : width_(width),
        height_(height),
        stride_(3 * width + gap),
        bytes_(static_cast<std::size_t>(stride_ * height - gap), edge) {
    std::fill_n(bytes_.data(), bytes_.size(), Guarded<std::uint8_t>::kAround);
  }
  Page(const Page& other, Edge edge)
      : Page(other.width_, other.height_, other.stride_ - 3 * other.width_, edge) {
    std::copy_n(other.bytes_.data(), bytes_.size(), bytes_.data());
  }

  PixelPlane Plane() { return {bytes_.data(), stride_, width_, height_}; }
  bool operator==(const Page& other) const {
    return std::equal(bytes_.data(), bytes_.data() + bytes_.size(), other.bytes_.data()) &&
           bytes_.IsUntouchedAround() && other.bytes_.IsUntouchedAround();
  }

  void Fill(const std::function<std::uint32_t(int, int)>& colourAt) {
    for (int y = 0; y < height_; ++y) {
      std::uint8_t* pixel = Plane().Row(y);
      for (int x = 0; x < width_; ++x, pixel += 3) {
        const std::uint32_t colour = colourAt(x, y);
        for (int i = 0; i < 3; ++i) pixel[i] = static_cast<std::uint8_t>(colour >> 8 * i);
      }
    }
  }

 private:
  int width_;
  int height_;
  int stride_;
  Guarded<std::uint8_t> bytes_;
};

struct Picture {
  const char* name;
  std::function<std::uint32_t(std::mt19937&, int, int)> colourAt;
};

/// Noise of all colours; black and white, with one channel off by one; runs of white with text-like
/// strokes; only black and white; white into which errors of greys above and beside flow;
/// gradients; flat greys; colours close to the highlight colour of the tests.
const std::vector<Picture>& Pictures() {
  static const std::vector<Picture> pictures = {
      {"noise", [](std::mt19937& random, int, int) { return random() & 0xFFFFFFu; }},
      {"dark and light",
       [](std::mt19937& random, int, int) {
         const std::uint32_t one = 1u << random() % 3 * 8;
         return random() % 2 != 0 ? 0xFFFFFFu - one : one;
       }},
      {"strokes",
       [](std::mt19937& random, int x, int y) {
         return x / 9 % 4 == 0 && y % 5 != 0 ? (random() % 8 == 0 ? 0xE01010u : 0u) : 0xFFFFFFu;
       }},
      {"black and white", [](std::mt19937&, int x,
                             int y) { return (x / 13 * 5 + y / 7 * 3) % 4 == 0 ? 0u : 0xFFFFFFu; }},
      {"white beside greys",
       [](std::mt19937& random, int x, int y) {
         return y < 3 || x < 5 ? random() % 256 * 0x010101u : 0xFFFFFFu;
       }},
      {"ramp",
       [](std::mt19937&, int x, int y) {
         return static_cast<std::uint32_t>((x * 3 + y) & 255) << 16 | ((x + y * 2) & 255) << 8 |
                ((255 - x) & 255);
       }},
      {"flat", [](std::mt19937&, int, int) { return 0x808080u; }},
      {"black", [](std::mt19937&, int, int) { return 0u; }},
      {"near the highlight",
       [](std::mt19937& random, int, int) {
         return 0xC02020u + random() % 64 * 0x10000u + random() % 64 * 0x100u + random() % 64;
       }},
  };
  return pictures;
}

constexpr int kHeights[] = {1, 2, 15, 16, 17, 33, 70};
constexpr Ink kInk = {10, 200, 30};

class Kernels : public testing::TestWithParam<CpuLevel> {
 protected:
  void SetUp() override {
    if (GetParam() > SupportedCpuLevel()) GTEST_SKIP() << "not on this processor";
  }

  const ImagingKernels& Tested() const { return ImagingKernelsFor(GetParam()); }

  using Work = std::function<void(const ImagingKernels&, const PixelPlane&)>;

  /// Runs the work with the tested and the plain loops on equal pages of one size.
  void ExpectSame(const Picture& picture, int width, int height, int gap, const Work& work) {
    std::mt19937 random(static_cast<unsigned>(width * 1000 + height));
    Page expected(width, height, gap);
    expected.Fill([&](int x, int y) { return picture.colourAt(random, x, y); });
    Page atBegin(expected, Edge::kBegin);
    Page atEnd(expected, Edge::kEnd);
    work(kPlainKernels, expected.Plane());
    for (Page* const actual : {&atBegin, &atEnd}) {
      work(Tested(), actual->Plane());
      ASSERT_TRUE(expected == *actual)
          << picture.name << ' ' << width << " x " << height << " gap " << gap;
    }
  }

  /// The same for every width up to 130 (every picture, with some height each) and a few wide
  /// pages.
  void ExpectSameEverywhere(const Work& work) {
    std::size_t turn = 0;
    for (int width = 0; width <= 130; ++width) {
      for (const Picture& picture : Pictures()) {
        const int height = kHeights[turn % std::size(kHeights)];
        const int gap = static_cast<int>(turn % 6);
        ++turn;
        ASSERT_NO_FATAL_FAILURE(ExpectSame(picture, width, height, gap, work));
      }
    }
    for (const Picture& picture : Pictures()) {
      ASSERT_NO_FATAL_FAILURE(ExpectSame(picture, 1000, 40, 0, work));
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Levels, Kernels, testing::Values(CpuLevel::kSse41, CpuLevel::kAvx2),
                         [](const auto& level) {
                           return level.param == CpuLevel::kAvx2 ? "Avx2" : "Sse41";
                         });

using Diffusion = bool (*ImagingKernels::*)(const PixelPlane&, int, Ink, DiffusionErrors*);

/// Diffuses errors in bands, except with the plain loops, with which the others are compared.
bool Diffuse(const ImagingKernels& kernels, Diffusion method, const PixelPlane& plane,
             int threshold) {
  const int rows = &kernels == &kPlainKernels ? plane.height : kBandRows;
  DiffusionErrors errors;
  bool isDone = true;
  for (int y = 0; y < plane.height; y += rows) {
    isDone = (kernels.*method)(plane.Band(y, rows), threshold, kInk, &errors) && isDone;
  }
  return isDone;
}

/// Extracts the highlight in bands.
void Extract(const ImagingKernels& kernels, const HighlightRule& rule, const PixelPlane& plane) {
  HighlightLimits limits;
  for (int y = 0; y < plane.height; y += kBandRows) {
    kernels.extractHighlight(plane.Band(y, kBandRows), rule, &limits);
  }
}

TEST_P(Kernels, DiffuseErrorsIdentically) {
  for (const Diffusion method : {&ImagingKernels::floydSteinberg, &ImagingKernels::sierraLite}) {
    ExpectSameEverywhere([&](const ImagingKernels& kernels, const PixelPlane& plane) {
      EXPECT_TRUE(Diffuse(kernels, method, plane, 128));
    });
  }
}

TEST_P(Kernels, DiffuseErrorsIdenticallyAtEveryThreshold) {
  const int thresholds[] = {INT_MIN, -100000, -1501, -1500, -700,  -1,      0,      1,   2,
                            64,      127,     129,   245,   254,   255,     256,    257, 300,
                            900,     1700,    1701,  5000,  30000, 1000000, INT_MAX};
  for (const Diffusion method : {&ImagingKernels::floydSteinberg, &ImagingKernels::sierraLite}) {
    for (const int threshold : thresholds) {
      for (const Picture& picture : Pictures()) {
        const auto work = [&](const ImagingKernels& kernels, const PixelPlane& plane) {
          EXPECT_TRUE(Diffuse(kernels, method, plane, threshold));
        };
        ASSERT_NO_FATAL_FAILURE(ExpectSame(picture, 101, 75, 1, work)) << threshold;
      }
    }
  }
}

TEST_P(Kernels, DiffuseErrorsOverWhiteIdentically) {
  // Thresholds at which a few of the white pixels turn black.
  const Picture white = {"white", [](std::mt19937&, int, int) { return 0xFFFFFFu; }};
  for (const Diffusion method : {&ImagingKernels::floydSteinberg, &ImagingKernels::sierraLite}) {
    for (const int threshold : {256, 257, 300}) {
      ExpectSame(white, 500, 33, 0, [&](const ImagingKernels& kernels, const PixelPlane& plane) {
        EXPECT_TRUE(Diffuse(kernels, method, plane, threshold));
      });
    }
  }
}

TEST_P(Kernels, DiffuseVeryWideRowsIdentically) {
  for (const int width : {32000, 32001}) {
    ExpectSame(Pictures()[0], width, 35, 0, [](const auto& kernels, const PixelPlane& plane) {
      EXPECT_TRUE(Diffuse(kernels, &ImagingKernels::floydSteinberg, plane, 100));
    });
  }
}

TEST_P(Kernels, DitherWithMatricesIdentically) {
  for (const int size : {4, 8, 16}) {
    std::vector<std::uint8_t> entries(static_cast<std::size_t>(size * size));
    std::mt19937 random(7);
    for (std::uint8_t& entry : entries) entry = static_cast<std::uint8_t>(random());
    entries[0] = 0;
    entries[1] = 255;
    const OrderedMatrix matrix = {size, entries.data()};
    ExpectSameEverywhere([&](const ImagingKernels& kernels, const PixelPlane& plane) {
      kernels.ordered(plane, matrix, kInk);
    });
  }
}

TEST_P(Kernels, DitherEveryGreyWithAMatrixIdentically) {
  // All 256 greys, and for each the colours one thousandth below and above.
  const std::uint8_t entries[16] = {0,   1,   2,   63,  64,  65,  127, 128,
                                    129, 200, 201, 250, 252, 253, 254, 255};
  const OrderedMatrix matrix = {4, entries};
  const Picture picture = {"greys", [](std::mt19937& random, int x, int) {
                             const unsigned grey = static_cast<unsigned>(x) % 256;
                             return (grey * 0x010101u + random() % 3 - 1) & 0xFFFFFFu;
                           }};
  ExpectSame(picture, 2048, 16, 0, [&](const ImagingKernels& kernels, const PixelPlane& plane) {
    kernels.ordered(plane, matrix, kInk);
  });
}

TEST_P(Kernels, ReduceToOneBitIdentically) {
  ExpectSameEverywhere([&](const ImagingKernels& kernels, const PixelPlane& plane) {
    // The result replaces the page's own bytes, so that the comparison includes it and the bytes
    // around it.
    const int size = (plane.width + 7) / 8;
    for (const Edge edge : test::kEdges) {
      const Guarded<std::uint8_t> bits(static_cast<std::size_t>(size * plane.height), edge);
      kernels.monochrome(plane, bits.data(), size);
      EXPECT_TRUE(bits.IsUntouchedAround());
      if (edge == Edge::kBegin) continue;
      for (int y = 0; y < plane.height; ++y) {
        std::fill_n(plane.Row(y), 3 * plane.width, std::uint8_t{0});
        std::copy_n(bits.data() + y * size, size, plane.Row(y));
      }
    }
  });
}

TEST_P(Kernels, WriteEachGreyThreeTimes) {
  std::mt19937 random;
  for (std::size_t count = 0; count <= 130; ++count) {
    for (const Edge edge : test::kEdges) {
      const Guarded<std::uint8_t> greys(count, edge);
      std::vector<std::uint8_t> expected;
      for (std::size_t i = 0; i < count; ++i) {
        greys.data()[i] = static_cast<std::uint8_t>(random());
        expected.insert(expected.end(), 3, greys.data()[i]);
      }
      for (const ImagingKernels* const kernels : {&kPlainKernels, &Tested()}) {
        const Guarded<std::uint8_t> pixels(3 * count, edge);
        kernels->greyPixels(greys.data(), static_cast<int>(count), pixels.data());
        EXPECT_TRUE(pixels.IsUntouchedAround());
        EXPECT_TRUE(std::ranges::equal(expected, std::span(pixels.data(), pixels.size())));
      }
    }
  }
}

TEST_P(Kernels, ExtractTheHighlightIdentically) {
  const HighlightRule rules[] = {{0xFFE03030, 0.05}, {0xFF0000FF, 0.3},         {0xFFE03030, 0},
                                 {0xFFFFFFFF, 1.0},  {0xFF808080, -0.1},        {0xFF00FF00, 1e300},
                                 {0xFF000000, 0.02}, {0xFFE03030, std::nan("")}};
  for (const HighlightRule& rule : rules) {
    const auto work = [&](const ImagingKernels& kernels, const PixelPlane& plane) {
      Extract(kernels, rule, plane);
    };
    for (int width = 0; width <= 130; ++width) {
      const Picture& picture = Pictures()[static_cast<std::size_t>(width) % Pictures().size()];
      ASSERT_NO_FATAL_FAILURE(ExpectSame(picture, width, 3, width % 4, work))
          << std::hex << rule.colour;
    }
  }
}

TEST_P(Kernels, DecideColoursAtTheToleranceIdentically) {
  // If the tolerance is exactly the distance of a colour, that colour is in and the next farther
  // one is out, whatever the rounding of a faster distance.
  const Color highlight(0xFFD01818);
  std::mt19937 random(3);
  for (int i = 0; i < 40; ++i) {
    const std::uint32_t colour = random() & 0xFFFFFF;
    const double distance =
        ColorExtensions::CalculateToleranceCIE76(Color(0xFF000000 | colour), highlight);
    for (const double tolerance : {distance, std::nextafter(distance, 0.0)}) {
      Page page(64, 1, 0);
      page.Fill([&](int x, int) { return x % 2 == 0 ? colour : random() & 0xFFFFFF; });
      Page expected(page, Edge::kBegin);
      Extract(Tested(), {highlight.GetValue(), tolerance}, page.Plane());
      Extract(kPlainKernels, {highlight.GetValue(), tolerance}, expected.Plane());
      ASSERT_TRUE(page == expected) << std::hex << colour;
    }
  }
}

TEST_P(Kernels, DecideNearAndFarColoursIdentically) {
  // Colours around many highlight colours, at distances far below to far above the tolerance.
  std::mt19937 random(5);
  for (int i = 0; i < 60; ++i) {
    // Some are the darkest colour of a slice that the search for the channels' limits cuts off.
    constexpr std::uint32_t kChannels[] = {0xFFFFFF, 0xF80000, 0xFFFFFF, 0x00F800};
    const std::uint32_t highlight = random() & kChannels[i % 4];
    const HighlightRule rule = {0xFF000000 | highlight, std::pow(10.0, i % 12 / 2.0 - 5)};
    const auto colourAt = [&](std::mt19937& noise, int x, int) -> std::uint32_t {
      if (x % 2 == 0) return noise() & 0xFFFFFF;
      const int reach = 2 << x / 2 % 7;
      std::uint32_t colour = 0;
      for (int shift = 0; shift < 24; shift += 8) {
        const int channel = static_cast<int>(highlight >> shift & 255) - reach +
                            static_cast<int>(noise() % static_cast<unsigned>(2 * reach + 1));
        colour |= static_cast<std::uint32_t>(std::clamp(channel, 0, 255)) << shift;
      }
      return colour;
    };
    ASSERT_NO_FATAL_FAILURE(ExpectSame({"around", colourAt}, 128, 24, 0,
                                       [&](const ImagingKernels& kernels, const PixelPlane& plane) {
                                         Extract(kernels, rule, plane);
                                       }))
        << std::hex << highlight << ' ' << rule.tolerance;
  }
}

TEST_P(Kernels, WhitenIdentically) {
  ExpectSameEverywhere([](const ImagingKernels& kernels, const PixelPlane& plane) {
    Page mask(plane.width, plane.height, static_cast<int>(plane.stride) - 3 * plane.width,
              plane.width % 2 == 0 ? Edge::kBegin : Edge::kEnd);
    mask.Fill([](int x, int y) {
      constexpr std::uint32_t kColours[] = {0xFFFFFF, 0xFEFFFF, 0xFFFEFF, 0xFFFFFE, 0};
      return x / 40 % 2 != 0 ? 0xFFFFFFu : kColours[(x + y) % 5];
    });
    kernels.whiten(plane, mask.Plane());
  });
}

TEST_P(Kernels, FindContentIdentically) {
  // One or two dots on white, or none, at every column of every width; padding bits are ink.
  std::mt19937 random(9);
  // The widest pages have several strips after the first.
  std::vector<int> widths = {1015, 1100, 2047, 2400};
  for (int width = 0; width <= 300; ++width) widths.push_back(width);
  for (const int width : widths) {
    const int rowBytes = (width + 7) / 8;
    const int stride = rowBytes + width % 4;
    for (int dots = 0; dots < 12; ++dots) {
      constexpr int kHeight = 21;
      const Guarded<std::uint8_t> guarded(
          static_cast<std::size_t>(stride * (kHeight - 1) + rowBytes),
          dots % 2 == 0 ? Edge::kBegin : Edge::kEnd);
      std::uint8_t* const bits = guarded.data();
      std::fill_n(bits, guarded.size(), std::uint8_t{0});
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < width; ++x) bits[y * stride + x / 8] |= 0x80 >> x % 8;
      }
      for (int i = 0; i < dots % 3 && width > 0; ++i) {
        const int x = static_cast<int>(random() % static_cast<unsigned>(width));
        bits[random() % kHeight * static_cast<unsigned>(stride) + x / 8] &=
            static_cast<std::uint8_t>(~(0x80 >> x % 8));
      }
      const BitPlane plane = {bits, stride, width, kHeight};
      using Search = int (*ImagingKernels::*)(const BitPlane&);
      for (const Search search :
           {&ImagingKernels::firstInkRow, &ImagingKernels::lastInkRow,
            &ImagingKernels::firstInkColumn, &ImagingKernels::lastInkColumn}) {
        const int found = (Tested().*search)(plane);
        ASSERT_EQ(found, width > 0 ? (kPlainKernels.*search)(plane) : -1) << width;
      }
    }
  }
}

}  // namespace
}  // namespace orv
