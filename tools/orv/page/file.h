#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "orv/platform/graphics.h"
#include "tools/orv/common/input.h"

/// Page images as files, for the commands.

namespace orv::tool {

using PagePointer = std::unique_ptr<Bitmap>;

/// Reads a PNG as a 24-bit page, what is transparent over white; ends the command when it cannot.
PagePointer LoadPage(const std::wstring& path);

/// The dots per inch that a PNG says of itself. Nothing for 72 and 96, which programs write when
/// they know none, and for pixels that are not square.
std::optional<double> PngResolution(const std::wstring& path);

/// A page as the bytes of a PNG file; ends the command when there is no room for one.
std::string PngOf(Bitmap* page);

/// The files that a command writes: all of them, or none when one cannot be written, which ends the
/// command.
class PageFiles {
 public:
  /// Writes a page that is for this place.
  void Add(Bitmap* page, const std::wstring& path);
  /// Puts every page into its place.
  void Finish();

 private:
  std::deque<OutputFile> files_;  ///< written, not yet in their places
};

/// The pixels of a page, locked as 24 bits until the end of the scope.
class PagePixels {
 public:
  explicit PagePixels(Bitmap* page);
  PagePixels(const PagePixels&) = delete;
  PagePixels& operator=(const PagePixels&) = delete;
  ~PagePixels() { page_->UnlockBits(&data_); }

  int width() const { return static_cast<int>(data_.Width); }
  int height() const { return static_cast<int>(data_.Height); }
  /// A row's blue, green and red bytes.
  unsigned char* Row(int y) const;

 private:
  Bitmap* page_;
  BitmapData data_;
};

/// Eight pixels of one colour, to step over what a page has most of.
class EightPixels {
 public:
  explicit EightPixels(const unsigned char* pixel) {
    for (int i = 0; i < 8; ++i) std::memcpy(bytes_ + 3 * i, pixel, 3);
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

}  // namespace orv::tool
