/// Ties the constants and structures of the C interface to the library's.

#include <climits>
#include <cstddef>

#include "orv/c_api.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "platform/cryptography.h"

#define EQUAL(c, library) static_assert((c) == (library))

EQUAL(ORV_LOG_ERROR, int{eLogLevelError});
EQUAL(ORV_LOG_WARNING, int{eLogLevelWarning});
EQUAL(ORV_LOG_INFO, int{eLogLevelInfo});
EQUAL(ORV_LOG_TRACE, int{eLogLevelTrace});

EQUAL(ORV_DITHER_NONE, int{eBitmapDithererNone});
EQUAL(ORV_DITHER_FLOYD_STEINBERG, int{eBitmapDithererFloydSteinberg});
EQUAL(ORV_DITHER_SIERRA_LITE, int{eBitmapDithererSierraLite});
EQUAL(ORV_DITHER_MATRIX4, int{eBitmapDithererMatrix4});
EQUAL(ORV_DITHER_MATRIX8, int{eBitmapDithererMatrix8});
EQUAL(ORV_DITHER_MATRIX16, int{eBitmapDithererMatrix16});

EQUAL(ORV_RECORD_SIZE, tagOEMDEV::kSize);
EQUAL(ORV_RECORD_SIZE, sizeof(tagOEMDEV));
EQUAL(ORV_PUBLIC_RECORD_SIZE, sizeof(DEVMODEW));

EQUAL(sizeof(orv_stock_item::guid), sizeof(GUID));
EQUAL(sizeof(orv_stock_item::name), (orv::kMaxStockName + 1) * sizeof(std::uint16_t));
EQUAL(sizeof(orv_stock_item::values), orv::kStockValueCount * sizeof(DWORD));
EQUAL(257, orv::kFirstStockPaperSize);

// The structures have the same layout in every language.
EQUAL(offsetof(orv_stock_item, guid), 4);
EQUAL(offsetof(orv_stock_item, name_length), 20);
EQUAL(offsetof(orv_stock_item, name), 24);
EQUAL(offsetof(orv_stock_item, values), 284);
EQUAL(sizeof(orv_stock_item), 392);
EQUAL(offsetof(orv_image, pixels), 24);
EQUAL(sizeof(orv_image), 24 + sizeof(void*));

// The length of a digest, and how much longer than its text a protected file can be: marker,
// version, initialization vector and padding.
EQUAL(32, orv::kSha256Size);
EQUAL(36, orv::kProtectedMarker.size() + 1 + 2 * orv::kAesBlockSize);

#undef EQUAL

// The kernels count the bytes of a row in `int`.
static_assert(ORV_MAX_IMAGE_SIDE <= INT_MAX / 3);
