#pragma once

#include <string>

namespace orv {

/// A file is replaced, but the path leads to a folder: ERROR_DIRECTORY_NOT_SUPPORTED of Windows,
/// which not all headers define.
inline constexpr long kErrorIsFolder = 336;

/// Describes a system error code for users, with its number at the end.
std::wstring DescribeError(long code);

}  // namespace orv
