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
/// Sets a field from the output of `FieldText`, or a length from a number with a unit; false if the
/// text does not fit the field.
bool SetFieldText(tagOEMDEV* record, const RecordField& field, std::wstring_view text);
/// The values that `SetFieldText` accepts, in words.
std::wstring ValueForm(const RecordField& field);
/// Sets a field from "Name = value"; the reason why it cannot, or empty. `*field` is the field that
/// was set, or null.
std::wstring SetNamedField(std::wstring_view assignment, tagOEMDEV* record,
                           const RecordField** field);
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
/// Parses such a text. Fields that it does not name are those of `defaults`; if that is null, every
/// field must be named. Ends the command at an invalid line.
tagOEMDEV RecordFromText(const std::wstring& text, const std::wstring& path,
                         const tagOEMDEV* defaults);

/// Parses the content of a file, bytes or text, like `RecordFromText`. Ends the command if it is
/// neither. `*isText`, unless null, says which it is.
tagOEMDEV ParseRecord(const std::string& bytes, const std::wstring& path, const tagOEMDEV* defaults,
                      bool* isText);
/// Writes a record as bytes or as text.
void WriteRecord(const std::wstring& path, const tagOEMDEV& record, bool asText);

/// Some bytes of a record.
std::string_view RecordBytes(const tagOEMDEV& record, std::size_t offset, std::size_t size);

}  // namespace orv::tool
