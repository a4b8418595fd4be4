#pragma once

#include <cstdint>
#include <string>

#include "orv/platform/graphics.h"

/// How well a one-bit plane shows what the grey page says. docs/imaging.md explains the measures.

namespace orv::tool {

/// How far the widths of bars, or of the spaces between them, are off.
struct WidthErrors {
  std::int64_t count = 0;
  double sum = 0;       ///< of the errors' magnitudes, in dots
  double relative = 0;  ///< the same, each divided by the width that it should be
  double greatest = 0;  ///< in dots

  void Add(double expected, double actual);
  double Mean() const { return count > 0 ? sum / static_cast<double>(count) : 0; }
};

struct Legibility {
  WidthErrors bars;
  WidthErrors spaces;
  std::int64_t ink = 0;    ///< dots
  std::int64_t dots = 0;   ///< those of them with no other beside them
  std::int64_t holes = 0;  ///< single white dots in ink
  std::int64_t blocks = 0;
  double tone = 0;       ///< mean error of a block, as a share of all ink
  double worstTone = 0;  ///< the greatest one
  int worstX = 0;        ///< where that block is
  int worstY = 0;

  /// The three marks, each in percent, 0 the best: how far bars and spaces are off for their width,
  /// how far blocks are off in tone, and how much of the ink is single dots and holes.
  double WidthScore() const;
  double ToneScore() const { return 100 * tone; }
  double SpeckScore() const;
  /// What methods are ranked by, 0 the best.
  double Loss() const;
};

/// Blocks of tone have this many dots on each side.
inline constexpr int kToneBlock = 16;

/// Compares a plane, in which everything that is not white is ink, with the page that it was made
/// of. Both have the same size.
Legibility MeasureLegibility(Bitmap* source, Bitmap* plane);

/// The marks as a caption.
std::string ScoresText(const Legibility& legibility);

}  // namespace orv::tool
