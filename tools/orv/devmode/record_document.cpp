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
      L"Names in the last three columns are members of the configuration's structures\n"
      L"(`include/orv/config/config.h`). A default of 0 fills texts, GUIDs and bytes with zeros. "
      L"Writing the defaults\nleaves \"untouched\" fields unchanged. A field without an allowed "
      L"value is never corrected. Numbers are\ncompared as signed or unsigned, according to their "
      L"type.\n"
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
      L"The checks run in this order. One warning in the log lists all corrections, under these "
      L"names. A field can be\ncorrected twice.\n\n";
  int number = 0;
  for (const RecordCheck& check : RecordChecks()) {
    text += Format(L"%d. `%ls`", ++number, Widen(check.name).c_str());
    if (check.opposite != nullptr) {
      const std::wstring own = Widen(check.field->name);
      const std::wstring opposite = Widen(check.opposite->name);
      const std::wstring size = Widen(check.size->name);
      text += Format(
          L": if `%ls` + `%ls` exceeds `%ls`, `%ls` is set to `%ls` - `%ls`, which wraps around "
          L"below 0",
          opposite.c_str(), own.c_str(), size.c_str(), own.c_str(), size.c_str(), opposite.c_str());
    } else if (std::string_view(check.name) != check.field->name) {
      text += L": checks `" + Widen(check.field->name) + L"`";
    }
    text += L'\n';
  }
  text +=
      L"\n## Fields of the legacy layout\n\n"
      L"Bytes 12 to 1619 hold the same settings in the legacy layout. Its lengths are tenths of a "
      L"millimetre.\n`ConvertEp2Orv` and `ConvertOrv2Ep` convert these fields; all other bytes "
      L"are copied unchanged.\n\n"
      L"| offset | bytes | settings |\n|---|---|---|\n";
  for (const LegacyField& legacy : LegacyFields()) {
    text += Format(L"| %d | %d | `%ls` |\n", static_cast<int>(legacy.offset),
                   static_cast<int>(legacy.width), Widen(legacy.setting).c_str());
  }
  return WideToUtf8(text);
}

}  // namespace orv::tool
