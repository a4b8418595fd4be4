#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orv/platform/graphics.h"

/// Page images as files, for the commands.

namespace orv::tool {

using PagePointer = std::unique_ptr<Bitmap>;

/// Reads a PNG as a 24-bit page, what is transparent over white; ends the command when it cannot.
PagePointer LoadPage(const std::wstring& path);

/// The dots per inch that a PNG says of itself. Nothing for 72 and 96, which programs write when
/// they know none, and for pixels that are not square.
std::optional<double> PngResolution(const std::wstring& path);

/// The files that a command writes: all of them, or none when one cannot be written, which ends the
/// command.
class PageFiles {
 public:
  PageFiles() = default;
  PageFiles(const PageFiles&) = delete;
  PageFiles& operator=(const PageFiles&) = delete;
  ~PageFiles();

  /// Writes a page beside the place that it is for.
  void Add(Bitmap* page, const std::wstring& path);
  /// Puts every page into its place.
  void Finish();

 private:
  std::vector<std::pair<std::wstring, std::wstring>> files_;  ///< where they are and are for
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

}  // namespace orv::tool
