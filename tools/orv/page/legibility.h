#pragma once

#include <cstdint>
#include <string>

#include "orv/platform/graphics.h"

/// Measures how legible a one-bit plane of a grey page is. docs/imaging.md explains the measures.

namespace orv::tool {

/// The errors in the widths of bars, or of the spaces between them.
struct WidthErrors {
  std::int64_t count = 0;
  double sum = 0;       ///< of the absolute errors, in dots
  double relative = 0;  ///< sum of the errors divided by the expected widths
  double max = 0;       ///< in dots

  void Add(double expected, double actual);
  double Mean() const { return count > 0 ? sum / static_cast<double>(count) : 0; }
};

struct Legibility {
  WidthErrors bars;
  WidthErrors spaces;
  std::int64_t ink = 0;    ///< dots
  std::int64_t dots = 0;   ///< single dots of ink
  std::int64_t holes = 0;  ///< single white dots in ink
  std::int64_t blocks = 0;
  double tone = 0;       ///< mean error of a block, as a fraction of full ink
  double worstTone = 0;  ///< the largest error
  int worstX = 0;        ///< position of that block
  int worstY = 0;

  /// The three scores, in percent, 0 is best: the width errors relative to the widths, the tone
  /// errors of blocks, and the fraction of single dots and holes in the ink.
  double WidthScore() const;
  double ToneScore() const { return 100 * tone; }
  double SpeckScore() const;
  /// The total by which methods are ranked, 0 is best.
  double Loss() const;
};

/// The side of a tone block, in dots.
inline constexpr int kToneBlock = 16;

/// Compares a plane, in which everything except white is ink, with its source page. Both have the
/// same size.
Legibility MeasureLegibility(Bitmap* source, Bitmap* plane);

/// The scores as a caption.
std::string ScoresText(const Legibility& legibility);

}  // namespace orv::tool
