#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/platform/graphics.h"
#include "tools/orv/page/bars.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/line_art.h"

/// Measures how legible a one-bit plane of a grey page is. docs/imaging.md explains the measures.

namespace orv::tool {

/// The errors in the widths of bars, or of the spaces between them.
struct WidthErrors {
  std::int64_t count = 0;
  double sum = 0;  ///< of the absolute errors, in dots
  double max = 0;  ///< in dots

  void Add(double expected, double actual);
  void Add(const WidthErrors& other);
  double Mean() const { return count > 0 ? sum / static_cast<double>(count) : 0; }
};

/// How the bars of bar codes are reproduced.
struct BarErrors {
  WidthErrors bars;         ///< one per bar and scan line
  WidthErrors spaces;       ///< one per space and scan line
  std::int64_t holes = 0;   ///< white stretches in bars, and bars that are lost
  std::int64_t spots = 0;   ///< ink in spaces
  std::int64_t breaks = 0;  ///< edges that are off by more than 0.75 dots

  void Add(const BarErrors& other);
};

/// A bar code of the page, and how the plane reproduces it.
struct BarCodeResult {
  BarCode code;
  BarErrors errors;
  std::int64_t lines = 0;       ///< scan lines
  std::int64_t goodLines = 0;   ///< those on which every element can be read
  std::int64_t worstLines = 0;  ///< scan lines on which the worst bar is damaged
  std::size_t worstBar = 0;     ///< its number

  /// The fraction of the scan lines that can be read.
  double Readable() const { return static_cast<double>(goodLines) / static_cast<double>(lines); }
  /// Whether enough scan lines can be read.
  bool Scans() const;
  /// In percent, 0 is best: the scan lines that cannot be read, and the mean error of a width in
  /// modules.
  double Score() const;
};

struct Legibility {
  std::vector<BarCodeResult> codes;
  std::vector<BarCode> unmeasured;  ///< bar codes that cannot be measured on any plane
  std::int64_t lineInk = 0;         ///< dots of text, lines and bars
  std::int64_t lineErrors = 0;      ///< those that are white, and ink on the paper around them
  std::int64_t ink = 0;             ///< dots
  std::int64_t dots = 0;            ///< single dots of ink
  std::int64_t holes = 0;           ///< single white dots in ink
  std::int64_t blocks = 0;
  double tone = 0;       ///< mean error of a block, as a fraction of full ink
  double worstTone = 0;  ///< the largest error
  int worstX = 0;        ///< position of that block
  int worstY = 0;

  /// The number of bar codes that do not scan.
  std::int64_t Failed() const;
  /// The errors of all bar codes.
  BarErrors Bars() const;
  /// The bar code with the highest score; null on a page without bar codes.
  const BarCodeResult* Worst() const;

  /// The four scores, in percent, 0 is best: the mean of the bar codes, the wrong dots of line art,
  /// the tone errors of blocks, and the fraction of single dots and holes in the ink.
  double BarScore() const;
  double LineScore() const;
  double ToneScore() const { return 100 * tone; }
  double SpeckScore() const;
  /// The total by which methods are ranked, 0 is best. Every bar code that does not scan adds 100.
  double Loss() const;
};

/// The side of a tone block, in dots.
inline constexpr int kToneBlock = 16;

/// Compares planes, in which everything except white is ink, with their source page. All have the
/// same size.
class LegibilityMeter {
 public:
  explicit LegibilityMeter(Bitmap* source)
      : grey_(GreyDotsOf(source)), codes_(FindBarCodes(grey_)), art_(grey_, codes_) {}

  Legibility Measure(Bitmap* plane) const;

 private:
  Dots grey_;
  std::vector<BarCode> codes_;
  LineArt art_;
};

/// The scores as a caption.
std::string ScoresText(const Legibility& legibility);
/// How many bar codes were found, and how many of them do not scan.
std::wstring CodesText(const Legibility& legibility);

}  // namespace orv::tool
