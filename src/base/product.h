#pragma once

namespace orv {

/// What the names of the product's files and modules begin with.
inline constexpr wchar_t kFamilyPrefix[] = L"orv_";

}  // namespace orv
