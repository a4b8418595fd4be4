#include "tools/orv/page/canvas.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include "base/utf8.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/png_file.h"
#include "xml/names.h"

namespace orv::tool {
namespace {

// --- Font ---

struct Glyph {
  char character;
  std::uint8_t rows[kGlyphHeight];
};

// clang-format off
constexpr Glyph kGlyphs[] = {
    {'0', {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110}},
    {'1', {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'2', {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111}},
    {'3', {0b11110, 0b00001, 0b00001, 0b01110, 0b00001, 0b00001, 0b11110}},
    {'4', {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    {'5', {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    {'6', {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    {'7', {0b11111, 0b00001, 0b00010, 0b00100, 0b00100, 0b01000, 0b01000}},
    {'8', {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    {'9', {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    {'A', {0b01110, 0b10001, 0b10001, 0b11111, 0b10001, 0b10001, 0b10001}},
    {'B', {0b11110, 0b10001, 0b10001, 0b11110, 0b10001, 0b10001, 0b11110}},
    {'C', {0b01110, 0b10001, 0b10000, 0b10000, 0b10000, 0b10001, 0b01110}},
    {'D', {0b11100, 0b10010, 0b10001, 0b10001, 0b10001, 0b10010, 0b11100}},
    {'E', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b11111}},
    {'F', {0b11111, 0b10000, 0b10000, 0b11110, 0b10000, 0b10000, 0b10000}},
    {'G', {0b01110, 0b10001, 0b10000, 0b10111, 0b10001, 0b10001, 0b01111}},
    {'H', {0b10001, 0b10001, 0b10001, 0b11111, 0b10001, 0b10001, 0b10001}},
    {'I', {0b01110, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'J', {0b00111, 0b00010, 0b00010, 0b00010, 0b00010, 0b10010, 0b01100}},
    {'K', {0b10001, 0b10010, 0b10100, 0b11000, 0b10100, 0b10010, 0b10001}},
    {'L', {0b10000, 0b10000, 0b10000, 0b10000, 0b10000, 0b10000, 0b11111}},
    {'M', {0b10001, 0b11011, 0b10101, 0b10101, 0b10001, 0b10001, 0b10001}},
    {'N', {0b10001, 0b11001, 0b10101, 0b10101, 0b10011, 0b10001, 0b10001}},
    {'O', {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'P', {0b11110, 0b10001, 0b10001, 0b11110, 0b10000, 0b10000, 0b10000}},
    {'Q', {0b01110, 0b10001, 0b10001, 0b10001, 0b10101, 0b10010, 0b01101}},
    {'R', {0b11110, 0b10001, 0b10001, 0b11110, 0b10100, 0b10010, 0b10001}},
    {'S', {0b01111, 0b10000, 0b10000, 0b01110, 0b00001, 0b00001, 0b11110}},
    {'T', {0b11111, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100}},
    {'U', {0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'V', {0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01010, 0b00100}},
    {'W', {0b10001, 0b10001, 0b10001, 0b10101, 0b10101, 0b11011, 0b10001}},
    {'X', {0b10001, 0b10001, 0b01010, 0b00100, 0b01010, 0b10001, 0b10001}},
    {'Y', {0b10001, 0b10001, 0b01010, 0b00100, 0b00100, 0b00100, 0b00100}},
    {'Z', {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b10000, 0b11111}},
    {'-', {0b00000, 0b00000, 0b00000, 0b01110, 0b00000, 0b00000, 0b00000}},
    {'.', {0b00000, 0b00000, 0b00000, 0b00000, 0b00000, 0b01100, 0b01100}},
    {',', {0b00000, 0b00000, 0b00000, 0b00000, 0b01100, 0b00100, 0b01000}},
    {'%', {0b11001, 0b11001, 0b00010, 0b00100, 0b01000, 0b10011, 0b10011}},
    {'/', {0b00001, 0b00001, 0b00010, 0b00100, 0b01000, 0b10000, 0b10000}},
    {':', {0b00000, 0b01100, 0b01100, 0b00000, 0b01100, 0b01100, 0b00000}},
};
// clang-format on

constexpr std::uint8_t kBlank[kGlyphHeight] = {};

/// The rows of a character from the top, the leftmost dot in bit 4. Lower-case letters are shown as
/// capitals, unknown characters as blanks.
const std::uint8_t (&GlyphOf(char character))[kGlyphHeight] {
  const auto capital = static_cast<char>(ToUpperAscii(static_cast<unsigned char>(character)));
  for (const Glyph& glyph : kGlyphs) {
    if (glyph.character == capital) return glyph.rows;
  }
  return kBlank;
}

// --- Rulers ---

constexpr int kRulerHeight = 40;  ///< the space above the page
constexpr int kRulerTextSize = 2;
constexpr int kNumberGap = 16;  ///< between the numbers on the left and the page
constexpr int kMinTickGap = 4;
constexpr int kMinTextGap = 56;

/// Readable distances between ticks, in tenths of a millimetre.
constexpr int kDistances[] = {1, 5, 10, 50, 100, 500, 1000, 5000, 10000, 50000};

/// The smallest distance whose ticks are at least `gap` pixels apart.
int DistanceFor(double pixelsPerTenth, int gap) {
  for (const int tenths : kDistances) {
    if (tenths * pixelsPerTenth >= gap) return tenths;
  }
  return kDistances[std::size(kDistances) - 1];
}

/// Calls `mark(pixel, length, text)` for each tick along one edge.
template <typename Mark>
void ForEachMark(int first, int count, double dpi, int zoom, Mark mark) {
  const double pixelsPerTenth = dpi * zoom / (10 * kMillimetresPerInch);
  const int tick = DistanceFor(pixelsPerTenth, kMinTickGap);
  const int text = DistanceFor(pixelsPerTenth, kMinTextGap);
  const auto start = static_cast<int>(std::ceil(first * zoom / pixelsPerTenth / tick));
  for (int i = start;; ++i) {
    const int tenths = i * tick;
    const auto at = static_cast<int>(std::lround(tenths * pixelsPerTenth)) - first * zoom;
    if (at > count * zoom) return;
    const bool hasText = tenths % text == 0;
    const bool isMiddle = tenths % (tick * 5) == 0 || (text % 2 == 0 && tenths % (text / 2) == 0);
    const std::wstring number = tenths % 10 == 0 ? std::to_wstring(tenths / 10)
                                                 : Format(L"%d.%d", tenths / 10, tenths % 10);
    mark(at, hasText ? 12 : isMiddle ? 8 : 4, hasText ? WideToUtf8(number) : std::string());
  }
}

/// The width of the widest number along one edge; at least that of four characters.
int WidestNumber(int first, int count, double dpi, int zoom) {
  int widest = TextWidth("1000", kRulerTextSize);
  ForEachMark(first, count, dpi, zoom, [&](int, int, const std::string& text) {
    widest = std::max(widest, TextWidth(text, kRulerTextSize));
  });
  return widest;
}

/// Draws the rulers of a part of a page whose picture starts at (left, kRulerHeight).
void DrawRulers(Canvas* canvas, const PageArea& area, const Resolution& dpi, int zoom, int left) {
  canvas->Fill(0, 0, canvas->width(), kRulerHeight, kMargin);
  canvas->Fill(0, 0, left, canvas->height(), kMargin);
  canvas->Text(8, 8, "MM", kRulerTextSize, kLine);
  ForEachMark(area.x, area.width, dpi.x, zoom, [&](int at, int length, const std::string& text) {
    canvas->Fill(left + at, kRulerHeight - length, 1, length, kText);
    canvas->Text(left + at - TextWidth(text, kRulerTextSize) / 2, 10, text, kRulerTextSize, kText);
  });
  ForEachMark(area.y, area.height, dpi.y, zoom, [&](int at, int length, const std::string& text) {
    canvas->Fill(left - length, kRulerHeight + at, length, 1, kText);
    canvas->Text(left - kNumberGap - TextWidth(text, kRulerTextSize), kRulerHeight + at - 7, text,
                 kRulerTextSize, kText);
  });
}

}  // namespace

Canvas::Canvas(std::int64_t width, std::int64_t height, const Shade& shade) {
  constexpr std::int64_t kMaxPixels = 200'000'000;
  if (width * height > kMaxPixels || std::max(width, height) > kMaxSide) {
    Fail(kUsage, L"the picture would be too large: give a smaller --crop or --zoom");
  }
  page_.reset(BitmapHelper::CreateBitmap(static_cast<INT>(width), static_cast<INT>(height),
                                         PixelFormat24bppRGB));
  if (page_ == nullptr) Fail(kUnreadable, L"not enough memory for the picture");
  pixels_ = std::make_unique<PagePixels>(page_.get());
  Fill(0, 0, this->width(), this->height(), shade);
}

void Canvas::Fill(int x, int y, int width, int height, const Shade& shade) {
  const int left = std::max(x, 0);
  const int top = std::max(y, 0);
  const int right = std::min(x + width, this->width());
  const int bottom = std::min(y + height, this->height());
  if (left >= right || top >= bottom) return;
  const auto at = [&](int row) { return pixels_->Row(row) + std::ptrdiff_t{3} * left; };
  const std::ptrdiff_t bytes = std::ptrdiff_t{3} * (right - left);
  unsigned char* const first = at(top);
  for (std::ptrdiff_t i = 0; i < bytes; i += 3) std::copy(shade.begin(), shade.end(), first + i);
  for (int row = top + 1; row < bottom; ++row) std::copy_n(first, bytes, at(row));
}

void Canvas::Text(int x, int y, std::string_view text, int size, const Shade& shade) {
  for (const char character : text) {
    const std::uint8_t(&rows)[kGlyphHeight] = GlyphOf(character);
    for (int row = 0; row < kGlyphHeight; ++row) {
      for (int column = 0; column < kGlyphWidth; ++column) {
        if ((rows[row] >> (kGlyphWidth - 1 - column) & 1) == 0) continue;
        Fill(x + column * size, y + row * size, size, size, shade);
      }
    }
    x += kGlyphAdvance * size;
  }
}

template <typename Mix>
void Canvas::Draw(int x, int y, Bitmap* page, const PageArea& area, int zoom, const Mix& mix) {
  const auto at = [&](int row) { return pixels_->Row(row) + std::ptrdiff_t{3} * x; };
  const std::size_t count =
      std::size_t{3} * static_cast<std::size_t>(area.width) * static_cast<std::size_t>(zoom);
  std::vector<unsigned char> wide(zoom > 1 ? count : 0);
  const auto width = static_cast<INT>(page->GetWidth());
  for (int row = 0; row < area.height; ++row) {
    // Whole rows: with one bit per pixel, a part can start within a byte, which some systems
    // ignore.
    const PagePixels line(page, {0, area.y + row, width, 1});
    const unsigned char* from = line.Row(0) + std::ptrdiff_t{3} * area.x;
    if (zoom > 1) {
      unsigned char* to = wide.data();
      for (int column = 0; column < area.width; ++column, from += 3) {
        for (int i = 0; i < zoom; ++i) to = std::copy_n(from, 3, to);
      }
      from = wide.data();
    }
    for (int i = 0; i < zoom; ++i) mix(from, count, at(y + row * zoom + i));
  }
}

void Canvas::Put(int x, int y, Bitmap* page, const PageArea& area, int zoom) {
  Draw(x, y, page, area, zoom, [](const unsigned char* from, std::size_t count, unsigned char* to) {
    std::copy_n(from, count, to);
  });
}

void Canvas::Overprint(int x, int y, Bitmap* plane, const PageArea& area, int zoom) {
  Draw(x, y, plane, area, zoom,
       [](const unsigned char* from, std::size_t count, unsigned char* to) {
         for (std::size_t i = 0; i < count; ++i) to[i] = std::min(to[i], from[i]);
       });
}

PagePointer Canvas::Take() {
  pixels_.reset();
  return std::move(page_);
}

void Canvas::Save(const std::wstring& path, std::vector<std::wstring> inputs) {
  PageFiles files({}, std::move(inputs));
  files.Add(Take().get(), path);
  files.Finish();
}

int TextWidth(std::string_view text, int size) {
  return (static_cast<int>(text.size()) * kGlyphAdvance - 1) * size;
}

Canvas DrawView(Bitmap* page, Bitmap* plane, const PageArea& area, int zoom, const Resolution& dpi,
                bool isBare) {
  const int left = isBare ? 0 : kNumberGap + WidestNumber(area.y, area.height, dpi.y, zoom);
  const int top = isBare ? 0 : kRulerHeight;
  // Room for half a number.
  const int right = isBare ? 0 : WidestNumber(area.x, area.width, dpi.x, zoom) / 2 + 1;
  const int bottom = isBare ? 0 : 24;
  Canvas canvas(left + std::int64_t{area.width} * zoom + right,
                top + std::int64_t{area.height} * zoom + bottom, kMargin);
  if (!isBare) DrawRulers(&canvas, area, dpi, zoom, left);
  canvas.Put(left, top, page, area, zoom);
  if (plane != nullptr) canvas.Overprint(left, top, plane, area, zoom);
  return canvas;
}

}  // namespace orv::tool
