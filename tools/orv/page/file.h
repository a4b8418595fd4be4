#pragma once

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orv/platform/graphics.h"
#include "tools/orv/common/input.h"
#include "tools/orv/page/pixels.h"

/// Reads and writes page images.

namespace orv::tool {

/// Loads a PNG image as a 24-bit page, transparency blended onto white; ends the command on
/// failure. Sets `stored` to the resolution in the file, or to nothing for 72 and 96 dots per inch,
/// which programs write as a default.
PagePointer LoadPage(const std::wstring& path, std::optional<Resolution>* stored = nullptr);

/// Encodes a page as PNG, with its resolution if that is known. After a failure `*bytes` is not
/// changed.
Status EncodePage(Bitmap* page, const std::optional<Resolution>& resolution, std::string* bytes);
/// The same; ends the command on failure.
std::string PngOf(Bitmap* page, const std::optional<Resolution>& resolution);

/// Ends the command if an output file is one of the inputs; empty inputs are ignored.
void RefuseInputs(const std::vector<std::wstring>& inputs, const std::wstring& output);

/// The files that a command writes: all of them, or none if one cannot be written. A failure ends
/// the command.
class PageFiles {
 public:
  /// All files get this resolution. None may be one of the inputs.
  explicit PageFiles(const std::optional<Resolution>& resolution,
                     std::vector<std::wstring> inputs = {})
      : resolution_(resolution), inputs_(std::move(inputs)) {}

  /// Writes a page to a temporary file for this path.
  void Add(Bitmap* page, const std::wstring& path);
  /// Moves all files to their paths, after it has written to streams and devices.
  void Finish();

 private:
  std::optional<Resolution> resolution_;
  std::vector<std::wstring> inputs_;
  std::deque<OutputFile> files_;  ///< written, not yet moved
};

}  // namespace orv::tool
