#pragma once

#include "orv/platform/graphics.h"

namespace orv {

/// Whether every pixel of bits locked as 32-bit ARGB has alpha 255.
inline bool IsOpaque(const BitmapData& data) {
  const auto* row = static_cast<const unsigned char*>(data.Scan0);
  for (unsigned y = 0; y < data.Height; ++y, row += data.Stride) {
    for (unsigned x = 0; x < data.Width; ++x) {
      if (row[x * 4 + 3] != 255) return false;
    }
  }
  return true;
}

}  // namespace orv
