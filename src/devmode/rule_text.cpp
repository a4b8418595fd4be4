#include "devmode/rule_text.h"

#include "orv/text/format.h"

namespace orv {
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

constexpr wchar_t kTerminated[] = L"NUL-terminated, or else the last byte becomes NUL";

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
  if (rule.offered.text != nullptr) text += L" if " + RuleNumberText(rule.offered);
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

std::wstring AllowedText(const Config& config, const RecordField& field, LengthFormat format) {
  const FieldRule& rule = field.rule;
  if (rule.kind == FieldRule::kAny) return L"anything";
  if (rule.kind == FieldRule::kTerminated) return kTerminated;
  if (rule.offered.In(config) == 0) return L"anything (not offered)";
  if (rule.kind == FieldRule::kRange) {
    return RangeText(NumberText(field, rule.min.In(config), format),
                     NumberText(field, rule.max.In(config), format));
  }
  return ListedText(AllowedValues(config, rule.list));
}

std::wstring ReasonText(const Config& config, const Correction& correction, LengthFormat format) {
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
  if (field.rule.kind == FieldRule::kTerminated) return L"no terminating NUL";
  std::wstring text = L"must be " + AllowedText(config, field, format);
  if (field.rule.kind == FieldRule::kList) {
    text = AllowedValues(config, field.rule.list).empty()
               ? L"the printer's list is empty"
               : L"must be one of " + AllowedText(config, field, format);
  }
  text += L"; falls back to " + FallbackText(field);
  if (std::string_view(check.name) != field.name) {
    text += L" (checked as " + Widen(check.name) + L")";
  }
  return text;
}

}  // namespace orv
