#pragma once

/// Formatting of messages. Example:
///
///     std::wstring text = orv::Format(L"%ls: %d pages", name.c_str(), pages);

#include <string>

#include "orv/platform/export.h"

namespace orv {

/// Formats a message like `swprintf`, with no limit on its length. Wide arguments are `%ls`: plain
/// `%s` means wide text on Windows and narrow text elsewhere. A `%ls` argument must not be null.
/// Throws `std::bad_alloc`; `orv/platform/types.h` describes how errors are reported. Safe to call
/// from any thread.
ORV_EXPORT std::wstring Format(const wchar_t* format, ...);

}  // namespace orv
