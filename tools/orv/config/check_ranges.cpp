#include <algorithm>
#include <cstdint>
#include <list>
#include <numeric>

#include "config/values.h"
#include "orv/config/config_parser.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/keys.h"
#include "tools/orv/config/rules.h"

/// Checks ranges: the minimum, maximum, step and default of a group, and the darkness levels.

namespace orv::tool {
namespace {

constexpr std::int64_t kMaxLevels = 1000;

/// The four numbers of a range.
enum RangePart { kMin, kMax, kStep, kDefault, kRangeParts };
constexpr std::wstring_view kRangeSuffixes[kRangeParts] = {L"Min", L"Max", L"Step", L"Default"};

/// The numbers of a range, by `RangePart`.
struct RangeValues {
  std::int64_t value[kRangeParts];

  std::int64_t operator[](RangePart part) const { return value[part]; }
  RangeValues With(RangePart part, std::int64_t number) const {
    RangeValues changed = *this;
    changed.value[part] = number;
    return changed;
  }
};

/// The value of a range that is nearest to a number; `step` is above 0.
std::int64_t NearestIn(std::int64_t low, std::int64_t high, std::int64_t step, std::int64_t value) {
  const std::int64_t inside = std::clamp(value, low, high);
  return std::min(low + (inside - low + step / 2) / step * step, low + (high - low) / step * step);
}

/// The divisor of `width` that is nearest to `step`, smaller ones first, and at least `min`; 0
/// if no value is right.
std::int64_t DividingStep(std::int64_t width, std::int64_t step, std::int64_t min) {
  std::int64_t below = 0;
  std::int64_t above = 0;
  const auto use = [&](std::int64_t divisor) {
    if (divisor < min) return;
    if (divisor <= step) below = std::max(below, divisor);
    if (divisor > step && (above == 0 || divisor < above)) above = divisor;
  };
  for (std::int64_t low = 1; low * low <= width; ++low) {
    if (width % low != 0) continue;
    use(low);
    use(width / low);
  }
  return below != 0 ? below : above;
}

/// A range of the file, its rules, and the change that corrects it.
class RangeCheck {
 public:
  /// `stem` is the common part of the keys.
  RangeCheck(const FoundProperties& properties, std::wstring_view stem, bool isExpanded)
      : isExpanded_(isExpanded) {
    for (int i = 0; i < kRangeParts; ++i) {
      parts_[i] = Find(properties, std::wstring(stem).append(kRangeSuffixes[i]));
      if (parts_[i] == nullptr) continue;
      isSound_ = isSound_ && !parts_[i]->hasFinding;
      range_.value[i] = ToInt(parts_[i]->value);
    }
  }

  void Run(Findings* findings) const {
    const bool isComplete =
        Has(kMin) && Has(kMax) && (!isExpanded_ || (Has(kStep) && Has(kDefault)));
    if (!isComplete || IsRight(range_)) return;
    // A finding of a single value is the cause of any disagreement.
    if (!isSound_) return ReportCause(findings);
    for (const RangeValues& candidate : Candidates()) {
      if (IsAllowed(candidate) && IsRight(candidate)) return Report(candidate, findings);
    }
  }

 private:
  bool Has(RangePart part) const { return parts_[part] != nullptr; }
  std::wstring Number(RangePart part) const { return std::to_wstring(range_[part]); }
  std::wstring Name(RangePart part) const { return Quoted(parts_[part]->name); }

  /// The loader's error for the range, if it expands it.
  static std::wstring LoadError(const RangeValues& range) {
    std::list<int> values;
    return CConfigParser::GenerateListValues(
        static_cast<int>(range[kMin]), static_cast<int>(range[kMax]),
        static_cast<int>(range[kStep]), static_cast<int>(range[kDefault]), values);
  }

  /// Whether the changed numbers are within the bounds of their keys.
  bool IsAllowed(const RangeValues& range) const {
    for (const RangePart part : {kMin, kMax, kStep, kDefault}) {
      if (range[part] == range_[part]) continue;
      const ConfigKey* const key = Has(part) ? FindConfigKey(parts_[part]->name) : nullptr;
      const auto [low, high] = key != nullptr ? key->bounds : NumberBounds{INT32_MIN, INT32_MAX};
      if (range[part] < low || range[part] > high) return false;
    }
    return true;
  }

  bool IsRight(const RangeValues& range) const {
    if (isExpanded_) return LoadError(range).empty();
    const std::int64_t min = range[kMin];
    const std::int64_t max = range[kMax];
    const std::int64_t step = range[kStep];
    const std::int64_t byDefault = range[Has(kDefault) ? kDefault : kMin];
    if (min > max || byDefault < min || byDefault > max) return false;
    // The step of a range with one value has no meaning.
    if (min == max) return step >= 0;
    return step > 0 && (max - min) % step == 0 && (byDefault - min) % step == 0;
  }

  /// Whether the step leads from one number to another.
  bool IsReached(std::int64_t from, std::int64_t to) const {
    return range_[kStep] > 0 && (to - from) % range_[kStep] == 0;
  }

  /// The number that probably causes the disagreement: the one that differs from two that agree.
  RangePart Suspect() const {
    const auto [min, max, step, byDefault] = range_.value;
    if (step <= 0) return kStep;
    // Without a default, 0 is the value that ranges usually contain.
    const std::int64_t third = Has(kDefault) ? byDefault : 0;
    const bool lowAgrees = min <= third && IsReached(min, third);
    const bool highAgrees = third <= max && IsReached(third, max);
    const bool endsAgree = min <= max && IsReached(min, max);
    if (endsAgree) return kDefault;
    if (lowAgrees == highAgrees) return kStep;
    return lowAgrees ? kMax : kMin;
  }

  /// The range with one other number, which agrees with the rest if any number does.
  RangeValues Corrected(RangePart part) const {
    const auto [min, max, step, byDefault] = range_.value;
    const std::int64_t width = std::max<std::int64_t>(step, 1);
    // Whole steps, at least none.
    const auto steps = [width](std::int64_t distance) {
      return distance <= 0 ? 0 : (distance + width / 2) / width * width;
    };
    const std::int64_t low = Has(kDefault) ? byDefault : min;
    const std::int64_t high = Has(kDefault) ? byDefault : max;
    switch (part) {
      case kMin:
        return range_.With(kMin, high - steps(high - min));
      case kMax:
        return range_.With(kMax, low + steps(max - low));
      case kStep:
        // A range with one value has no dividing step.
        return range_.With(
            kStep, std::max<std::int64_t>(1, DividingStep(std::gcd(max - min, low - min),
                                                          std::max<std::int64_t>(std::abs(step), 1),
                                                          SmallestStep(max - min))));
      default:
        return range_.With(kDefault,
                           min <= max ? NearestIn(min, max, width, byDefault) : byDefault);
    }
  }

  /// The smallest step above 0 that gives a range of this width at most the allowed levels.
  std::int64_t SmallestStep(std::int64_t width) const {
    return isExpanded_ ? std::max<std::int64_t>((width + kMaxLevels - 2) / (kMaxLevels - 1), 1) : 1;
  }

  /// The corrections in the order of their likelihood; the last one corrects all numbers and is
  /// always right.
  std::vector<RangeValues> Candidates() const {
    const auto [min, max, step, byDefault] = range_.value;
    std::vector<RangeValues> candidates;
    if (min > max) candidates.push_back(range_.With(kMin, max).With(kMax, min));
    for (const RangePart part : {Suspect(), kStep, kMax, kMin, kDefault}) {
      if (Has(part)) candidates.push_back(Corrected(part));
    }
    // The loader adds a step to the last value, too, in 32 bits.
    const std::int64_t most = std::int64_t{INT32_MAX} - (isExpanded_ ? 1 : 0);
    const std::int64_t low = std::min({min, max, most});
    const std::int64_t width = std::max(min, max) - low;
    const std::int64_t wide =
        std::max(std::min({std::abs(step), width, std::int64_t{INT32_MAX}}), SmallestStep(width));
    const std::int64_t room = isExpanded_ ? INT32_MAX - wide - low : width;
    const std::int64_t high = low + std::min(width, room) / wide * wide;
    RangeValues last = range_.With(kMin, low).With(kMax, high);
    if (Has(kStep)) last = last.With(kStep, wide);
    if (Has(kDefault)) last = last.With(kDefault, NearestIn(low, high, wide, byDefault));
    candidates.push_back(last);
    return candidates;
  }

  /// What is wrong with the range, its rule unless it is expanded, and what is allowed.
  struct Fault {
    RuleName rule;
    std::wstring text;
    std::wstring allowed;
  };

  Fault FaultOfRange() const {
    const auto [min, max, step, byDefault] = range_.value;
    const std::wstring ends = std::to_wstring(min) + L" to " + std::to_wstring(max);
    if (min > max) {
      return {L"range-order",
              Name(kMin) + L" (" + std::to_wstring(min) + L") is above " + Name(kMax),
              L"at most " + std::to_wstring(max)};
    }
    if (step <= 0) {
      return {L"range-step", Name(kStep) + L" is " + std::to_wstring(step), L"a number above 0"};
    }
    if ((max - min) % step != 0) {
      return {L"range-step",
              Name(kStep) + L" (" + std::to_wstring(step) + L") does not divide the range " + ends +
                  L"; the last value is " + std::to_wstring(min + (max - min) / step * step),
              L"a divisor of " + std::to_wstring(max - min)};
    }
    if (isExpanded_ && (max - min) / step >= kMaxLevels) {
      return {L"range-step", L"there are more than 1000 levels",
              L"a step of at least " + std::to_wstring(SmallestStep(max - min))};
    }
    const bool isInside = byDefault >= min && byDefault <= max;
    return {L"default-outside-range",
            Name(kDefault) + L" (" + std::to_wstring(byDefault) + L") is " +
                (isInside ? L"between two steps" : L"outside its range"),
            step > 1 ? ends + L" in steps of " + std::to_wstring(step) : ends};
  }

  /// Reports values that are not written as numbers, if the file does not load with what is read.
  void ReportCause(Findings* findings) const {
    if (!isExpanded_ || !std::ranges::all_of(parts_, &FoundProperty::isRead)) return;
    const auto* const first = *std::ranges::find_if(parts_, &FoundProperty::hasFinding);
    const auto read = [this](RangePart part) {
      return std::to_wstring(ToInt(parts_[part]->value));
    };
    findings->Report(L"darkness-list", first->valueOffset,
                     L"the values are read as " + read(kMin) + L" to " + read(kMax) +
                         L" in steps of " + read(kStep) + L", default " + read(kDefault) +
                         L": they form no list of levels, so the file does not load",
                     L"a list of levels", L"each value as a whole number");
  }

  void Report(const RangeValues& right, Findings* findings) const {
    std::vector<TextEdit> edits;
    std::wstring proposal;
    const FoundProperty* place = nullptr;
    RangePart first = kMin;
    for (const RangePart part : {kMin, kMax, kStep, kDefault}) {
      if (right[part] == range_[part]) continue;
      const std::wstring number = std::to_wstring(right[part]);
      if (place == nullptr) {
        place = parts_[part];
        first = part;
        proposal = number;
      } else {
        proposal += L", and " + number + L" for " + Name(part);
      }
      edits.push_back(ReplacedValue(*parts_[part], number));
    }
    Fault fault = FaultOfRange();
    if (first == kStep && range_[kStep] > 0) {
      if (const RangeValues other = Corrected(kMax); IsRight(other)) {
        proposal += L", or " + std::to_wstring(other[kMax]) + L" for " + Name(kMax);
      }
    }
    if (first != AboutPart(fault.rule)) {
      const bool hasSteps = range_[kStep] > 1 && right[kStep] == range_[kStep];
      const bool isMore = first == kMax && right[kMax] > range_[kMax];
      fault.allowed = std::to_wstring(right[first]) + (isMore ? L" or more" : L" or less") +
                      (hasSteps ? L" in steps of " + Number(kStep) : L"");
    }
    if (isExpanded_) {
      fault.rule = L"darkness-list";
      fault.text += L", and the file does not load";
    }
    findings->Add({&fault.rule.rule(), place->valueOffset, std::move(fault.text),
                   std::move(fault.allowed), std::move(proposal), std::move(edits)});
  }

  static RangePart AboutPart(RuleName rule) {
    if (rule.index == RuleName(L"range-order").index) return kMin;
    return rule.index == RuleName(L"range-step").index ? kStep : kDefault;
  }

  bool isExpanded_;
  bool isSound_ = true;
  const FoundProperty* parts_[kRangeParts] = {};
  RangeValues range_ = {{0, 0, 1, 0}};
};

}  // namespace

void CheckGroups(std::span<const PropertyRule> rules, const FoundProperties& properties,
                 Findings* findings) {
  constexpr std::wstring_view kSuffix = kRangeSuffixes[kMin];
  for (const PropertyRule& rule : rules) {
    if (!rule.key.ends_with(kSuffix)) continue;
    // The loader expands the darkness range.
    RangeCheck(properties, rule.key.substr(0, rule.key.size() - kSuffix.size()),
               rules.data() == kDarknessRules.data())
        .Run(findings);
  }
}

}  // namespace orv::tool
