#pragma once

#include <string>

namespace orv::tool {

/// The lines by which two texts differ, as a unified diff with three lines of context; empty if the
/// texts are the same. With more than 4,000 changed lines, all lines count as changed.
std::wstring UnifiedDiff(const std::wstring& before, const std::wstring& after,
                         const std::wstring& nameBefore, const std::wstring& nameAfter);

}  // namespace orv::tool
