#pragma once

#include <string>

#include "orv/platform/types.h"

namespace orv {

/// Names every field in which two public records differ, with both values, for the log; "none" when
/// there is no difference. Which fields `dmFields` declares set does not matter. Either record may
/// be null, which differs in nothing.
std::wstring DescribeDifferences(const DEVMODEW* a, const DEVMODEW* b);

}  // namespace orv
