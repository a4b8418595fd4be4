#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/json.h"
#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"

/// The values of a record's fields as text and as JSON.

namespace orv {

/// A narrow constant of the library's tables as wide text.
std::wstring Widen(std::string_view text);

/// Formats a length, given in thousandths of a millimetre, with a unit. Where a function takes one,
/// null leaves lengths as numbers.
using LengthFormat = std::wstring (*)(std::int64_t thousandths);

/// A field's value: a number; a text in quotes with escapes, its trailing NULs left out; a GUID; or
/// bytes as hexadecimal digits, their trailing zeros left out. The conversion is lossless.
std::wstring FieldText(const tagOEMDEV& record, const RecordField& field,
                       LengthFormat format = nullptr);
/// The value as a member of a JSON object.
void FieldMember(JsonWriter* json, std::string_view name, const tagOEMDEV& record,
                 const RecordField& field);

/// Whether a field holds a length, in thousandths of a millimetre.
bool IsLength(const RecordField& field);
/// A number of a field as text.
std::wstring NumberText(const RecordField& field, std::int64_t number, LengthFormat format);

/// Some bytes of a record.
std::string_view RecordBytes(const tagOEMDEV& record, std::size_t offset, std::size_t size);

}  // namespace orv
