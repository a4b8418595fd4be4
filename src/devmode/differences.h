#pragma once

#include <string>

#include "orv/platform/types.h"

namespace orv {

/// The fields in which two public records differ, with both values, for the log; "none" if there is
/// no difference. All fields are compared, whatever `dmFields` declares as set. If either record is
/// null, there is no difference.
std::wstring DescribeDifferences(const DEVMODEW* a, const DEVMODEW* b);

}  // namespace orv
