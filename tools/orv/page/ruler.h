#pragma once

#include "tools/orv/page/canvas.h"

/// Rulers in millimetres along the top and the left edge of a picture.

namespace orv::tool {

/// The room that the rulers take.
inline constexpr int kRulerWidth = 62;   ///< of the left one
inline constexpr int kRulerHeight = 40;  ///< of the top one

/// Draws both rulers for a part of a page whose picture begins right below and beside them. They
/// count from the page's edge, not from that of the part.
void DrawRulers(Canvas* canvas, const PageArea& area, double dpi, int zoom);

}  // namespace orv::tool
