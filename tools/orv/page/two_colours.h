#pragma once

#include "tools/orv/page/file.h"

namespace orv::tool {

/// The same page with one bit a pixel and its colours as the palette, when it is a 24-bit page of
/// at most two; null for any other. Planes and dithered pages are such pages: written this way they
/// take a small part of the time and of the space, and they read as the same pixels.
PagePointer TwoColoured(Bitmap* page);

/// That form of a page, or the page itself.
PagePointer Packed(PagePointer page);

}  // namespace orv::tool
