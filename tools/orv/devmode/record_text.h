#pragma once

#include <string>
#include <string_view>

#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"

/// Converts private records to and from text.

namespace orv::tool {

/// Sets a field from the output of `FieldText`, or a length from a number with a unit; false if the
/// text does not fit the field.
bool SetFieldText(tagOEMDEV* record, const RecordField& field, std::wstring_view text);
/// The values that `SetFieldText` accepts, in words.
std::wstring ValueForm(const RecordField& field);
/// Sets a field from "Name = value"; the reason why it cannot, or empty. `*field` is the field that
/// was set, or null.
std::wstring SetNamedField(std::wstring_view assignment, tagOEMDEV* record,
                           const RecordField** field);
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

}  // namespace orv::tool
