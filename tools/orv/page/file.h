#pragma once

#include <deque>
#include <optional>
#include <string>

#include "orv/platform/graphics.h"
#include "tools/orv/common/input.h"
#include "tools/orv/page/pixels.h"

/// Reads and writes page images.

namespace orv::tool {

/// Loads a PNG image as a 24-bit page, transparency blended onto white; ends the command on
/// failure.
PagePointer LoadPage(const std::wstring& path);

/// The resolution in a PNG file, in dots per inch. Nothing for 72 and 96, which programs write as a
/// default, and for pixels that are not square.
std::optional<double> PageResolution(const std::wstring& path);

/// Encodes a page as PNG; ends the command on failure.
std::string PngOf(Bitmap* page);

/// The files that a command writes: all of them, or none if one cannot be written. A failure ends
/// the command.
class PageFiles {
 public:
  /// Writes a page to a temporary file for this path.
  void Add(Bitmap* page, const std::wstring& path);
  /// Moves all files to their paths.
  void Finish();

 private:
  std::deque<OutputFile> files_;  ///< written, not yet moved
};

}  // namespace orv::tool
