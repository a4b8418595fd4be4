#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"
#include "tools/orv/common/outcome.h"

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

/// The characters of the widest cell of a table with values.
inline constexpr std::size_t kWidestCell = 40;
/// A value as a table cell. A long value is cut to a part that begins at an offset.
std::wstring Short(const std::wstring& text, std::size_t from = 0,
                   std::size_t widest = kWidestCell);

/// A record as text, one "Name = value" a line; lines with # are comments.
std::string RecordAsText(const tagOEMDEV& record);
/// Parses such a text. Fields that it does not name are those of `defaults`; if that is null, every
/// field must be named. Ends the command at an invalid line.
tagOEMDEV RecordFromText(const std::wstring& text, const std::wstring& path,
                         const tagOEMDEV* defaults);

/// The form in which a file has a record: its bytes, its text, or among other bytes.
enum class RecordForm { kAsBytes, kAsText, kEnclosed };

struct ParsedRecord {
  tagOEMDEV record;
  RecordForm form = RecordForm::kAsBytes;
  std::vector<std::wstring> places;  ///< of all records, the first one's first; only if enclosed
};

/// Parses the content of a file like `RecordFromText`, or finds a record in it, see `FindRecords`.
/// Without a record it returns nothing and sets `*problem` to the reason.
std::optional<ParsedRecord> ParseRecord(const std::string& bytes, const std::wstring& path,
                                        const tagOEMDEV* defaults, std::wstring* problem,
                                        const std::wstring& printer = {});
/// Writes a record as bytes or as text.
void WriteRecord(const std::wstring& path, const tagOEMDEV& record, bool asText,
                 Written written = Written::kResult);

}  // namespace orv::tool
