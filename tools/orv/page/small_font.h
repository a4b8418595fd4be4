#pragma once

#include <cstdint>

/// Letters of 5 x 7 dots for captions and rulers: digits, Latin capitals and some signs.

namespace orv::tool {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 7;
inline constexpr int kGlyphAdvance = kGlyphWidth + 1;

/// The rows of a character from the top, the leftmost dot in bit 4. Small letters are shown as
/// capitals, what is not known as a blank.
const std::uint8_t (&GlyphOf(char character))[kGlyphHeight];

}  // namespace orv::tool
