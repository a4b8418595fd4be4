/// Tests of the memory of pages that are made one after another.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <span>
#include <thread>
#include <vector>

#include "orv/imaging/bitmap_helper.h"

namespace orv {
namespace {

#if !defined(ORV_SANITIZED)
long PageFaults() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

void SplitAndDelete(Bitmap* page) {
  Color red(0xFFE02020);
  Bitmap* background = nullptr;
  Bitmap* highlight = nullptr;
  ASSERT_EQ(BitmapHelper::SplitImage(page, red, 0.2, eBitmapDithererFloydSteinberg, 128,
                                     &background, &highlight),
            1);
  BitmapHelper::DeleteBitmap(background);
  BitmapHelper::DeleteBitmap(highlight);
}

TEST(PageMemory, PagesAfterTheSecondOneCostNoPageFaults) {
  // Labels of 100 x 150 mm at 203, 300 and 600 dpi.
  constexpr std::array<int, 2> kSizes[] = {{812, 1218}, {1200, 1800}, {2400, 3600}};
  for (const auto& [width, height] : kSizes) {
    Bitmap page(width, height, PixelFormat24bppRGB);
    for (int i = 0; i < 2; ++i) SplitAndDelete(&page);
    const long before = PageFaults();
    for (int i = 0; i < 3; ++i) SplitAndDelete(&page);
    EXPECT_LT(PageFaults() - before, 20) << width;  // the system may reclaim single memory pages
  }
}
#endif

/// Whether each byte has a value: the first has it, and each is equal to the next.
bool IsAll(std::span<const unsigned char> bytes, std::size_t value) {
  return bytes.front() == value && std::memcmp(&bytes[0], &bytes[1], bytes.size() - 1) == 0;
}

TEST(PageMemory, NewBitmapsAreZeroAndTheirOwn) {
  const auto work = [] {
    for (int i = 0; i < 200; ++i) {
      const int height = 300 + i % 3;
      std::array<std::unique_ptr<Bitmap>, 5> bitmaps;
      std::array<std::span<unsigned char>, 5> pixels;
      for (std::size_t n = 0; n < bitmaps.size(); ++n) {
        bitmaps[n] = std::make_unique<Bitmap>(100, height, PixelFormat24bppRGB);
        BitmapData data;
        bitmaps[n]->LockBits(nullptr, ImageLockModeWrite, PixelFormat24bppRGB, &data);
        pixels[n] = {static_cast<unsigned char*>(data.Scan0),
                     static_cast<std::size_t>(data.Stride * height)};
        ASSERT_TRUE(IsAll(pixels[n], 0));
        std::memset(pixels[n].data(), static_cast<int>(n + 1), pixels[n].size());
      }
      for (std::size_t n = 0; n < bitmaps.size(); ++n) ASSERT_TRUE(IsAll(pixels[n], n + 1));
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace orv
