#pragma once

#include <cstdint>
#include <vector>

#include "tools/orv/page/bars.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/pixels.h"

/// Text, lines and bar codes, which print best without dithering. docs/imaging.md explains how they
/// are recognised.

namespace orv::tool {

/// The line art of a page: dots that become ink or paper, whatever their grey.
class LineArt {
 public:
  explicit LineArt(const Dots& grey) : LineArt(grey, FindBarCodes(grey)) {}
  /// The same, with the page's bar codes.
  LineArt(const Dots& grey, const std::vector<BarCode>& codes);

  bool Has(int x, int y) const { return marks_.At(x, y) != kNoMark; }
  bool IsInk(int x, int y) const { return marks_.At(x, y) == kInkMark; }
  /// Gives these dots of a page the ink or white.
  void Paint(const PagePixels& page, const Ink& ink) const;

 private:
  enum Mark : std::uint8_t { kNoMark, kWhiteMark, kInkMark };

  void MarkBars(const Dots& grey, const BarCode& code);
  void MarkTiltedBars(const Dots& grey, const BarCode& code);
  void Set(int x, int y, Mark mark) {
    marks_.values[static_cast<std::size_t>(y) * static_cast<std::size_t>(marks_.width) +
                  static_cast<std::size_t>(x)] = mark;
  }

  Dots marks_;
};

/// The level that divides the grey values into two classes with the greatest variance between them:
/// N. Otsu, "A threshold selection method from gray-level histograms", IEEE Transactions on
/// Systems, Man, and Cybernetics 9 (1979). It is the lowest light value.
int OtsuLevel(const Dots& grey);

}  // namespace orv::tool
