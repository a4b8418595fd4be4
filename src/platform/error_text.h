#pragma once

#include <string>

namespace orv {

/// Describes a system error code for users, with its number at the end.
std::wstring DescribeError(long code);

}  // namespace orv
