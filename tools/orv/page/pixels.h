#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include "orv/platform/graphics.h"

/// Access to the pixels of pages, and pages with one bit per pixel.

namespace orv::tool {

using PagePointer = std::unique_ptr<Bitmap>;

/// Dots per inch along the rows and along the columns of a page.
struct Resolution {
  double x = 0;
  double y = 0;
};
inline constexpr int kMaxDpi = 100'000;

/// The pixels of a page, locked as 24 bits until the end of the scope.
class PagePixels {
 public:
  /// The whole page, to read and write. A page of another format is copied, and copied back.
  explicit PagePixels(Bitmap* page);
  /// A part, to read; its first row is row 0. Only this part of a page of another format is copied.
  PagePixels(Bitmap* page, const Rect& part) : PagePixels(page, part, ImageLockModeRead) {}
  PagePixels(const PagePixels&) = delete;
  PagePixels& operator=(const PagePixels&) = delete;
  ~PagePixels() { page_->UnlockBits(&data_); }

  int width() const { return static_cast<int>(data_.Width); }
  int height() const { return static_cast<int>(data_.Height); }
  /// The blue, green and red bytes of a row.
  unsigned char* Row(int y) const;

 private:
  PagePixels(Bitmap* page, const Rect& part, UINT mode);

  Bitmap* page_;
  BitmapData data_;
};

/// The dots of a plane of 24 bits or one bit per pixel, locked until the end of the scope.
class PlaneDots {
 public:
  explicit PlaneDots(Bitmap* plane);
  PlaneDots(const PlaneDots&) = delete;
  PlaneDots& operator=(const PlaneDots&) = delete;
  ~PlaneDots();

  /// Whether a pixel is not white.
  bool IsInk(int x, int y) const;

 private:
  Bitmap* plane_;
  std::optional<PagePixels> pixels_;  ///< of 24 bits
  BitmapData bits_ = {};
  std::array<bool, 2> isInk_ = {};  ///< by the value of a bit
};

/// Whether the colours of a page with one bit per pixel are not white. Ends the command on failure.
std::array<bool, 2> InkOfBits(Bitmap* page);

/// Makes a page with one bit per pixel from one whose bits are 1 for white: its palette and bits
/// are those of `ReduceToTwoColours`. The colour is not white.
void ColourBits(Bitmap* bits, Color colour);

/// Calls `work(pixel, x, y)` for the blue, green and red bytes of every pixel.
template <typename Work>
void ForEachPixel(const PagePixels& pixels, const Work& work) {
  for (int y = 0; y < pixels.height(); ++y) {
    unsigned char* pixel = pixels.Row(y);
    for (int x = 0; x < pixels.width(); ++x, pixel += 3) work(pixel, x, y);
  }
}

inline bool IsWhite(const unsigned char* pixel) { return (pixel[0] & pixel[1] & pixel[2]) == 255; }

/// Eight pixels of one colour, to skip the most frequent colour of a page quickly.
class EightPixels {
 public:
  explicit EightPixels(const unsigned char* pixel) {
    for (std::size_t i = 0; i < 8; ++i) std::memcpy(bytes_ + 3 * i, pixel, 3);
  }
  bool AreAt(const unsigned char* pixels) const {
    std::uint64_t own[3];
    std::uint64_t other[3];
    std::memcpy(own, bytes_, sizeof(own));
    std::memcpy(other, pixels, sizeof(other));
    return ((own[0] ^ other[0]) | (own[1] ^ other[1]) | (own[2] ^ other[2])) == 0;
  }

 private:
  unsigned char bytes_[3 * 8];
};

/// A copy of a 24-bit page with at most two colours: one bit per pixel, the colours in the palette;
/// null for any other page. Planes and dithered pages have two colours: in this form they are
/// written faster, take less space and read back as the same pixels.
PagePointer ReduceToTwoColours(Bitmap* page);

/// The two-colour form of a page, or the page itself when it has more colours.
PagePointer To1Bpp(PagePointer page);

/// The blue, green and red bytes of a print colour.
using Ink = std::array<unsigned char, 3>;

inline Ink InkOf(const Color& colour) {
  return {colour.GetBlue(), colour.GetGreen(), colour.GetRed()};
}

/// Gives a pixel the ink, or makes it white.
inline void Paint(unsigned char* pixel, bool isInk, const Ink& ink) {
  for (std::size_t i = 0; i < ink.size(); ++i) pixel[i] = isInk ? ink[i] : 255;
}

}  // namespace orv::tool
