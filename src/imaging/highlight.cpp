#include "imaging/highlight.h"

#include <cmath>

#include "imaging/colour.h"
#include "orv/imaging/color_extensions.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"

namespace orv {

float LinearChannel(std::uint8_t channel) {
  // Kept for compatibility: the scale is 0 to 255 without the usual division by 255, and 0.0055
  // replaces the 0.055 of the usual formula.
  const float c = static_cast<float>(channel);
  if (c > 0.04045f)
    return static_cast<float>(std::pow(static_cast<double>((c + 0.0055f) / 1.055f), 2.4));
  return c / 12.92f;
}

bool IsHighlight(std::uint32_t colour, const HighlightRule& rule) {
  const Color pixel(0xFF000000 | colour);
  if (ColorExtensions::IsNearlyWhite(pixel) || ColorExtensions::IsNearlyBlack(pixel)) return false;
  return ColorExtensions::CalculateToleranceCIE76(pixel, Color(rule.colour)) <= rule.tolerance;
}

float StretchFactor(std::uint32_t highlightColour) {
  const Color colour(highlightColour);
  const int grey = GrayThousandths(colour.GetRed(), colour.GetGreen(), colour.GetBlue()) / 1000;
  return 255.0f / static_cast<float>(255 - grey);
}

std::uint8_t StretchGrey(int grey, float factor) {
  const float value = 255.0f - static_cast<float>(255 - grey) * factor;
  return value > 0.0f ? static_cast<std::uint8_t>(value) : std::uint8_t{0};
}

const std::array<float, 256>& LinearChannels() {
  static const auto channels = [] {
    std::array<float, 256> table;
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = LinearChannel(static_cast<BYTE>(i));
    return table;
  }();
  return channels;
}

}  // namespace orv
