#include "tools/orv/page/pale.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "tools/orv/page/pixels.h"

namespace orv::tool {
namespace {

bool IsAtLeast(const unsigned char* pixel, int level) {
  return pixel[0] >= level && pixel[1] >= level && pixel[2] >= level;
}

/// Eight channels.
inline std::uint64_t WordAt(const unsigned char* channels) {
  std::uint64_t word;
  std::memcpy(&word, channels, sizeof word);
  return word;
}

constexpr std::uint64_t kOnes = 0x0101010101010101;

/// A word with the highest bit of each byte that is at least `kPale`; other bits are undefined.
inline std::uint64_t PaleBytes(std::uint64_t word) {
  // The sum sets the highest bit of a byte whose other bits are at least those of kPale.
  return ((word & 0x7F * kOnes) + (0x100 - kPale) * kOnes) & word;
}

/// Whether none of eight pixels can be pale: all are white, or no channel is.
inline bool IsPlain(const unsigned char* eight) {
  const std::uint64_t first = WordAt(eight);
  const std::uint64_t second = WordAt(eight + 8);
  const std::uint64_t third = WordAt(eight + 16);
  if ((first & second & third) == ~std::uint64_t{0}) return true;
  return ((PaleBytes(first) | PaleBytes(second) | PaleBytes(third)) & 0x80 * kOnes) == 0;
}

/// Calls `work` with the positions of all pixels that are almost white.
template <typename Work>
void ForEachPale(const PagePixels& pixels, const Work& work) {
  constexpr int kBlock = 8;
  const int width = pixels.width();
  for (int y = 0; y < pixels.height(); ++y) {
    const unsigned char* pixel = pixels.Row(y);
    for (int x = 0; x < width;) {
      if (x + kBlock <= width && IsPlain(pixel)) {
        x += kBlock;
        pixel += 3 * kBlock;
        continue;
      }
      for (const int end = std::min(x + kBlock, width); x < end; ++x, pixel += 3) {
        if (IsAtLeast(pixel, kPale) && !IsWhite(pixel)) work(x, y);
      }
    }
  }
}

}  // namespace

std::int64_t CountPale(Bitmap* page) {
  std::int64_t count = 0;
  ForEachPale(PagePixels(page), [&](int, int) { ++count; });
  return count;
}

std::int64_t CountPaleInk(Bitmap* page, Bitmap* plane, Bitmap* other) {
  const PlaneDots dots(plane);
  std::optional<PlaneDots> more;
  if (other != nullptr) more.emplace(other);
  std::int64_t count = 0;
  ForEachPale(PagePixels(page), [&](int x, int y) {
    count += dots.IsInk(x, y);
    if (more) count += more->IsInk(x, y);
  });
  return count;
}

void WhitenFrom(Bitmap* page, int level) {
  ForEachPixel(PagePixels(page), [&](unsigned char* pixel, int, int) {
    if (IsAtLeast(pixel, level)) std::fill_n(pixel, 3, static_cast<unsigned char>(255));
  });
}

}  // namespace orv::tool
