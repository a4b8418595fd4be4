#pragma once

#include <string_view>

#include "orv/platform/types.h"

namespace orv {

/// The SHA-256 digest of bytes, at most 4 GiB, as 64 lower-case hexadecimal digits. Empty on
/// failure, with a line on the diagnostic output. Throws `std::bad_alloc`.
CString Sha256HexOf(std::string_view bytes);

}  // namespace orv
