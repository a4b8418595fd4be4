#pragma once

#include <string>

#include "devmode/explanation.h"

namespace orv::tool {

enum class ExplainedPart { kAll, kChanged };

/// A merge as a table with one row per field, or, if that is wider than `width` characters, as a
/// list. `kChanged` leaves out the fields that have the printer's default before and after, and
/// says how many are shown.
std::string ExplanationAsText(const Merged& merged, ExplainedPart part, std::size_t width);

}  // namespace orv::tool
