#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <memory>
#include <string>

#include "orv/platform/graphics.h"
#include "orv/platform/types.h"
#include "tools/orv/page/pixels.h"

/// Rows of raster, collected into a page.

namespace orv::printer_app {

/// A form in which pixels arrive.
struct RasterForm;

/// The pixels of a page while its rows arrive.
class RasterPage {
 public:
  /// Prepares a page for the rows that a header announces; false, with the reason in `*problem`,
  /// for rows that cannot be printed.
  bool Start(const cups_page_header2_t& header, std::string* problem);
  /// Stores the next row, which has as many bytes as the header says. Any other row is left out.
  void SetRow(unsigned y, const unsigned char* row);

  /// Whether every row has arrived.
  bool IsComplete() const { return rows_ == height_; }

  /// Copies a row of a complete page as 24-bit pixels.
  void CopyRow(int y, BYTE* pixels) const;
  /// The complete page with 24 bits per pixel, in a bitmap that may use these pixels.
  std::unique_ptr<Bitmap> Page();
  int width() const { return width_; }
  int height() const { return height_; }
  const tool::Resolution& resolution() const { return resolution_; }

 private:
  bool IsGrey() const;

  std::unique_ptr<BYTE[]> pixels_;  ///< one byte for grey, or blue, green and red
  std::size_t capacity_ = 0;        ///< the size of `pixels_` in bytes
  int width_ = 0;
  int height_ = 0;
  int rows_ = 0;  ///< that have arrived
  std::ptrdiff_t stride_ = 0;
  const RasterForm* form_ = nullptr;
  tool::Resolution resolution_;
};

}  // namespace orv::printer_app
