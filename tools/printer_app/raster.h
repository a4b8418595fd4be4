#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "imaging/kernels.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"
#include "tools/orv/page/pixels.h"

/// Rows of raster, collected into a page.

namespace orv::printer_app {

/// More pixels than the largest label of 600 dots per inch has.
inline constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 27;

/// The pixels of a page while its rows arrive.
class RasterPage {
 public:
  /// Prepares a page for the rows that a header announces. Throws if they cannot be printed.
  void Start(const cups_page_header2_t& header);
  /// Stores the next row, which has as many bytes as the header says. Any other row is left out.
  void SetRow(unsigned y, const unsigned char* row);

  /// Whether every row has arrived.
  bool IsComplete() const { return rows_ == height_; }

  /// The complete page as greys; nothing if it arrived in colour.
  std::optional<GreyPlane> Greys() const;
  /// The complete page in colour. The bitmap may use the pixels of this object.
  std::unique_ptr<Bitmap> Page();
  const tool::Resolution& resolution() const { return resolution_; }

 private:
  std::unique_ptr<BYTE[]> pixels_;  ///< greys, or blue, green and red
  std::size_t capacity_ = 0;        ///< the size of `pixels_` in bytes
  bool isGrey_ = false;
  int width_ = 0;
  int height_ = 0;
  int rows_ = 0;  ///< that have arrived
  std::ptrdiff_t stride_ = 0;
  void (*read_)(const unsigned char* row, int width, BYTE* pixels) = nullptr;
  tool::Resolution resolution_;
};

}  // namespace orv::printer_app
