#pragma once

#include <array>
#include <cstdint>

#include "imaging/kernels.h"

/// Decides which pixels belong to a highlight, and computes their values.

namespace orv {

/// Whether a colour (0x00RRGGBB) belongs to the highlight: neither nearly white nor nearly black,
/// and within the tolerance of the highlight colour.
bool IsHighlight(std::uint32_t colour, const HighlightRule& rule);

/// The factor, in single precision, that moves greys away from white so that the grey of
/// `highlightColour` becomes 0. Infinite for a colour whose grey is 255.
float StretchFactor(std::uint32_t highlightColour);

/// The stretched grey: 255 - (255 - grey) * factor in single precision, at least 0, truncated.
std::uint8_t StretchGrey(int grey, float factor);

/// The linear channel values that the distance is computed from, for all 256 channel values.
const std::array<float, 256>& LinearChannels();

}  // namespace orv
