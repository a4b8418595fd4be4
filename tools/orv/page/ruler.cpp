#include "tools/orv/page/ruler.h"

#include <cmath>

#include "base/utf8.h"
#include "orv/text/format.h"

namespace orv::tool {
namespace {

constexpr int kTextSize = 2;
constexpr int kLeastTickGap = 4;
constexpr int kLeastTextGap = 56;

/// Distances of marks that people read easily, in tenths of a millimetre.
constexpr int kDistances[] = {1, 5, 10, 50, 100, 500, 1000, 5000, 10000};

/// The shortest distance whose marks are this far apart in the picture.
int DistanceFor(double pixelsPerTenth, int gap) {
  for (const int tenths : kDistances) {
    if (tenths * pixelsPerTenth >= gap) return tenths;
  }
  return kDistances[std::size(kDistances) - 1];
}

/// Calls `mark(pixel, length, text)` for each mark along one edge.
template <typename Mark>
void ForEachMark(int first, int count, double dpi, int zoom, Mark mark) {
  const double pixelsPerTenth = dpi * zoom / (10 * kMillimetresPerInch);
  const int tick = DistanceFor(pixelsPerTenth, kLeastTickGap);
  const int text = DistanceFor(pixelsPerTenth, kLeastTextGap);
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

}  // namespace

void DrawRulers(Canvas* canvas, const PageArea& area, double dpi, int zoom) {
  canvas->Fill(0, 0, canvas->width(), kRulerHeight, kMargin);
  canvas->Fill(0, 0, kRulerWidth, canvas->height(), kMargin);
  canvas->Text(8, 8, "MM", kTextSize, kLine);
  ForEachMark(area.x, area.width, dpi, zoom, [&](int at, int length, const std::string& text) {
    canvas->Fill(kRulerWidth + at, kRulerHeight - length, 1, length, kText);
    canvas->Text(kRulerWidth + at - TextWidth(text, kTextSize) / 2, 10, text, kTextSize, kText);
  });
  ForEachMark(area.y, area.height, dpi, zoom, [&](int at, int length, const std::string& text) {
    canvas->Fill(kRulerWidth - length, kRulerHeight + at, length, 1, kText);
    canvas->Text(kRulerWidth - 16 - TextWidth(text, kTextSize), kRulerHeight + at - 7, text,
                 kTextSize, kText);
  });
}

}  // namespace orv::tool
