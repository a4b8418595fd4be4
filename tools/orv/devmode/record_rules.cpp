#include "tools/orv/devmode/record_rules.h"

#include "base/utf8.h"
#include "orv/devmode/oemdev.h"
#include "orv/text/format.h"

namespace orv::tool {
namespace {

std::wstring RuleNumberText(const RuleNumber& number, FieldKind kind = FieldKind::kSigned) {
  if (number.text != nullptr) return Widen(number.text);
  return kind == FieldKind::kUnsigned ? std::to_wstring(static_cast<std::uint32_t>(number.constant))
                                      : std::to_wstring(number.constant);
}

const wchar_t* ListText(AllowedList list) {
  switch (list) {
    case AllowedList::kPrintSpeeds:
      return L"one of printSpeeds.speeds / 1000";
    case AllowedList::kSensorTypes:
      return L"one of sensorTypes.types";
    case AllowedList::kDarkness:
      return L"one of darkness.values";
  }
  return L"";
}

std::wstring RangeText(const std::wstring& min, const std::wstring& max) {
  return min == max ? min : min + L" to " + max;
}

/// The values of a list; values in even steps as a range.
std::wstring ListedText(const std::vector<std::int32_t>& values) {
  if (values.empty()) return L"nothing";
  constexpr std::size_t kWorthARange = 4;
  bool isEven = values.size() >= kWorthARange;
  for (std::size_t i = 2; i < values.size() && isEven; ++i) {
    isEven = std::int64_t{values[i]} - values[i - 1] == std::int64_t{values[1]} - values[0];
  }
  if (isEven) {
    return Format(L"%d, %d ... %d", values[0], values[1], values.back());
  }
  std::wstring text;
  for (const std::int32_t value : values) {
    text += (text.empty() ? L"" : L", ") + std::to_wstring(value);
  }
  return text;
}

constexpr wchar_t kTerminated[] = L"a NUL within its bytes; the last byte becomes one";

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

std::wstring RuleText(const RecordField& field) {
  const FieldRule& rule = field.rule;
  std::wstring text;
  switch (rule.kind) {
    case FieldRule::kAny:
      return {};
    case FieldRule::kTerminated:
      return kTerminated;
    case FieldRule::kRange:
      text = RangeText(RuleNumberText(rule.min), RuleNumberText(rule.max));
      break;
    case FieldRule::kList:
      text = ListText(rule.list);
      break;
  }
  if (rule.offered.text != nullptr) text += L", when " + RuleNumberText(rule.offered);
  return text;
}

std::wstring DefaultText(const RecordField& field) {
  if (!field.hasDefault) return L"untouched";
  return RuleNumberText(field.byDefault, field.kind);
}

std::wstring FallbackText(const RecordField& field) {
  const bool hasFallback =
      field.rule.kind == FieldRule::kRange || field.rule.kind == FieldRule::kList;
  return hasFallback ? RuleNumberText(field.rule.fallback) : L"";
}

std::wstring AllowedText(const Config& config, const RecordField& field, LengthForm form) {
  const FieldRule& rule = field.rule;
  if (rule.kind == FieldRule::kAny) return L"anything";
  if (rule.kind == FieldRule::kTerminated) return kTerminated;
  if (rule.offered.In(config) == 0) return L"anything (not offered)";
  if (rule.kind == FieldRule::kRange) {
    return RangeText(NumberText(field, rule.min.In(config), form),
                     NumberText(field, rule.max.In(config), form));
  }
  return ListedText(AllowedValues(config, rule.list));
}

std::wstring ReasonText(const Config& config, const Correction& correction, LengthForm form) {
  const RecordCheck& check = *correction.check;
  const RecordField& field = *check.field;
  if (check.opposite != nullptr) {
    std::wstring text = L"together with " + Widen(check.opposite->name) + L" it must not exceed " +
                        Widen(check.size->name);
    if (correction.after > correction.before) {
      text += L"; " + Widen(check.opposite->name) + L" alone exceeds it, so this one wraps";
    }
    return text;
  }
  if (field.rule.kind == FieldRule::kTerminated) return L"no NUL within its bytes";
  std::wstring text = L"must be " + AllowedText(config, field, form);
  if (field.rule.kind == FieldRule::kList) {
    text = AllowedValues(config, field.rule.list).empty()
               ? L"the printer's list is empty"
               : L"must be one of " + AllowedText(config, field, form);
  }
  text += L"; falls back to " + FallbackText(field);
  if (std::string_view(check.name) != field.name) {
    text += L" (checked as " + Widen(check.name) + L")";
  }
  return text;
}

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
