#pragma once

#include <string>

#include "orv/platform/export.h"

namespace orv {

/// Formats a message as `swprintf` does. Wide arguments are `%ls` (a plain `%s` means wide text in
/// one runtime and narrow text in the other). The result has any length. A null `%ls` argument is
/// not allowed.
ORV_EXPORT std::wstring Format(const wchar_t* format, ...);

}  // namespace orv
