#pragma once

#include "orv/platform/export.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"

/// Grey values and distances of colours, as dithering and the split of a page use them:
///
///     const Color red(255, 0, 0);
///     const Color orange(255, 96, 0);
///     const bool isSimilar = ColorExtensions::CalculateToleranceCIE76(red, orange) <= 0.1;

/// Computations on single colours. Alpha is ignored on input; returned colours have alpha 255.
/// Stateless and thread-safe.
class ORV_EXPORT ColorExtensions {
 public:
  /// 0.299 red + 0.587 green + 0.114 blue (the luma weights of ITU-R BT.601), computed as the
  /// integer quotient (299 red + 587 green + 114 blue) / 1000, so that a grey v yields exactly v.
  static double CalculateGrayValue(BYTE red, BYTE green, BYTE blue);

  /// The grey with the colour's grey value, truncated.
  static Color ToGray(const Color& colour);

  /// Moves every channel away from 255 by the factor 255 / (255 - level), in single precision:
  /// level 0 changes nothing, 255 makes everything black.
  static Color StretchToDark(const Color& colour, BYTE level);

  /// Whether red, green and blue are all at least 254.
  static BOOL IsNearlyWhite(const Color& colour);

  /// Whether red, green and blue are all at most 1.
  static BOOL IsNearlyBlack(const Color& colour);

  /// Writes L*, a*, b* of a colour to `lab[0]` to `lab[2]`. The constants and the scale are
  /// specific to this library: callers compare tolerances with distances computed from them.
  static void RGBToLab(const Color& colour, float* lab);

  /// The distance of two colours in L*, a*, b*, divided by 72160 so that tolerances are small
  /// numbers. Symmetric; 0 for equal colours.
  static double CalculateToleranceCIE76(const Color& first, const Color& second);
};
