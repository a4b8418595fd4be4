#pragma once

#include <string>
#include <string_view>

#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"
#include "tools/orv/common/output.h"

/// Converts private records to and from text.

namespace orv::tool {

/// A narrow constant of the library's tables as wide text.
std::wstring Widen(std::string_view text);

/// The form of lengths: as stored in the record, or with a unit.
enum class LengthForm { kStored, kReadable };

/// A field's value: a number; a text in quotes with escapes, its trailing NULs left out; a GUID; or
/// bytes as hexadecimal digits, their trailing zeros left out. The conversion is lossless.
std::wstring FieldText(const tagOEMDEV& record, const RecordField& field,
                       LengthForm form = LengthForm::kStored);
/// Sets a field from the output of `FieldText`; false if the text does not fit the field.
bool SetFieldText(tagOEMDEV* record, const RecordField& field, std::wstring_view text);
/// The value as a member of a JSON object.
void FieldMember(JsonWriter* json, std::string_view name, const tagOEMDEV& record,
                 const RecordField& field);

/// Whether a field holds a length, in thousandths of a millimetre.
bool IsLength(const RecordField& field);
/// A number of a field as text; a length in one of the forms.
std::wstring NumberText(const RecordField& field, std::int64_t number, LengthForm form);

/// The field of a name, compared case-insensitively; null if there is none.
const RecordField* FindField(std::wstring_view name);

/// A record as text, one "Name = value" a line; lines with # are comments.
std::string RecordAsText(const tagOEMDEV& record);
/// Parses such a text; fields that it does not name are 0. Ends the command at an invalid line.
tagOEMDEV RecordFromText(const std::wstring& text, const std::wstring& path);

/// Reads a record from a file, as bytes or as text. Ends the command if it is neither.
tagOEMDEV ReadRecord(const std::wstring& path);
/// Writes a record as bytes or as text.
void WriteRecord(const std::wstring& path, const tagOEMDEV& record, bool asText);

/// Some bytes of a record.
std::string_view RecordBytes(const tagOEMDEV& record, std::size_t offset, std::size_t size);

}  // namespace orv::tool
