#include "tools/orv/config/check_properties.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <list>
#include <optional>
#include <set>
#include <utility>

#include "base/utf8.h"
#include "config/property.h"
#include "config/values.h"
#include "orv/config/config_parser.h"
#include "orv/platform/types.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/keys.h"
#include "xml/names.h"

namespace orv::tool {
namespace {

/// The proposal for a time that cannot be guessed.
constexpr wchar_t kMeantTime[] = L"the intended time";

constexpr std::wstring_view kWhiteSpace = L" \t\r\n\v\f";

std::wstring Quoted(std::wstring_view text) { return L"\"" + std::wstring(text) + L"\""; }

std::wstring WithoutWhiteSpace(std::wstring_view text) {
  return std::wstring(Trim(text, kWhiteSpace));
}

/// How the loader reads a text as a number.
enum class NumberForm { kWhole, kPartly, kNone, kTooLarge };

NumberForm FormOfNumber(std::wstring_view text) {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == text.npos) return NumberForm::kNone;
  std::size_t at = first + (text[first] == L'-' || text[first] == L'+');
  const std::size_t digits = at;
  while (at < text.size() && text[at] >= L'0' && text[at] <= L'9') ++at;
  if (at == digits) return NumberForm::kNone;
  if (at != text.size() || first != 0) return NumberForm::kPartly;
  const std::wstring_view magnitude =
      text.substr(std::min(text.find_first_not_of(L'0', digits), at - 1));
  const std::wstring limit = text[first] == L'-' ? L"2147483648" : L"2147483647";
  if (magnitude.size() > limit.size() || (magnitude.size() == limit.size() && magnitude > limit)) {
    return NumberForm::kTooLarge;
  }
  return NumberForm::kWhole;
}

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

/// A number of the file with its value in units: "75000 (75 mm/s)".
std::wstring NumberAndUnit(std::wstring_view key, std::int64_t number) {
  return std::to_wstring(number) + L" (" + NumberWithUnit(key, number) + L")";
}

/// The meaning of numbers with a unit.
const wchar_t* UnitText(Unit unit) {
  constexpr const wchar_t* kTexts[] = {L"a number", L"thousandths of a millimetre",
                                       L"millimetres a second multiplied by 1000",
                                       L"dots per inch, such as 300"};
  return kTexts[static_cast<int>(unit)];
}

/// Whether a key's numbers are millimetres multiplied by 1000.
bool IsScaled(const ConfigKey& key) {
  return key.unit == Unit::kLength || key.unit == Unit::kSpeed;
}

/// The smallest plausible scaled number above 0.
constexpr std::int32_t kMinScaled = 1000;

/// The number for a length with its unit, if the key holds lengths or speeds.
std::optional<std::int64_t> IntendedNumber(const ConfigKey& key, const FoundProperty& property) {
  std::wstring text = WithoutWhiteSpace(property.value);
  std::erase(text, L' ');
  if (!IsScaled(key)) return {};
  if (key.unit == Unit::kSpeed && text.ends_with(L"/s")) text.resize(text.size() - 2);
  const std::optional<double> millimetres = ParseMillimetres(WideToUtf8(text));
  if (!millimetres || std::abs(*millimetres) > 1e6) return {};
  return std::llround(*millimetres * 1000);
}

/// The proposal for a number that a key does not allow: the number without its sign if only the
/// sign is wrong, otherwise a sample or the unit. The proposal violates no other rule.
std::wstring Proposal(const ConfigKey& key, std::int64_t number) {
  const auto [min, max] = key.bounds;
  const std::int64_t meant = number < min ? -number : number;
  const bool isUnscaled = min > 0 && IsScaled(key) && meant < kMinScaled;
  if (meant >= min && meant <= max && !isUnscaled) return std::to_wstring(meant);
  return key.unit == Unit::kNone ? key.sample : UnitText(key.unit);
}

void CheckInteger(const FoundProperty& property, Findings* findings) {
  const std::wstring what = Quoted(property.name) + L" is read as ";
  const std::int32_t value = ToInt(property.value);
  const std::wstring number = std::to_wstring(value);
  static constexpr ConfigKey kUnknown = {{}, Unit::kNone, {INT32_MIN, INT32_MAX}, nullptr, nullptr};
  const ConfigKey* const known = FindConfigKey(property.name);
  const ConfigKey& key = known != nullptr ? *known : kUnknown;
  const auto [min, max] = key.bounds;
  switch (FormOfNumber(property.value)) {
    case NumberForm::kWhole:
      break;
    case NumberForm::kPartly:
      findings->Report(L"not-a-number", property.valueOffset, what + number,
                       L"the digits of a whole number, nothing else",
                       Proposal(key, IntendedNumber(key, property).value_or(value)));
      return;
    case NumberForm::kNone:
      findings->Report(L"not-a-number", property.valueOffset, what + L"0", L"a whole number",
                       min > 0 ? Proposal(key, 0) : L"0, or the intended number");
      return;
    case NumberForm::kTooLarge:
      findings->Report(L"number-too-large", property.valueOffset,
                       what + number + L", the nearest 32-bit number",
                       std::to_wstring(min) + L" to " + std::to_wstring(max), Proposal(key, value));
      return;
  }
  if (value < min) {
    findings->Report(L"not-positive", property.valueOffset,
                     Quoted(property.name) + L" is " + number,
                     min > 0 ? L"a number above 0" : L"0 or more", Proposal(key, value));
  } else if (value > max) {
    findings->Report(L"resolution-scale", property.valueOffset,
                     Quoted(property.name) + L" is " + NumberWithUnit(property.name, value),
                     L"at most " + std::to_wstring(max), Proposal(key, value));
  } else if (value < kMinScaled && min > 0 && IsScaled(key)) {
    findings->Report(L"unit-scale", property.valueOffset,
                     Quoted(property.name) + L" is " + NumberAndUnit(property.name, value),
                     std::wstring(UnitText(key.unit)) + L", 1000 at least", number + L"000");
  }
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
  findings->Report(L"not-a-boolean", property.valueOffset,
                   Quoted(property.name) + L" is read as false", L"true or false",
                   IntendedTruth(property.value));
}

void CheckUpperCaseBoolean(const FoundProperty& property, Findings* findings) {
  if (ToUpperCaseBool(property.value) || EqualsIgnoringAsciiCase(property.value, L"false")) return;
  const bool isTrue = IntendedTruth(property.value) == std::wstring_view(L"true");
  findings->Report(L"true-in-capitals", property.valueOffset,
                   Quoted(property.name) + L" is read as false", L"TRUE in capitals, or FALSE",
                   isTrue ? L"TRUE" : L"FALSE");
}

void CheckDateTime(const FoundProperty& property, Findings* findings) {
  constexpr std::size_t kDateSize = 10;
  constexpr std::size_t kSize = 19;
  const std::wstring& value = property.value;
  if (value.size() != kSize) {
    findings->Report(L"not-a-time", property.valueOffset,
                     Quoted(property.name) + L" is not a valid date and time, and is ignored",
                     L"19 characters such as 2026-03-02T08:00:00",
                     value.size() == kDateSize ? value + L"T00:00:00" : kMeantTime);
  } else if (!IsValidDateTime(value)) {
    findings->Report(L"not-a-time", property.valueOffset,
                     Quoted(property.name) + L" is not an existing date and time",
                     L"an existing date and time such as 2026-03-02T08:00:00", kMeantTime);
  }
}

void CheckGuidance(const FoundProperty& property, Findings* findings) {
  std::vector<std::wstring_view> names;
  for (const auto& known : kGuidanceNames) {
    if (EqualsIgnoringAsciiCase(known.name, property.value)) return;
    names.push_back(known.name);
  }
  findings->Report(L"unknown-value", property.valueOffset, Quoted(property.name) + L" is ignored",
                   Join(names), NearestOr(property.value, names, kOneOfThem));
}

void CheckText(const FoundProperty& property, Findings* findings) {
  const std::wstring inner = WithoutWhiteSpace(property.value);
  if (inner != property.value) {
    findings->Report(L"white-space", property.valueOffset,
                     Quoted(property.name) + L" has white space around its text", L"the text alone",
                     inner.empty() ? kNothing : inner);
  }
  const bool isName = EqualsIgnoringAsciiCase(property.name, L"modelName") ||
                      EqualsIgnoringAsciiCase(property.name, L"optionFamilyName");
  if (isName && inner.empty()) {
    findings->Report(L"empty-name", property.offset, Quoted(property.name) + L" is empty",
                     L"a name for users", L"the name that users know");
  }
  if (EqualsIgnoringAsciiCase(property.name, L"type") && inner != L"printer") {
    findings->Report(L"unknown-value", property.valueOffset,
                     L"the file does not describe a printer", L"printer", L"printer");
  }
}

/// An optional number of a group.
struct Limit {
  Limit(const FoundProperties& properties, const std::wstring& key)
      : property(orv::tool::Find(properties, key)),
        value(property != nullptr ? ToInt(property->value) : 0) {}
  explicit operator bool() const { return property != nullptr; }
  std::wstring Name() const { return Quoted(property->name); }

  const FoundProperty* property;
  std::int64_t value;
};

/// Describes the values of a range.
std::wstring RangeText(std::int64_t low, std::int64_t high, std::int64_t step) {
  const std::wstring text = std::to_wstring(low) + L" to " + std::to_wstring(high);
  return step > 1 ? text + L" in steps of " + std::to_wstring(step) : text;
}

/// The value of a range that is nearest to a number.
std::int64_t NearestIn(std::int64_t low, std::int64_t high, std::int64_t step, std::int64_t value) {
  const std::int64_t inside = std::clamp(value, low, high);
  if (step <= 0) return inside;
  return std::min(low + (inside - low + step / 2) / step * step, low + (high - low) / step * step);
}

/// The largest divisor of a width above 0 that is at most `step`.
std::int64_t DividingStep(std::int64_t width, std::int64_t step) {
  std::int64_t longest = 1;
  for (std::int64_t low = 1; low * low <= width; ++low) {
    if (width % low != 0) continue;
    for (const std::int64_t divisor : {low, width / low}) {
      if (divisor <= step) longest = std::max(longest, divisor);
    }
  }
  return longest;
}

/// The finding for a step above 0 that does not divide the range.
struct StepFault {
  std::wstring text;
  std::wstring allowed;
  std::wstring proposal;
};

StepFault FaultOf(const Limit& low, const Limit& high, const Limit& step) {
  const std::int64_t width = high.value - low.value;
  const std::wstring last = std::to_wstring(low.value + width / step.value * step.value);
  return {
      step.Name() + L" (" + std::to_wstring(step.value) + L") does not divide the range " +
          std::to_wstring(low.value) + L" to " + std::to_wstring(high.value) +
          L"; the last value is " + last,
      L"a divisor of " + std::to_wstring(width),
      std::to_wstring(DividingStep(width, step.value)) + L", or " + last + L" for " + high.Name()};
}

/// The two possible corrections when a number must not be above another one.
std::wstring AtMostOrMore(const Limit& number, const Limit& most) {
  return std::to_wstring(most.value) + L", or " + std::to_wstring(number.value) + L" or more for " +
         most.Name();
}

void CheckGroup(const Limit& low, const Limit& high, const Limit& step, const Limit& byDefault,
                Findings* findings) {
  if (low.value > high.value) {
    findings->Report(L"range-order", low.property->valueOffset,
                     low.Name() + L" (" + std::to_wstring(low.value) + L") is above " + high.Name(),
                     L"at most " + std::to_wstring(high.value),
                     std::to_wstring(high.value) + L", and " + std::to_wstring(low.value) +
                         L" for " + high.Name());
    return;
  }
  const bool hasStep = step && step.value > 0;
  if (hasStep && (high.value - low.value) % step.value != 0) {
    const StepFault fault = FaultOf(low, high, step);
    findings->Report(L"range-step", step.property->valueOffset, fault.text, fault.allowed,
                     fault.proposal);
  }
  if (!byDefault) return;
  const std::int64_t width = hasStep ? step.value : 1;
  const std::int64_t value = byDefault.value;
  const bool isInside = value >= low.value && value <= high.value;
  if (isInside && (value - low.value) % width == 0) return;
  findings->Report(L"default-outside-range", byDefault.property->valueOffset,
                   byDefault.Name() + L" (" + std::to_wstring(value) + L") is " +
                       (isInside ? L"between two steps" : L"outside its range"),
                   RangeText(low.value, high.value, width),
                   std::to_wstring(NearestIn(low.value, high.value, width, value)));
}

}  // namespace

const FoundProperty* Find(const FoundProperties& properties, std::wstring_view key) {
  const FoundProperty* found = nullptr;
  for (const FoundProperty& property : properties) {
    if (EqualsIgnoringAsciiCase(property.name, key)) found = &property;
  }
  return found;
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

void CheckGroups(std::span<const PropertyRule> rules, const FoundProperties& properties,
                 Findings* findings) {
  constexpr std::wstring_view kMin = L"Min";
  for (const PropertyRule& rule : rules) {
    if (!rule.key.ends_with(kMin)) continue;
    const std::wstring stem(rule.key.substr(0, rule.key.size() - kMin.size()));
    const Limit low(properties, stem + L"Min");
    const Limit high(properties, stem + L"Max");
    const Limit step(properties, stem + L"Step");
    if (step && step.value <= 0) {
      findings->Report(L"range-step", step.property->valueOffset,
                       step.Name() + L" is " + std::to_wstring(step.value), L"a number above 0",
                       L"1");
    }
    if (!low || !high) continue;
    CheckGroup(low, high, step, Limit(properties, stem + L"Default"), findings);
  }
}

void CheckTimes(const FoundProperties& properties, Findings* findings) {
  const FoundProperty* const created = Find(properties, L"created");
  const FoundProperty* const modified = Find(properties, L"lastModified");
  if (created == nullptr || modified == nullptr) return;
  const std::int64_t first = ToDateTime(created->value);
  const std::int64_t last = ToDateTime(modified->value);
  if (first != 0 && last != 0 && last < first) {
    findings->Report(L"time-order", modified->valueOffset,
                     Quoted(modified->name) + L" is before " + Quoted(created->name),
                     created->value + L" or later", created->value);
  }
}

void CheckModel(const FoundProperties& properties, Findings* findings) {
  const FoundProperty* const id = Find(properties, L"deviceId");
  if (id == nullptr) return;
  const std::wstring text = L";" + id->value;
  const auto has = [&](const wchar_t* shortKey, const wchar_t* longKey) {
    return text.find(shortKey) != text.npos || text.find(longKey) != text.npos;
  };
  if (has(L";MFG:", L";MANUFACTURER:") && has(L";MDL:", L";MODEL:")) return;
  findings->Report(
      L"device-id", id->valueOffset, Quoted(id->name) + L" does not name the maker and the model",
      L"KEY:VALUE; pairs with MFG and MDL among them", L"MFG:maker;MDL:model;CLS:PRINTER;");
}

void CheckLabel(const FoundProperties& properties, Findings* findings) {
  const Limit gap(properties, L"maxGapDistance");
  const Limit longest(properties, L"heightMax");
  if (!gap || !longest) return;
  if (longest.value > 0 && gap.value > longest.value) {
    findings->Report(L"label-gap", gap.property->valueOffset,
                     L"the gap of " + NumberAndUnit(gap.property->name, gap.value) +
                         L" is larger than the longest label, " +
                         NumberAndUnit(longest.property->name, longest.value),
                     L"at most " + std::to_wstring(longest.value), AtMostOrMore(gap, longest));
  }
}

void CheckGeneralSettings(const FoundProperties& settings, const FoundProperties& label,
                          Findings* findings) {
  const Limit head(settings, L"printWidth");
  const Limit widest(label, L"widthMax");
  if (head && widest && widest.value > 0 && head.value > widest.value) {
    findings->Report(L"print-width", head.property->valueOffset,
                     L"the print head of " + NumberAndUnit(head.property->name, head.value) +
                         L" is wider than the widest label, " +
                         NumberAndUnit(widest.property->name, widest.value),
                     L"at most " + std::to_wstring(widest.value), AtMostOrMore(head, widest));
  }
  constexpr std::wstring_view kByDefault = L"ByDefault";
  for (const PropertyRule& rule : kGeneralSettingsRules) {
    if (!rule.key.ends_with(kByDefault)) continue;
    const std::wstring stem(rule.key.substr(0, rule.key.size() - kByDefault.size()));
    const FoundProperty* const byDefault = Find(settings, rule.key);
    const FoundProperty* const enabled = Find(settings, stem + L"Enabled");
    if (byDefault == nullptr || enabled == nullptr) continue;
    if (ToBool(byDefault->value) && !ToBool(enabled->value)) {
      findings->Report(L"default-not-offered", byDefault->valueOffset,
                       Quoted(byDefault->name) + L" is true, but " + Quoted(enabled->name) +
                           L" keeps users from changing it",
                       L"true where users can change it",
                       L"false, or true for " + Quoted(enabled->name));
    }
  }
}

void CheckDarkness(const FoundProperties& properties, Findings* findings) {
  const Limit low(properties, L"darknessMin");
  const Limit high(properties, L"darknessMax");
  const Limit step(properties, L"darknessStep");
  const Limit byDefault(properties, L"darknessDefault");
  if (!low || !high || !step || !byDefault) return;  // reported as missing
  std::list<int> values;
  const CString error = CConfigParser::GenerateListValues(
      static_cast<int>(low.value), static_cast<int>(high.value), static_cast<int>(step.value),
      static_cast<int>(byDefault.value), values);
  if (error.empty()) return;

  constexpr std::int64_t kMaxLevels = 1000;
  const std::int64_t width = high.value - low.value;
  const auto report = [&](const Limit& place, const std::wstring& text, std::wstring allowed,
                          std::wstring proposal) {
    findings->Report(L"darkness-list", place.property->valueOffset,
                     text + L", and the file does not load", std::move(allowed),
                     std::move(proposal));
  };
  if (width < 0) {
    report(low, low.Name() + L" is above " + high.Name(), L"at most " + std::to_wstring(high.value),
           std::to_wstring(high.value) + L", and " + std::to_wstring(low.value) + L" for " +
               high.Name());
  } else if (step.value <= 0) {
    report(step, step.Name() + L" is " + std::to_wstring(step.value), L"a number above 0", L"1");
  } else if (width / step.value >= kMaxLevels) {
    const std::wstring least = std::to_wstring((width + kMaxLevels - 2) / (kMaxLevels - 1));
    report(step, L"there are more than 1000 levels", L"a step of " + least + L" at least", least);
  } else if (width % step.value != 0) {
    const StepFault fault = FaultOf(low, high, step);
    report(step, fault.text, fault.allowed, fault.proposal);
  } else {
    report(byDefault, byDefault.Name() + L" is not one of the levels",
           RangeText(low.value, high.value, step.value),
           std::to_wstring(NearestIn(low.value, high.value, step.value, byDefault.value)));
  }
}

void CheckSpeeds(const FoundProperties& speeds, std::wstring_view key,
                 const FoundProperty* byDefault, Findings* findings) {
  std::set<std::int32_t> listed;
  for (const FoundProperty& property : speeds) {
    if (EqualsIgnoringAsciiCase(property.name, key)) listed.insert(ToInt(property.value));
  }
  std::wstring list;
  for (const std::int32_t speed : listed) {
    list += (list.empty() ? L"" : L", ") + std::to_wstring(speed);
  }
  std::set<std::int32_t> before;
  const FoundProperty* last = nullptr;
  for (const FoundProperty& property : speeds) {
    if (!EqualsIgnoringAsciiCase(property.name, key)) continue;
    const std::int32_t speed = ToInt(property.value);
    if (!before.insert(speed).second) {
      findings->Report(L"speed-duplicate", property.valueOffset,
                       NumberAndUnit(key, speed) + L" is already in the list", L"every speed once",
                       kNothing);
    } else if (last != nullptr && speed < ToInt(last->value)) {
      findings->Report(
          L"speed-order", property.valueOffset,
          NumberAndUnit(key, speed) + L" comes after " + NumberAndUnit(key, ToInt(last->value)),
          L"speeds that ascend", list);
    }
    last = &property;
  }
  if (byDefault == nullptr || listed.empty() || listed.contains(ToInt(byDefault->value))) return;
  const std::int32_t wanted = ToInt(byDefault->value);
  const auto distance = [&](std::int32_t speed) {
    return std::abs(std::int64_t{speed} - std::int64_t{wanted});
  };
  const std::int32_t nearest =
      *std::min_element(listed.begin(), listed.end(),
                        [&](std::int32_t a, std::int32_t b) { return distance(a) < distance(b); });
  findings->Report(L"default-not-listed", byDefault->valueOffset,
                   L"the default, " + NumberAndUnit(key, wanted) + L", is not one of the speeds",
                   list, std::to_wstring(nearest));
}

}  // namespace orv::tool
