#pragma once

#include <deque>
#include <optional>
#include <string>

#include "tools/orv/common/input.h"
#include "tools/orv/page/pixels.h"

/// Page images as files, for the commands.

namespace orv::tool {

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

}  // namespace orv::tool
