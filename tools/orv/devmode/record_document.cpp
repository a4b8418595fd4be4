#include "tools/orv/devmode/record_document.h"

#include "base/utf8.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "devmode/rule_text.h"
#include "orv/devmode/oemdev.h"
#include "orv/text/format.h"

namespace orv::tool {
namespace {

std::wstring KindText(const RecordField& field) {
  switch (field.kind) {
    case FieldKind::kUnsigned:
      return Format(L"u%d", field.width * 8);
    case FieldKind::kSigned:
      return Format(L"i%d", field.width * 8);
    case FieldKind::kText:
      return Format(L"char[%d]", field.width);
    case FieldKind::kGuid:
      return L"GUID";
    case FieldKind::kBytes:
      return Format(L"byte[%d]", field.width);
  }
  return {};
}

}  // namespace

std::string FormatDocument() {
  std::wstring text =
      L"# The private settings record\n"
      L"\n"
      L"The record that the spooler stores after the public device mode: 2688 bytes, "
      L"little-endian, every\nnumber aligned to its width. `orv devmode fields --markdown` "
      L"generates this page from the library's own\ntable (`src/devmode/record_fields.cpp`).\n"
      L"\n"
      L"Names in defaults and rules are those of the configuration's records "
      L"(`include/orv/config/config.h`). A default\nof 0 fills texts, GUIDs and bytes with zeros; "
      L"\"untouched\" bytes are left as they were. A field without\na rule is never corrected. "
      L"Numbers are compared as signed or unsigned,\naccording to their type.\n"
      L"\n## Fields\n\n"
      L"| offset | type | field | unit | meaning | default | allowed | fallback |\n"
      L"|---|---|---|---|---|---|---|---|\n";
  for (const RecordField& field : RecordFields()) {
    text += Format(L"| %d | %ls | `%ls` | %ls | %ls | %ls | %ls | %ls |\n", field.offset,
                   KindText(field).c_str(), Widen(field.name).c_str(), Widen(field.unit).c_str(),
                   Widen(field.meaning).c_str(), DefaultText(field).c_str(),
                   RuleText(field).c_str(), FallbackText(field).c_str());
  }
  text +=
      L"\n## Order of the checks\n\n"
      L"Each correction is one item of one warning line, under this name. A field may be corrected "
      L"twice.\n\n";
  int number = 0;
  for (const RecordCheck& check : RecordChecks()) {
    text += Format(L"%d. `%ls`", ++number, Widen(check.name).c_str());
    if (check.opposite != nullptr) {
      const std::wstring own = Widen(check.field->name);
      const std::wstring opposite = Widen(check.opposite->name);
      const std::wstring size = Widen(check.size->name);
      text += Format(
          L": `%ls` + `%ls` at most `%ls`, else `%ls` becomes `%ls` - `%ls`; an opposite "
          L"margin wider than the size makes it wrap",
          opposite.c_str(), own.c_str(), size.c_str(), own.c_str(), size.c_str(), opposite.c_str());
    } else if (std::string_view(check.name) != check.field->name) {
      text += L": checks `" + Widen(check.field->name) + L"`";
    }
    text += L'\n';
  }
  text +=
      L"\n## Fields of the legacy layout\n\n"
      L"Bytes 12 to 1619 hold the same settings in the legacy layout, whose lengths are counted in "
      L"tenths of a\nmillimetre. `ConvertEp2Orv` and `ConvertOrv2Ep` convert these fields; all "
      L"other bytes are carried.\n\n"
      L"| offset | bytes | settings |\n|---|---|---|\n";
  for (const LegacyField& legacy : LegacyFields()) {
    text += Format(L"| %d | %d | `%ls` |\n", static_cast<int>(legacy.offset),
                   static_cast<int>(legacy.width), Widen(legacy.setting).c_str());
  }
  return WideToUtf8(text);
}

}  // namespace orv::tool
