#pragma once

#include <string>
#include <string_view>

#include "orv/platform/export.h"

/// Conversion between the library's wide text and UTF-8. Example:
///
///     std::printf("%s\n", orv::ToUtf8(config->device.model.modelName).c_str());
///
/// Wide text holds one UTF-16 code unit per element on both platforms, also where `wchar_t` is
/// wider: a code point above U+FFFF takes two elements, a surrogate pair. Wide streams and `%ls`
/// depend on the locale and do not combine the pairs; these functions do. Both may be called from
/// any thread and throw only `std::bad_alloc`. A Windows console shows UTF-8 after
/// `SetConsoleOutputCP(CP_UTF8)`.

namespace orv {

/// Encodes as UTF-8. An unpaired surrogate, and an element above 0xFFFF, becomes U+FFFD.
ORV_EXPORT std::string ToUtf8(std::wstring_view text);

/// Decodes UTF-8. Each maximal ill-formed subsequence becomes one U+FFFD; a byte-order mark is kept
/// as U+FEFF. Use it for literals with code points above U+FFFF, which a wide literal stores in one
/// element where `wchar_t` has 32 bits.
ORV_EXPORT std::wstring FromUtf8(std::string_view bytes);

}  // namespace orv
