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
  void CopyRow(unsigned y, BYTE* pixels) const;
  /// The complete page with 24 bits per pixel, in a bitmap that may use these pixels.
  std::unique_ptr<Bitmap> Page();
  int width() const { return static_cast<int>(width_); }
  int height() const { return static_cast<int>(height_); }
  const tool::Resolution& resolution() const { return resolution_; }

 private:
  using Reader = void (*)(const unsigned char* row, unsigned width, BYTE* pixels);
  struct Form;
  static const Form* FormOf(const cups_page_header2_t& header);

  std::unique_ptr<BYTE[]> pixels_;  ///< one byte for grey, or blue, green and red
  std::size_t capacity_ = 0;        ///< the size of `pixels_` in bytes
  unsigned width_ = 0;
  unsigned height_ = 0;
  unsigned rows_ = 0;  ///< that have arrived
  std::size_t stride_ = 0;
  Reader reader_ = nullptr;
  bool isGrey_ = false;
  tool::Resolution resolution_;
};

}  // namespace orv::printer_app
