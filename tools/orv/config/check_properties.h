#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/rules.h"

/// Checks the properties of one element: each value, and values against each other.

namespace orv::tool {

/// A property in the file.
struct FoundProperty {
  std::wstring name;
  std::wstring value;
  int offset;
  int valueOffset;  ///< the offset of the property if it has no text
};
using FoundProperties = std::vector<FoundProperty>;

/// The last property with a key, which is the one that takes effect; null when there is none.
const FoundProperty* Find(const FoundProperties& properties, std::wstring_view key);

/// Collects findings.
class Findings {
 public:
  void Report(RuleName name, int offset, std::wstring text, std::wstring allowed,
              std::wstring proposal) {
    all_.push_back({&name.rule(), std::max(offset, 0), std::move(text), std::move(allowed),
                    std::move(proposal)});
  }
  void Add(Finding&& finding) { all_.push_back(std::move(finding)); }
  bool HasErrors() const;
  /// Removes and returns all findings: XML errors first, then the others in the order of the text.
  std::vector<Finding> Take();

 private:
  std::vector<Finding> all_;
};

/// Checks the text of one property.
void CheckValue(const PropertyRule& rule, const FoundProperty& property, Findings* findings);

/// Checks that the minimum, maximum, step and default of every group agree.
void CheckGroups(std::span<const PropertyRule> rules, const FoundProperties& properties,
                 Findings* findings);

/// Checks that the file was not modified before it was created.
void CheckTimes(const FoundProperties& properties, Findings* findings);

/// Checks the device identifier.
void CheckModel(const FoundProperties& properties, Findings* findings);

/// Checks that the gap is not larger than the longest label.
void CheckLabel(const FoundProperties& properties, Findings* findings);

/// Checks that the print head is not wider than the labels, and that settings that are on by
/// default can be changed.
void CheckGeneralSettings(const FoundProperties& settings, const FoundProperties& label,
                          Findings* findings);

/// Checks that the darkness range can be expanded into a list of levels.
void CheckDarkness(const FoundProperties& properties, Findings* findings);

/// Checks a list of speeds, which are all properties of the key, and the default if there is one.
void CheckSpeeds(const FoundProperties& speeds, std::wstring_view key,
                 const FoundProperty* byDefault, Findings* findings);

/// "first, second, third", or "none".
std::wstring Join(std::span<const std::wstring_view> names);

}  // namespace orv::tool
