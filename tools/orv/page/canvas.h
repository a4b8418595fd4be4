#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"

/// A picture composed of parts of pages, lines, rulers and text.

namespace orv::tool {

/// Blue, green and red, in the order of a pixel's bytes.
using Shade = std::array<unsigned char, 3>;
inline constexpr Shade kPaper = {255, 255, 255};
inline constexpr Shade kMargin = {236, 236, 236};
inline constexpr Shade kLine = {140, 140, 140};
inline constexpr Shade kText = {40, 40, 40};

/// The font has digits, Latin capitals and some punctuation.
inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 7;
inline constexpr int kGlyphAdvance = kGlyphWidth + 1;

class Canvas {
 public:
  /// A picture of one shade; ends the command if there is not enough memory.
  Canvas(std::int64_t width, std::int64_t height, const Shade& shade);

  int width() const { return pixels_->width(); }
  int height() const { return pixels_->height(); }

  /// Fills a rectangle, clipped to the picture.
  void Fill(int x, int y, int width, int height, const Shade& shade);
  /// Writes a line of text, its top left at x, y, in letters of `size` times 5 x 7 pixels.
  void Text(int x, int y, std::string_view text, int size, const Shade& shade);
  /// Draws a part of a page at x, y, each pixel as a square of `zoom` pixels. The squares must lie
  /// within the picture.
  void Put(int x, int y, Bitmap* page, const PageArea& area, int zoom);
  /// The same, over the picture: each channel takes the darker value, as inks mix.
  void Overprint(int x, int y, Bitmap* plane, const PageArea& area, int zoom);

  /// Ends the drawing and returns the picture.
  PagePointer Take();
  /// Writes the picture to a file, which may not be one of the inputs.
  void Save(const std::wstring& path, std::vector<std::wstring> inputs);

 private:
  /// Draws the part with `mix(from, count, to)`, which combines bytes of the page with those of the
  /// picture. Reads a page of another format row by row: a copy of a large one takes 400 MB.
  template <typename Mix>
  void Draw(int x, int y, Bitmap* page, const PageArea& area, int zoom, const Mix& mix);

  PagePointer page_;
  std::unique_ptr<PagePixels> pixels_;
};

/// The width of a line of text.
int TextWidth(std::string_view text, int size);

/// Draws an area of a page, and of a plane over it unless that is null. Unless it is bare, it has
/// rulers in millimetres along the top and left edges, which count from the edge of the page.
Canvas DrawView(Bitmap* page, Bitmap* plane, const PageArea& area, int zoom, const Resolution& dpi,
                bool isBare);

}  // namespace orv::tool
