#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orv/config/check.h"
#include "tools/orv/config/rules.h"

/// The rules about the properties of one element: their values, and their values against each
/// other.

namespace orv::tool {

/// A property as it stands in the file.
struct FoundProperty {
  std::wstring name;
  std::wstring value;
  int offset;
  int valueOffset;  ///< that of the property where there is no text
};
using FoundProperties = std::vector<FoundProperty>;

/// The last property of a key, which is the one that counts; null when there is none.
const FoundProperty* Find(const FoundProperties& properties, std::wstring_view key);

/// Takes findings.
class Findings {
 public:
  void Report(RuleName name, int offset, std::wstring text, std::wstring allowed,
              std::wstring proposal) {
    all_.push_back({&name.rule(), std::max(offset, 0), std::move(text), std::move(allowed),
                    std::move(proposal)});
  }
  void Add(Finding&& finding) { all_.push_back(std::move(finding)); }
  bool HasErrors() const;
  /// All of them: those of the markup, then the others in the order of their places.
  std::vector<Finding> Take();

 private:
  std::vector<Finding> all_;
};

/// Checks the text of one property.
void CheckValue(const PropertyRule& rule, const FoundProperty& property, Findings* findings);

/// Checks that the minimum, maximum, step and default of every group agree.
void CheckGroups(std::span<const PropertyRule> rules, const FoundProperties& properties,
                 Findings* findings);

/// Checks the two times of the file information against each other.
void CheckTimes(const FoundProperties& properties, Findings* findings);

/// Checks the name and the device identifier.
void CheckModel(const FoundProperties& properties, Findings* findings);

/// Checks the gap against the longest label.
void CheckLabel(const FoundProperties& properties, Findings* findings);

/// Checks the print head against the labels, and what is on by default against what is offered.
void CheckGeneralSettings(const FoundProperties& settings, const FoundProperties& label,
                          Findings* findings);

/// Checks that the levels of darkness can be listed.
void CheckDarkness(const FoundProperties& properties, Findings* findings);

/// Checks a list of speeds, all properties of the key, and its default where that is there.
void CheckSpeeds(const FoundProperties& speeds, std::wstring_view key,
                 const FoundProperty* byDefault, Findings* findings);

/// "Names, in a row".
std::wstring Join(std::span<const std::wstring_view> names);

}  // namespace orv::tool
