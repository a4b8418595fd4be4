#pragma once

#include <string>

#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "orv/config/config.h"

/// Describes the rules of the private record in words.

namespace orv {

/// The values that a rule allows, as the table states them: "label.widthMin to label.widthMax".
std::wstring RuleText(const RecordField& field);
/// The default, as the table states it.
std::wstring DefaultText(const RecordField& field);
/// The fallback, as the table states it; empty for fields without a rule.
std::wstring FallbackText(const RecordField& field);

/// The values that a printer allows for a field: "10000 to 60000", or "10 mm to 60 mm".
std::wstring AllowedText(const Config& config, const RecordField& field, LengthFormat format);

/// Why a correction was made.
std::wstring ReasonText(const Config& config, const Correction& correction, LengthFormat format);

}  // namespace orv
