#include "tools/orv/config/check_properties.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <set>
#include <utility>

#include "config/property.h"
#include "config/values.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/keys.h"
#include "xml/names.h"

namespace orv::tool {
namespace {

/// The proposal for a time that cannot be guessed.
constexpr wchar_t kMeantTime[] = L"the intended time";

std::wstring WithoutWhiteSpace(std::wstring_view text) {
  return std::wstring(Trim(text, kWhiteSpace));
}

constexpr std::size_t kDateTimeSize = 19;

/// Whether a text of 19 characters is a date and a time of day that exist.
bool IsValidDateTime(std::wstring_view text) {
  const auto isNumber = [text](std::size_t at, std::size_t size) {
    return std::ranges::all_of(text.substr(at, size), IsDigit);
  };
  const auto field = [text](std::size_t at, std::size_t size = 2) {
    return ToInt(text.substr(at, size));
  };
  constexpr std::pair<std::size_t, std::size_t> kFields[] = {{0, 4},  {5, 2},  {8, 2},
                                                             {11, 2}, {14, 2}, {17, 2}};
  for (const auto& [at, size] : kFields) {
    if (!isNumber(at, size)) return false;
  }
  const std::chrono::year_month_day date(std::chrono::year(field(0, 4)),
                                         std::chrono::month(static_cast<unsigned>(field(5))),
                                         std::chrono::day(static_cast<unsigned>(field(8))));
  return date.ok() && field(11) < 24 && field(14) < 60 && field(17) < 60;
}

/// Whether a date and time is before another; both are valid. As in the file, without a time zone:
/// converted, they could change their order in the hour in which the clocks are set back.
bool IsBefore(std::wstring_view a, std::wstring_view b) {
  return std::ranges::lexicographical_compare(a, b, [](wchar_t left, wchar_t right) {
    return IsDigit(left) && IsDigit(right) && left < right;
  });
}

/// "true" for the usual spellings of true, otherwise "false".
const wchar_t* IntendedTruth(const std::wstring& value) {
  constexpr std::wstring_view kTrue[] = {L"true", L"yes", L"on", L"1", L"t", L"y"};
  const std::wstring text = WithoutWhiteSpace(value);
  const bool isTrue = std::any_of(std::begin(kTrue), std::end(kTrue), [&](std::wstring_view word) {
    return EqualsIgnoringAsciiCase(word, text);
  });
  return isTrue ? L"true" : L"false";
}

void CheckBoolean(const FoundProperty& property, Findings* findings) {
  if (ToBool(property.value) || EqualsIgnoringAsciiCase(property.value, L"false")) return;
  findings->ReportValue(L"not-a-boolean", property, Quoted(property.name) + L" is read as false",
                        L"true or false", IntendedTruth(property.value));
}

void CheckUpperCaseBoolean(const FoundProperty& property, Findings* findings) {
  if (ToUpperCaseBool(property.value) || EqualsIgnoringAsciiCase(property.value, L"false")) return;
  const bool isTrue = IntendedTruth(property.value) == std::wstring_view(L"true");
  findings->ReportValue(L"true-in-capitals", property, Quoted(property.name) + L" is read as false",
                        L"TRUE in capitals, or FALSE", isTrue ? L"TRUE" : L"FALSE");
}

void CheckDateTime(const FoundProperty& property, Findings* findings) {
  const std::wstring& value = property.value;
  std::wstring meant = WithoutWhiteSpace(value);
  constexpr std::size_t kDateSize = 10;
  if (meant.size() == kDateSize) meant += L"T00:00:00";
  const bool hasSize = value.size() == kDateTimeSize;
  if (hasSize && IsValidDateTime(value)) return;
  const std::wstring text =
      Quoted(property.name) + (hasSize ? L" is not an existing date and time"
                                       : L" is not a valid date and time, and is ignored");
  const wchar_t* const allowed = hasSize ? L"an existing date and time such as 2026-03-02T08:00:00"
                                         : L"19 characters such as 2026-03-02T08:00:00";
  if (meant.size() == kDateTimeSize && IsValidDateTime(meant)) {
    findings->ReportValue(L"not-a-time", property, text, allowed, meant);
  } else {
    findings->Report(L"not-a-time", property.valueOffset, text, allowed, kMeantTime);
  }
}

void CheckGuidance(const FoundProperty& property, Findings* findings) {
  std::vector<std::wstring_view> names;
  for (const auto& known : kGuidanceNames) {
    if (EqualsIgnoringAsciiCase(known.name, property.value)) return;
    names.push_back(known.name);
  }
  ReportName(L"unknown-value", property, Quoted(property.name) + L" is ignored", property.value,
             names, findings);
}

void CheckText(const FoundProperty& property, Findings* findings) {
  const std::wstring inner = WithoutWhiteSpace(property.value);
  if (inner != property.value) {
    findings->ReportValue(L"white-space", property,
                          Quoted(property.name) + L" has white space around its text",
                          L"the text alone", inner);
  }
  const bool isName = EqualsIgnoringAsciiCase(property.name, L"modelName") ||
                      EqualsIgnoringAsciiCase(property.name, L"optionFamilyName");
  if (isName && inner.empty()) {
    findings->Report(L"empty-name", property.offset, Quoted(property.name) + L" is empty",
                     L"a name for users", L"the name that users know");
  }
  const ConfigKey* const key = FindConfigKey(property.name);
  if (key != nullptr && key->isPlaceholder && property.value == key->sample) {
    findings->Report(L"placeholder-left", property.valueOffset,
                     Quoted(property.name) + L" is still the placeholder of orv config new",
                     L"the value of this model", L"the intended value");
  }
  if (EqualsIgnoringAsciiCase(property.name, L"type") && inner != L"printer") {
    findings->ReportValue(L"unknown-value", property, L"the file does not describe a printer",
                          L"printer", L"printer");
  }
}

/// Proposes the speeds in ascending order.
void ReportOrder(const FoundProperty& place, std::vector<const FoundProperty*> speeds,
                 std::wstring text, std::wstring list, Findings* findings) {
  std::vector<std::int32_t> sorted;
  for (const FoundProperty* const speed : speeds) sorted.push_back(ToInt(speed->value));
  std::sort(sorted.begin(), sorted.end());
  std::vector<TextEdit> edits;
  for (std::size_t i = 0; i < speeds.size(); ++i) {
    edits.push_back(ReplacedValue(*speeds[i], std::to_wstring(sorted[i])));
  }
  findings->Add({&RuleName(L"speed-order").rule(), place.valueOffset, std::move(text),
                 L"speeds that ascend", std::move(list), std::move(edits)});
}

bool IsSound(const FoundProperty* property) { return property != nullptr && !property->hasFinding; }

/// An optional number.
struct Limit {
  Limit(const FoundProperties& properties, const std::wstring& key)
      : property(Find(properties, key)), value(property != nullptr ? ToInt(property->value) : 0) {}
  explicit operator bool() const { return IsSound(property); }

  const FoundProperty* property;
  std::int64_t value;
};

/// Reports a number that is above another one.
void ReportAbove(RuleName rule, const Limit& number, const Limit& max, std::wstring text,
                 Findings* findings) {
  findings->ReportValue(
      rule, *number.property, std::move(text), L"at most " + std::to_wstring(max.value),
      std::to_wstring(max.value),
      L", or " + std::to_wstring(number.value) + L" or more for " + Quoted(max.property->name));
}

/// The edit that removes a range of the text, and the blanks and the line end before it.
TextEdit Removal(const std::wstring& text, int offset, int end) {
  std::size_t start = static_cast<std::size_t>(offset);
  while (start > 0 && (text[start - 1] == L' ' || text[start - 1] == L'\t')) --start;
  if (start > 0 && text[start - 1] == L'\n') --start;
  if (start > 0 && text[start] == L'\n' && text[start - 1] == L'\r') --start;
  return {static_cast<int>(start), end - static_cast<int>(start), {}};
}

}  // namespace

FoundProperty PropertyAt(CMarkup* xml) {
  const int offset = xml->GetElemOffset();
  const int content = xml->GetContentOffset();
  FoundProperty property = {xml->GetAttrib(L"name"), xml->GetData(), offset,
                            content >= 0 ? content : offset};
  const int end = offset + static_cast<int>(xml->GetSubDoc().size());
  // An empty-element tag becomes a start tag and an end tag.
  property.slot = content >= 0
                      ? TextEdit{content, static_cast<int>(xml->GetElemContent().size()), {}}
                      : TextEdit{end - 2, 2, L"></property>"};
  property.removal = Removal(xml->GetDoc(), offset, end);
  return property;
}

const FoundProperty* Find(const FoundProperties& properties, std::wstring_view key) {
  const FoundProperty* found = nullptr;
  for (const FoundProperty& property : properties) {
    if (EqualsIgnoringAsciiCase(property.name, key)) found = &property;
  }
  return found;
}

TextEdit ReplacedValue(const FoundProperty& property, std::wstring_view value) {
  TextEdit edit = property.slot;
  const std::wstring text = CMarkup::EscapeText(std::wstring(value).c_str());
  // The slot of an empty-element tag contains a start tag's end and an end tag.
  edit.text.insert(edit.text.empty() ? 0 : 1, text);
  return edit;
}

void Findings::ReportValue(RuleName name, const FoundProperty& property, std::wstring text,
                           std::wstring allowed, const std::wstring& value,
                           const std::wstring& otherwise) {
  all_.push_back({&name.rule(), property.valueOffset, std::move(text), std::move(allowed),
                  (value.empty() ? kNothing : value) + otherwise,
                  otherwise.empty() ? std::vector<TextEdit>{ReplacedValue(property, value)}
                                    : std::vector<TextEdit>()});
}

void ReportName(RuleName rule, const FoundProperty& property, std::wstring text,
                std::wstring_view value, std::span<const std::wstring_view> names,
                Findings* findings) {
  const std::wstring nearest(Nearest(value, names));
  if (nearest.empty()) {
    return findings->Report(rule, property.valueOffset, std::move(text), Join(names), kOneOfThem);
  }
  findings->ReportValue(rule, property, std::move(text), Join(names), nearest);
}

bool Findings::HasErrors() const {
  return std::any_of(all_.begin(), all_.end(), [](const Finding& finding) {
    return finding.rule->severity == Severity::kError;
  });
}

std::vector<Finding> Findings::Take() {
  // XML errors are already in order.
  const auto rest = std::stable_partition(all_.begin(), all_.end(), [](const Finding& finding) {
    return finding.rule->name == L"not-well-formed";
  });
  std::stable_sort(rest, all_.end(),
                   [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
  return std::move(all_);
}

std::wstring Join(std::span<const std::wstring_view> names) {
  std::wstring text;
  for (const std::wstring_view name : names) {
    if (!text.empty()) text += L", ";
    text += name;
  }
  return text.empty() ? L"none" : text;
}

void CheckValue(const PropertyRule& rule, const FoundProperty& property, Findings* findings) {
  switch (rule.kind) {
    case ValueKind::kInteger:
    case ValueKind::kRequiredInteger:
      return CheckInteger(property, findings);
    case ValueKind::kBoolean:
      return CheckBoolean(property, findings);
    case ValueKind::kUpperCaseBoolean:
      return CheckUpperCaseBoolean(property, findings);
    case ValueKind::kDateTime:
      return CheckDateTime(property, findings);
    case ValueKind::kGuidance:
      return CheckGuidance(property, findings);
    case ValueKind::kText:
      return CheckText(property, findings);
    case ValueKind::kIgnored:
      return;
  }
}

void CheckTimes(const FoundProperties& properties, Findings* findings) {
  const FoundProperty* const created = Find(properties, L"created");
  const FoundProperty* const modified = Find(properties, L"lastModified");
  if (!IsSound(created) || !IsSound(modified)) return;
  if (IsBefore(modified->value, created->value)) {
    findings->ReportValue(L"time-order", *modified,
                          Quoted(modified->name) + L" is before " + Quoted(created->name),
                          created->value + L" or later", created->value);
  }
}

void CheckModel(const FoundProperties& properties, Findings* findings) {
  const FoundProperty* const id = Find(properties, L"deviceId");
  if (id == nullptr) return;
  const std::wstring text = L";" + id->value;
  const auto hasValue = [&](std::wstring_view key) {
    const std::size_t at = text.find(key);
    return at != text.npos &&
           text.find_first_not_of(L' ', at + key.size()) < text.find(L';', at + 1);
  };
  const auto has = [&](const wchar_t* shortKey, const wchar_t* longKey) {
    return hasValue(shortKey) || hasValue(longKey);
  };
  if (has(L";MFG:", L";MANUFACTURER:") && has(L";MDL:", L";MODEL:")) return;
  findings->Report(
      L"device-id", id->valueOffset, Quoted(id->name) + L" does not name the maker and the model",
      L"KEY:VALUE; pairs with MFG and MDL among them", L"MFG:maker;MDL:model;CLS:PRINTER;");
}

void CheckLabel(const FoundProperties& properties, Findings* findings) {
  const Limit gap(properties, L"maxGapDistance");
  const Limit longest(properties, L"heightMax");
  if (!gap || !longest || gap.value <= longest.value) return;
  ReportAbove(L"label-gap", gap, longest,
              L"the gap of " + NumberAndUnit(gap.property->name, gap.value) +
                  L" is larger than the longest label, " +
                  NumberAndUnit(longest.property->name, longest.value),
              findings);
}

void CheckGeneralSettings(const FoundProperties& settings, const FoundProperties& label,
                          Findings* findings) {
  const Limit head(settings, L"printWidth");
  const Limit widest(label, L"widthMax");
  if (head && widest && head.value > widest.value) {
    ReportAbove(L"print-width", head, widest,
                L"the print head of " + NumberAndUnit(head.property->name, head.value) +
                    L" is wider than the widest label, " +
                    NumberAndUnit(widest.property->name, widest.value),
                findings);
  }
  constexpr std::wstring_view kByDefault = L"ByDefault";
  for (const PropertyRule& rule : kGeneralSettingsRules) {
    if (!rule.key.ends_with(kByDefault)) continue;
    const std::wstring stem(rule.key.substr(0, rule.key.size() - kByDefault.size()));
    const FoundProperty* const byDefault = Find(settings, rule.key);
    const FoundProperty* const enabled = Find(settings, stem + L"Enabled");
    if (!IsSound(byDefault) || !IsSound(enabled)) continue;
    if (ToBool(byDefault->value) && !ToBool(enabled->value)) {
      findings->ReportValue(L"default-not-offered", *byDefault,
                            Quoted(byDefault->name) + L" is true, but " + Quoted(enabled->name) +
                                L" keeps users from changing it",
                            L"true where users can change it", L"false",
                            L", or true for " + Quoted(enabled->name));
    }
  }
}

void CheckSpeeds(const FoundProperties& speeds, std::wstring_view key,
                 const FoundProperty* byDefault, Findings* findings) {
  std::vector<const FoundProperty*> all;
  std::set<std::int32_t> listed;
  for (const FoundProperty& property : speeds) {
    if (!EqualsIgnoringAsciiCase(property.name, key)) continue;
    // Wrong numbers have no meaningful order or default.
    if (property.hasFinding) return;
    all.push_back(&property);
    listed.insert(ToInt(property.value));
  }
  std::wstring list;
  for (const std::int32_t speed : listed) {
    list += (list.empty() ? L"" : L", ") + std::to_wstring(speed);
  }
  std::set<std::int32_t> before;
  bool isOrdered = true;
  for (const FoundProperty* const property : all) {
    const std::int32_t speed = ToInt(property->value);
    if (!before.insert(speed).second) {
      findings->Add({&RuleName(L"speed-duplicate").rule(),
                     property->valueOffset,
                     NumberAndUnit(key, speed) + L" is already in the list",
                     L"every speed once",
                     kNothing,
                     {property->removal}});
    } else if (isOrdered && speed < *before.rbegin()) {
      isOrdered = false;
      ReportOrder(
          *property, all,
          NumberAndUnit(key, speed) + L" comes after " + NumberAndUnit(key, *before.rbegin()), list,
          findings);
    }
  }
  if (!IsSound(byDefault) || listed.empty() || listed.contains(ToInt(byDefault->value))) return;
  const std::int32_t wanted = ToInt(byDefault->value);
  const auto distance = [&](std::int32_t speed) {
    return std::abs(std::int64_t{speed} - std::int64_t{wanted});
  };
  const std::int32_t nearest =
      *std::min_element(listed.begin(), listed.end(),
                        [&](std::int32_t a, std::int32_t b) { return distance(a) < distance(b); });
  findings->ReportValue(
      L"default-not-listed", *byDefault,
      L"the default, " + NumberAndUnit(key, wanted) + L", is not one of the speeds", list,
      std::to_wstring(nearest));
}

}  // namespace orv::tool
