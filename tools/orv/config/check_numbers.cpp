#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "base/utf8.h"
#include "config/values.h"
#include "tools/orv/common/input.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/keys.h"
#include "xml/names.h"

/// Checks the text of numbers, and finds the number that a wrong text means.

namespace orv::tool {
namespace {

constexpr wchar_t kDigits[] = L"0123456789";

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

bool IsPlausible(const ConfigKey& key, double number) {
  return number >= key.bounds.min && number <= key.bounds.max && !IsUnscaled(key, number);
}

/// A character of a number and the one that was meant.
constexpr std::pair<wchar_t, wchar_t> kMeantCharacters[] = {
    {L'O', L'0'},      {L'o', L'0'},  {L'\u2212', L'-'}, {L'\u00A0', L' '},
    {L'\u202F', L' '}, {L'\t', L' '}, {L'\r', L' '},     {L'\n', L' '}};

/// A number split from the unit after it.
struct NumberText {
  std::wstring number;
  std::wstring unit;
};

NumberText SplitUnit(std::wstring_view text) {
  std::wstring meant(text);
  for (wchar_t& character : meant) {
    for (const auto& [written, intended] : kMeantCharacters) {
      if (character == written) character = intended;
    }
  }
  const std::size_t end = meant.find_last_of(L"0123456789.,") + 1;
  NumberText result{std::wstring(Trim(std::wstring_view(meant).substr(0, end))),
                    std::wstring(Trim(std::wstring_view(meant).substr(end)))};
  if (result.number.starts_with(L'+')) result.number.erase(0, 1);
  return result;
}

/// Whether a number has groups of three digits, separated by this character.
bool IsGrouped(std::wstring_view number, wchar_t separator) {
  std::size_t digits = 0;
  bool isGrouped = false;
  for (const wchar_t character : number.substr(number.starts_with(L'-'))) {
    if (character == separator) {
      if (digits == 0 || digits > 3 || (isGrouped && digits != 3)) return false;
      isGrouped = true;
      digits = 0;
    } else if (IsDigit(character)) {
      ++digits;
    } else {
      return false;
    }
  }
  return isGrouped && digits == 3;
}

/// The numbers that a text without a unit can mean, the most likely one first.
std::vector<double> Readings(std::wstring number) {
  std::vector<double> readings;
  const auto add = [&](const std::wstring& decimal) {
    const std::string digits = WideToUtf8(decimal);
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc() && end == digits.data() + digits.size() && std::isfinite(value)) {
      readings.push_back(value);
    }
  };
  constexpr std::wstring_view kMarks = L" '_,.";
  for (const wchar_t separator : kMarks) {
    if (!IsGrouped(number, separator)) continue;
    std::wstring whole = number;
    std::erase(whole, separator);
    add(whole);
  }
  // The last of commas and points starts the fraction; everything else separates groups.
  const std::size_t mark = number.find_last_of(L",.");
  std::wstring decimal;
  for (std::size_t i = 0; i < number.size(); ++i) {
    if (i == mark) {
      decimal += L'.';
    } else if (kMarks.find(number[i]) == kMarks.npos) {
      decimal += number[i];
    }
  }
  // "50,75,100" is a list: what is before the fraction has no groups, or right ones.
  const std::wstring_view whole = std::wstring_view(number).substr(0, mark);
  const std::size_t group = whole.find_first_of(kMarks);
  if (group == whole.npos || IsGrouped(whole, whole[group])) add(decimal);
  return readings;
}

/// A unit, its factor to the stored number, and the kind of keys that it measures.
struct NumberUnit {
  std::wstring_view name;
  double factor;
  Unit unit;
};
constexpr NumberUnit kNumberUnits[] = {
    {L"mm", 1e3, Unit::kLength},    {L"cm", 1e4, Unit::kLength},     {L"m", 1e6, Unit::kLength},
    {L"in", 25400, Unit::kLength},  {L"inch", 25400, Unit::kLength}, {L"\"", 25400, Unit::kLength},
    {L"\u00B5m", 1, Unit::kLength}, {L"um", 1, Unit::kLength},       {L"mm/s", 1e3, Unit::kSpeed},
    {L"in/s", 25400, Unit::kSpeed}, {L"ips", 25400, Unit::kSpeed},   {L"m/s", 1e6, Unit::kSpeed},
    {L"mm", 1e3, Unit::kSpeed},     {L"dpi", 1, Unit::kDpi}};

/// Whether a number has a unit, which may be unknown, and its key is measured in one.
bool HasUnit(const ConfigKey& key, const NumberText& split) {
  return key.unit != Unit::kNone && !split.unit.empty();
}

/// The numbers that a text can mean for a key, the most likely one first.
std::vector<double> ReadingsFor(const ConfigKey& key, const NumberText& split) {
  std::vector<double> results;
  for (const double reading : Readings(split.number)) {
    for (const NumberUnit& unit : kNumberUnits) {
      if (unit.unit == key.unit && EqualsIgnoringAsciiCase(unit.name, split.unit)) {
        results.push_back(reading * unit.factor);
      }
    }
    if (HasUnit(key, split)) continue;
    // A number without a unit is in the stored unit, unless it has a fraction.
    const bool hasFraction = reading != std::floor(reading);
    if (hasFraction && IsScaled(key)) results.push_back(reading * 1000);
    results.insert(results.end(), {reading, -reading});
    if (IsUnscaled(key, reading)) results.push_back(reading * 1000);
    if (key.unit != Unit::kNone && reading > key.bounds.max && std::fmod(reading, 1000) == 0) {
      results.push_back(reading / 1000);
    }
  }
  return results;
}

/// What to write instead of a number.
struct NumberProposal {
  std::wstring text;
  bool isNumber;  ///< otherwise a description
};

/// The proposal for a number that a key does not allow. It violates no other rule of single values.
NumberProposal ProposalFor(const ConfigKey& key, std::wstring_view text) {
  const NumberText split = SplitUnit(text);
  for (const double reading : ReadingsFor(key, split)) {
    if (IsPlausible(key, reading)) {
      return {std::to_wstring(std::llround(reading)), true};
    }
  }
  // The digits before another character, if no others follow: "2 00" is not 2.
  const std::size_t end = text.find_first_not_of(kDigits, text.find_first_of(kDigits));
  const bool isOne = text.find_first_of(kDigits, end) == text.npos;
  const std::int32_t value = HasUnit(key, split) || !isOne ? 0 : ToInt(text);
  if (value != 0 && IsPlausible(key, value)) return {std::to_wstring(value), true};
  if (key.unit != Unit::kNone) return {UnitText(key.unit), false};
  if (key.sample == nullptr || key.bounds.min <= 0) return {L"the intended number", false};
  return {key.sample, true};
}

}  // namespace

std::wstring NumberAndUnit(std::wstring_view key, std::int64_t number) {
  return std::to_wstring(number) + L" (" + NumberWithUnit(key, number) + L")";
}

void CheckInteger(const FoundProperty& property, Findings* findings) {
  static constexpr ConfigKey kUnknown = {{}, Unit::kNone, {INT32_MIN, INT32_MAX}, nullptr, nullptr};
  const ConfigKey* const known = FindConfigKey(property.name);
  const ConfigKey& key = known != nullptr ? *known : kUnknown;
  const auto [min, max] = key.bounds;
  const std::int32_t value = ToInt(property.value);
  const std::wstring number = std::to_wstring(value);
  const std::wstring read = Quoted(property.name) + L" is read as " + number;
  const std::wstring is = Quoted(property.name) + L" is " + NumberAndUnit(property.name, value);
  const std::wstring range = std::to_wstring(min) + L" to " + std::to_wstring(max);
  const auto report = [&](RuleName rule, std::wstring text, std::wstring allowed) {
    NumberProposal proposal = ProposalFor(key, property.value);
    if (!proposal.isNumber) {
      return findings->Report(rule, property.valueOffset, std::move(text), std::move(allowed),
                              std::move(proposal.text));
    }
    findings->ReportValue(rule, property, std::move(text), std::move(allowed), proposal.text);
  };
  switch (FormOfNumber(property.value)) {
    case NumberForm::kWhole:
      break;
    case NumberForm::kPartly:
      return report(L"not-a-number", read, L"the digits of a whole number, nothing else");
    case NumberForm::kNone:
      return report(L"not-a-number", read, L"a whole number");
    case NumberForm::kTooLarge:
      return report(L"number-too-large", read + L", the nearest 32-bit number", range);
  }
  if (value < std::min(min, 1) && min >= 0) {
    report(L"not-positive", Quoted(property.name) + L" is " + number,
           min > 0 ? L"a number above 0" : L"0 or more");
  } else if ((value < min || value > max) && key.unit == Unit::kDpi) {
    report(L"resolution-scale",
           Quoted(property.name) + L" is " + NumberWithUnit(property.name, value), range);
  } else if (value < min || value > max) {
    report(L"unit-scale", is, std::wstring(UnitText(key.unit)) + L", " + range);
  } else if (IsUnscaled(key, value)) {
    report(L"unit-scale", is, std::wstring(UnitText(key.unit)) + L", at least 1000");
  }
}

}  // namespace orv::tool
