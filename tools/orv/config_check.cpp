#include "tools/orv/config_check.h"

#include <algorithm>
#include <list>
#include <set>
#include <span>

#include "orv/config/config_parser.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "tools/orv/config_rules.h"
#include "tools/orv/xml_faults.h"

namespace orv::tool {
namespace {

/// A property as it stands in the file.
struct FoundProperty {
  std::wstring name;
  std::wstring value;
  int offset;
};
using FoundProperties = std::vector<FoundProperty>;

/// The last property of a key, which is the one that counts; null when there is none.
const FoundProperty* Find(const FoundProperties& properties, std::wstring_view key) {
  const FoundProperty* found = nullptr;
  for (const FoundProperty& property : properties) {
    if (EqualsIgnoreCase(property.name, key)) found = &property;
  }
  return found;
}

/// How much of a text is the number that the loader reads from it.
enum class NumberForm { kWhole, kPartly, kNone, kTooLarge };

NumberForm FormOfNumber(std::wstring_view text) {
  const std::size_t first = text.find_first_not_of(L" \t\r\n\v\f");
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

class Checker {
 public:
  Checker(const std::wstring& text, const std::wstring& fileName) : fileName_(fileName) {
    isWellFormed_ = xml_.SetDoc(text);
  }

  std::vector<Finding> Run() {
    ReportSyntax();
    if (!xml_.FindElem(L"xmlData")) {
      Report(Severity::kError, L"missing-element", 0, L"the root element must be <xmlData>");
    } else {
      CheckRoot();
    }
    // Whatever the rules above do not know of: the loader has the last word.
    Config config;
    CMarkup fresh(xml_.GetDoc());
    const CString error = CConfigParser::Parse(fresh, config, nullptr);
    if (isWellFormed_ && !error.empty() && !HasErrors()) {
      Report(Severity::kError, L"not-loaded", 0, error);
    }
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
    return std::move(findings_);
  }

 private:
  void Report(Severity severity, const wchar_t* rule, int offset, std::wstring text) {
    findings_.push_back({severity, rule, std::max(offset, 0), std::move(text)});
  }
  void Warn(const wchar_t* rule, int offset, std::wstring text) {
    Report(Severity::kWarning, rule, offset, std::move(text));
  }

  bool HasErrors() const {
    return std::any_of(findings_.begin(), findings_.end(),
                       [](const Finding& finding) { return finding.severity == Severity::kError; });
  }

  /// Every fault that the parser met.
  void ReportSyntax() {
    for (const XmlFault& fault : FaultsOf(xml_.GetResult())) {
      Report(Severity::kError, L"not-well-formed", fault.offset, fault.text);
    }
  }

  void CheckRoot() {
    const FoundProperties* const info = CheckFileInfoFirst();
    const bool hasDevice = info == nullptr || Find(*info, L"version") == nullptr ||
                           ToInt(Find(*info, L"version")->value) < 13;
    xml_.IntoElem();
    CheckChildren(hasDevice ? std::span<const ElementRule>(kRoot)
                            : std::span<const ElementRule>(kRootWithoutDevice),
                  L"xmlData", rootOffset_);
    xml_.OutOfElem();
  }

  /// Reads the version before the walk; the walk reports what is wrong with the section.
  const FoundProperties* CheckFileInfoFirst() {
    rootOffset_ = xml_.GetElemOffset();
    CMarkup look(xml_);
    if (!look.FindChildElem(L"fileInfo") || !look.IntoElem() ||
        !look.FindChildElem(L"properties") || !look.IntoElem()) {
      return nullptr;
    }
    look.IntoElem();
    while (look.FindElem(L"property")) {
      fileInfo_.push_back({look.GetAttrib(L"name"), look.GetData(), look.GetElemOffset()});
    }
    return &fileInfo_;
  }

  /// Checks what is in the element that the document is inside of: which elements, in which order,
  /// and each of them.
  /// `hasProperties` says that `property` elements, which have rules of their own, may stand there
  /// as well.
  void CheckChildren(std::span<const ElementRule> rules, const std::wstring& parent, int offset,
                     bool hasProperties = false) {
    xml_.ResetMainPos();
    std::vector<int> firstAt(rules.size(), -1);
    int lastProperty = -1;
    while (xml_.FindElem()) {
      const std::wstring name = xml_.GetTagName();
      const int at = xml_.GetElemOffset();
      const auto rule = std::find_if(rules.begin(), rules.end(), [&](const ElementRule& candidate) {
        return EqualsIgnoreCase(candidate.name, name);
      });
      if (rule == rules.end()) {
        if (hasProperties && EqualsIgnoreCase(name, L"property")) {
          lastProperty = at;
        } else {
          Warn(L"unknown-element", at, L"<" + parent + L"> has no <" + name + L"> element");
        }
        continue;
      }
      int& first = firstAt[static_cast<std::size_t>(rule - rules.begin())];
      if (first >= 0 && rule->need != Need::kMany) {
        Warn(L"duplicate-element", at, L"only the first <" + name + L"> is read");
        continue;
      }
      if (first < 0) first = at;
      CheckElement(*rule);
    }

    // The properties are read before the elements, and nothing is searched backwards.
    int last = lastProperty;
    const wchar_t* lastName = L"property";
    for (std::size_t i = 0; i < rules.size(); ++i) {
      const std::wstring name = rules[i].name;
      if (firstAt[i] < 0) {
        if (rules[i].need == Need::kRequired) {
          Report(Severity::kError, L"missing-element", offset,
                 L"<" + parent + L"> must hold a <" + name + L"> element");
        }
      } else if (firstAt[i] < last) {
        Report(rules[i].need == Need::kRequired ? Severity::kError : Severity::kWarning,
               L"element-order", firstAt[i],
               L"<" + name + L"> is not found here: it must stand after <" + lastName + L">");
      } else {
        last = firstAt[i];
        lastName = rules[i].name;
      }
    }
  }

  /// Checks the element at the main position.
  void CheckElement(const ElementRule& rule) {
    const int offset = xml_.GetElemOffset();
    const std::wstring name = rule.name;
    xml_.IntoElem();
    if (!rule.properties.empty()) {
      const FoundProperties found = CheckProperties(rule.properties, rule.occurrence, offset);
      CheckGroups(rule.properties, found);
      CheckMeaning(rule, found, offset);
    }
    if (name == L"optionFamilies") CheckFamilies();
    if (rule.occurrence != Occurrence::kElsewhere) {
      CheckChildren(rule.children, name, offset, !rule.properties.empty());
    }
    xml_.OutOfElem();
    if (name == kPrintModeList.section) CheckEntries(kPrintModeList, offset);
    if (name == kSensorTypeList.section) CheckEntries(kSensorTypeList, offset);
    const bool isRead = rule.occurrence != Occurrence::kElsewhere;
    if (name == L"device" && isRead && speeds_.empty()) {
      Report(Severity::kError, L"no-print-speed", offset,
             L"the device needs a <printSpeed> with at least one \"printSpeed\" property");
    }
  }

  /// Checks the `property` elements in the element that the document is inside of.
  FoundProperties CheckProperties(std::span<const PropertyRule> rules, Occurrence occurrence,
                                  int offset) {
    FoundProperties found;
    std::vector<bool> seen(rules.size());
    xml_.ResetMainPos();
    while (xml_.FindElem(L"property")) {
      FoundProperty property{xml_.GetAttrib(L"name"), xml_.GetData(), xml_.GetElemOffset()};
      if (property.name.empty()) {
        Warn(L"property-without-name", property.offset,
             L"the property needs a name attribute: <property name=\"…\">");
      }
      const auto rule =
          std::find_if(rules.begin(), rules.end(), [&](const PropertyRule& candidate) {
            return EqualsIgnoreCase(candidate.key, property.name);
          });
      if (rule == rules.end()) {
        if (!property.name.empty()) {
          Warn(L"unknown-property", property.offset,
               L"\"" + property.name + L"\" is not known here; known are " + KeysOf(rules));
        }
      } else {
        const std::size_t index = static_cast<std::size_t>(rule - rules.begin());
        if (occurrence != Occurrence::kMany && seen[index]) {
          Warn(L"duplicate-property", property.offset,
               L"\"" + property.name + L"\" stands here twice; the last one counts");
        }
        seen[index] = true;
        CheckValue(*rule, property, xml_.GetContentOffset());
      }
      found.push_back(std::move(property));
    }
    if (occurrence == Occurrence::kEachOnce) {
      for (const PropertyRule& rule : rules) {
        // A file without a digest has a finding of its own.
        if (rule.kind == ValueKind::kIgnored || rule.key == L"sha256" ||
            Find(found, rule.key) != nullptr) {
          continue;
        }
        const bool fails = rule.kind == ValueKind::kRequiredInteger &&
                           !(rule.key == L"headsOffsetXMin" && Find(found, L"headsOffsetXEnabled"));
        Report(fails ? Severity::kError : Severity::kWarning, L"missing-property", offset,
               L"\"" + std::wstring(rule.key) + L"\" is missing" +
                   (fails ? L": the file does not load without it" : L" and takes its default"));
      }
    }
    return found;
  }

  static std::wstring KeysOf(std::span<const PropertyRule> rules) {
    std::wstring text;
    for (const PropertyRule& rule : rules) {
      if (rule.kind == ValueKind::kIgnored) continue;
      if (!text.empty()) text += L", ";
      text += rule.key;
    }
    return text.empty() ? L"none" : text;
  }

  void CheckValue(const PropertyRule& rule, const FoundProperty& property, int valueOffset) {
    const int offset = valueOffset >= 0 ? valueOffset : property.offset;
    const std::wstring what = L"\"" + property.name + L"\" ";
    const std::wstring_view value = property.value;
    switch (rule.kind) {
      case ValueKind::kInteger:
      case ValueKind::kRequiredInteger:
        switch (FormOfNumber(value)) {
          case NumberForm::kWhole:
            break;
          case NumberForm::kPartly:
            Warn(L"not-a-number", offset,
                 what + L"is read as " + std::to_wstring(ToInt(value)) +
                     L"; write only the digits of a whole number");
            break;
          case NumberForm::kNone:
            Warn(L"not-a-number", offset, what + L"must be a whole number; it is read as 0");
            break;
          case NumberForm::kTooLarge:
            Warn(L"number-too-large", offset,
                 what + L"is read as " + std::to_wstring(ToInt(value)) +
                     L", the nearest number of 32 bits");
            break;
        }
        break;
      case ValueKind::kBoolean:
        if (!ToBool(value) && !EqualsIgnoreCase(value, L"false")) {
          Warn(L"not-a-boolean", offset, what + L"must be true or false; it is read as false");
        }
        break;
      case ValueKind::kUpperCaseBoolean:
        if (!ToUpperCaseBool(value) && !EqualsIgnoreCase(value, L"false")) {
          Warn(L"not-a-boolean", offset,
               what + L"is read as false: only TRUE in capitals is true here");
        }
        break;
      case ValueKind::kDateTime:
        if (value.size() != 19) {
          Warn(L"not-a-time", offset, what + L"must look like 2026-03-02T08:00:00; it is ignored");
        }
        break;
      case ValueKind::kGuidance:
        if (std::none_of(std::begin(kGuidanceNames), std::end(kGuidanceNames),
                         [&](const auto& known) { return EqualsIgnoreCase(known.name, value); })) {
          Warn(L"unknown-value", offset, what + L"must be left, centered or right; it is ignored");
        }
        break;
      case ValueKind::kText:
      case ValueKind::kIgnored:
        break;
    }
  }

  /// Checks that the minimum, maximum, step and default of every group agree.
  void CheckGroups(std::span<const PropertyRule> rules, const FoundProperties& properties) {
    for (const PropertyRule& rule : rules) {
      constexpr std::wstring_view kMin = L"Min";
      const FoundProperty* const min =
          rule.key.ends_with(kMin) ? Find(properties, rule.key) : nullptr;
      if (min == nullptr) continue;
      const std::wstring stem(rule.key.substr(0, rule.key.size() - kMin.size()));
      const FoundProperty* const max = Find(properties, stem + L"Max");
      const FoundProperty* const step = Find(properties, stem + L"Step");
      const FoundProperty* const byDefault = Find(properties, stem + L"Default");
      if (max == nullptr) continue;
      const std::int64_t low = ToInt(min->value);
      const std::int64_t high = ToInt(max->value);
      if (low > high) {
        Warn(L"range-order", min->offset,
             L"\"" + min->name + L"\" is above \"" + max->name + L"\"");
        continue;
      }
      const std::int64_t width = step != nullptr ? ToInt(step->value) : 1;
      if (width <= 0 && low != high) {
        Warn(L"range-step", step->offset, L"\"" + step->name + L"\" must be above 0");
      } else if (width > 0 && (high - low) % width != 0) {
        Warn(L"range-step", step->offset,
             L"\"" + step->name + L"\" does not lead from the minimum to the maximum");
      }
      if (byDefault == nullptr) continue;
      const std::int64_t value = ToInt(byDefault->value);
      if (value < low || value > high) {
        Warn(L"default-outside-range", byDefault->offset,
             Format(L"\"%ls\" must be from %lld to %lld", byDefault->name.c_str(),
                    static_cast<long long>(low), static_cast<long long>(high)));
      } else if (width > 0 && (value - low) % width != 0) {
        Warn(L"default-outside-range", byDefault->offset,
             L"\"" + byDefault->name + L"\" is not reached by the step");
      }
    }
  }

  /// What certain sections must say beyond the form of each property.
  void CheckMeaning(const ElementRule& rule, const FoundProperties& found, int offset) {
    if (rule.properties.data() == kFileInfoRules.data()) CheckFileInfo(found, offset);
    if (rule.properties.data() == kDarknessRules.data()) CheckDarkness(found, offset);
    if (rule.properties.data() == kPrintSpeedDefaultRules && !found.empty()) {
      speedDefault_ = found.back();
    }
    if (rule.properties.data() == kPrintSpeedRules) CheckSpeeds(found);
    if (rule.properties.data() == kPrintModesRules || rule.properties.data() == kSensorTypesRules) {
      entryDefault_ = found.empty() ? FoundProperty{{}, {}, -1} : found.back();
      entries_.clear();
    }
    if (rule.properties.data() == kPrintModeRules.data() ||
        rule.properties.data() == kSensorTypeRules.data()) {
      entries_.insert(entries_.end(), found.begin(), found.end());
    }
  }

  void CheckFileInfo(const FoundProperties& found, int offset) {
    const FoundProperty* const name = Find(found, L"configfilename");
    if (name != nullptr && !fileName_.empty() && !EqualsIgnoreCase(name->value, fileName_)) {
      Warn(L"file-name", name->offset,
           L"the file calls itself \"" + name->value + L"\" and is named \"" + fileName_ + L"\"");
    }
    const FoundProperty* const digest = Find(found, L"sha256");
    if (digest == nullptr || digest->value.empty()) {
      return Warn(L"not-signed", offset, L"the file has no digest; add one with orv config sign");
    }
    const CString computed = ConfigDigest(xml_.GetDoc(), digest->value);
    if (computed != digest->value) {
      Warn(L"digest", digest->offset,
           L"the digest is not that of the file, which would be " + computed +
               L"; put it right with orv config sign");
    }
  }

  void CheckDarkness(const FoundProperties& found, int offset) {
    const auto number = [&](const wchar_t* key) {
      const FoundProperty* const property = Find(found, key);
      return property != nullptr ? ToInt(property->value) : 0;
    };
    std::list<int> values;
    const CString error = CConfigParser::GenerateListValues(
        number(L"darknessMin"), number(L"darknessMax"), number(L"darknessStep"),
        number(L"darknessDefault"), values);
    if (!error.empty()) Report(Severity::kError, L"darkness-list", offset, error);
  }

  void CheckSpeeds(const FoundProperties& found) {
    std::int32_t last = 0;
    for (const FoundProperty& property : found) {
      if (!EqualsIgnoreCase(property.name, L"printSpeed")) continue;
      const std::int32_t speed = ToInt(property.value);
      if (!speeds_.insert(speed).second) {
        Warn(L"speed-duplicate", property.offset, L"this print speed stands in the list already");
      } else if (speed < last) {
        Warn(L"speed-order", property.offset, L"print speeds should ascend");
      }
      last = speed;
    }
    if (speedDefault_.offset >= 0 && !speeds_.contains(ToInt(speedDefault_.value))) {
      Warn(L"default-not-listed", speedDefault_.offset, L"the default is none of the print speeds");
    }
  }

  /// Checks a section's entries against each other and against its default.
  void CheckEntries(const EntryList& list, int offset) {
    std::set<std::wstring_view> seen;
    bool isListed = false;
    const std::wstring wanted = std::wstring(list.defaultPrefix) + entryDefault_.value;
    for (const FoundProperty& entry : entries_) {
      if (!seen.insert(entry.name).second) {
        Warn(L"duplicate-entry", entry.offset, L"\"" + entry.name + L"\" is listed twice");
      }
      isListed = isListed || EqualsIgnoreCase(entry.name, wanted);
    }
    if (entries_.empty()) {
      Warn(L"missing-element", offset,
           L"<" + std::wstring(list.section) + L"> lists no <" + list.entry + L">");
    } else if (!isListed && entryDefault_.offset >= 0) {
      Warn(L"default-not-listed", entryDefault_.offset,
           L"no <" + std::wstring(list.entry) + L"> lists the default \"" + entryDefault_.value +
               L"\"");
    }
  }

  /// Checks the families in `<optionFamilies>`, which the document is inside of.
  void CheckFamilies() {
    std::set<std::int32_t> seen;
    std::int32_t id = -1;  // carried over from family to family, as the loader does
    xml_.ResetMainPos();
    while (xml_.FindElem()) {
      const int offset = xml_.GetElemOffset();
      if (!EqualsIgnoreCase(xml_.GetTagName(), L"optionFamily")) {
        Warn(L"unknown-element", offset,
             L"<optionFamilies> has no <" + xml_.GetTagName() + L"> element");
        continue;
      }
      ReadFamilyId(offset, &id);
      bool known = false;
      ForEachFamily([&](auto family) {
        if (known || family.id != id) return;
        known = true;
        CheckFamily(family, offset);
      });
      if (!known) {
        Warn(L"unknown-family", offset,
             L"the family has no optionFamilyId that is known: its options are ignored");
      } else if (!seen.insert(id).second) {
        Warn(L"duplicate-family", offset, L"the family stands here twice: its options are joined");
      }
    }
  }

  /// Reads the identifier of the family at the main position; one that does not say its own leaves
  /// what stands in `*id`.
  void ReadFamilyId(int offset, std::int32_t* id) {
    xml_.IntoElem();
    xml_.ResetMainPos();
    if (xml_.FindElem(L"properties")) {
      xml_.IntoElem();
      xml_.ResetMainPos();
      while (xml_.FindElem(L"property")) {
        if (EqualsIgnoreCase(xml_.GetAttrib(L"name"), L"optionFamilyId")) {
          *id = ToInt(xml_.GetData());
        }
      }
      xml_.OutOfElem();
    } else {
      Warn(L"missing-element", offset,
           L"the family has no <properties>: it is read as another one of the kind before it");
    }
    xml_.OutOfElem();
  }

  /// Checks the family at the main position.
  template <typename Kind>
  void CheckFamily(FamilyMember<Kind>, int offset) {
    std::vector<PropertyRule> rules;
    const auto append = [&rules](const auto& table) {
      for (const auto& property : table) {
        rules.push_back({property.key, static_cast<ValueKind>(property.field.index())});
      }
    };
    append(kOptionProperties);
    append(KindProperties<Kind>::kTable);
    constexpr bool kIsBelt = std::is_same_v<Kind, BeltApplicator>;

    xml_.IntoElem();
    CheckChildren(kFamily, L"optionFamily", offset);
    xml_.ResetMainPos();
    std::set<std::wstring> names;
    int defaults = 0;
    bool hasOption = false;
    if (xml_.FindElem(L"options")) {
      xml_.IntoElem();
      xml_.ResetMainPos();
      while (xml_.FindElem()) {
        if (EqualsIgnoreCase(xml_.GetTagName(), L"option")) {
          hasOption = true;
          CheckOption(rules, kIsBelt, &names, &defaults);
        } else {
          Warn(L"unknown-element", xml_.GetElemOffset(),
               L"<options> has no <" + xml_.GetTagName() + L"> element");
        }
      }
      xml_.OutOfElem();
    }
    xml_.OutOfElem();
    if (!hasOption) Warn(L"no-options", offset, L"the family has no options");
  }

  /// Checks the option at the main position.
  void CheckOption(std::span<const PropertyRule> rules, bool isBelt, std::set<std::wstring>* names,
                   int* defaults) {
    const int offset = xml_.GetElemOffset();
    xml_.IntoElem();
    xml_.ResetMainPos();
    if (xml_.FindElem(L"properties")) {
      if (isBelt) {
        CheckChildren(kBeltOption, L"option", offset);
      } else {
        CheckChildren(kPlainOption, L"option", offset);
      }
      xml_.ResetMainPos();
      xml_.FindElem(L"properties");
      xml_.IntoElem();
      const FoundProperties found = CheckProperties(rules, Occurrence::kEachOnce, offset);
      CheckGroups(rules, found);
      const FoundProperty* const name = Find(found, L"optionName");
      if (name == nullptr || name->value.empty()) {
        Warn(L"option-without-name", offset, L"an option without a name is ignored");
      } else if (!names->insert(name->value).second) {
        Warn(L"duplicate-option", name->offset,
             L"the family has two options named \"" + name->value + L"\"");
      }
      const FoundProperty* const isDefault = Find(found, L"defaultOption");
      if (isDefault != nullptr && ToUpperCaseBool(isDefault->value) && ++*defaults == 2) {
        Warn(L"two-defaults", isDefault->offset,
             L"another option of the family is the default already; the first one counts");
      }
      xml_.OutOfElem();
    } else {
      Warn(L"missing-element", offset, L"an option without <properties> is ignored");
    }
    xml_.OutOfElem();
  }

  CMarkup xml_;
  bool isWellFormed_;
  std::wstring fileName_;
  int rootOffset_ = 0;
  FoundProperties fileInfo_;
  std::vector<Finding> findings_;
  std::set<std::int32_t> speeds_;
  FoundProperty speedDefault_{{}, {}, -1};
  FoundProperty entryDefault_{{}, {}, -1};
  FoundProperties entries_;
};

}  // namespace

std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName) {
  return Checker(text, fileName).Run();
}

}  // namespace orv::tool
