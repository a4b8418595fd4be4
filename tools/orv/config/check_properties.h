#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orv/xml/markup.h"
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
  int valueOffset;                ///< the offset of the property if it has no text
  TextEdit slot = {0, 0, {}};     ///< replaces the value by the empty text
  TextEdit removal = {0, 0, {}};  ///< removes the property and its line
  bool isRead = true;             ///< by the loader; false for a misspelt name
  bool hasFinding = false;        ///< of its own: findings about other values only follow from it
};
using FoundProperties = std::vector<FoundProperty>;

/// The property at a document's main position.
FoundProperty PropertyAt(CMarkup* xml);

/// The last property with a key, which is the one that takes effect; null when there is none.
const FoundProperty* Find(const FoundProperties& properties, std::wstring_view key);

/// The edit that gives a property another value.
TextEdit ReplacedValue(const FoundProperty& property, std::wstring_view value);

/// Collects findings.
class Findings {
 public:
  void Report(RuleName name, int offset, std::wstring text, std::wstring allowed,
              std::wstring proposal) {
    all_.push_back({&name.rule(), std::max(offset, 0), std::move(text), std::move(allowed),
                    std::move(proposal)});
  }
  /// Proposes another value of a property. `otherwise` is another way, which follows the value in
  /// the proposal; with two ways there are no edits.
  void ReportValue(RuleName name, const FoundProperty& property, std::wstring text,
                   std::wstring allowed, const std::wstring& value,
                   const std::wstring& otherwise = {});
  std::size_t size() const { return all_.size(); }
  void Add(Finding&& finding) { all_.push_back(std::move(finding)); }
  bool HasErrors() const;
  /// Removes and returns all findings: XML errors first, then the others in the order of the text.
  std::vector<Finding> Take();

 private:
  std::vector<Finding> all_;
};

/// Checks the text of one property.
void CheckValue(const PropertyRule& rule, const FoundProperty& property, Findings* findings);
void CheckInteger(const FoundProperty& property, Findings* findings);

/// Reports a value that is not one of `names`, and proposes the nearest one.
void ReportName(RuleName rule, const FoundProperty& property, std::wstring text,
                std::wstring_view value, std::span<const std::wstring_view> names,
                Findings* findings);

/// Checks that the minimum, maximum, step and default of every group agree, and that the darkness
/// range can be expanded into a list of levels.
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

/// Checks a list of speeds, which are all properties of the key, and the default if there is one.
void CheckSpeeds(const FoundProperties& speeds, std::wstring_view key,
                 const FoundProperty* byDefault, Findings* findings);

/// The white space before a number.
inline constexpr std::wstring_view kWhiteSpace = L" \t\r\n\v\f";

inline std::wstring Quoted(std::wstring_view text) { return L"\"" + std::wstring(text) + L"\""; }

/// A number of the file with its value in units: "75000 (75 mm/s)".
std::wstring NumberAndUnit(std::wstring_view key, std::int64_t number);

/// "first, second, third", or "none".
std::wstring Join(std::span<const std::wstring_view> names);

}  // namespace orv::tool
