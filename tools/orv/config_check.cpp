#include "tools/orv/config_check.h"

#include <algorithm>
#include <set>
#include <span>

#include "orv/config/config_parser.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "orv/xml/names.h"
#include "tools/orv/check_allowances.h"
#include "tools/orv/check_properties.h"
#include "tools/orv/config_rules.h"
#include "tools/orv/spelling.h"
#include "tools/orv/xml_faults.h"

namespace orv::tool {
namespace {

std::vector<std::wstring_view> KeysOf(std::span<const PropertyRule> rules) {
  std::vector<std::wstring_view> keys;
  for (const PropertyRule& rule : rules) {
    if (rule.kind != ValueKind::kIgnored) keys.push_back(rule.key);
  }
  return keys;
}

/// The element whose properties know a key, as a path; empty when there is none.
std::wstring HomeOf(std::wstring_view key, std::span<const ElementRule> elements) {
  for (const ElementRule& element : elements) {
    for (const PropertyRule& rule : element.properties) {
      if (EqualsIgnoreCase(rule.key, key)) return element.name;
    }
    const std::wstring inner = HomeOf(key, element.children);
    if (inner == L"properties") return element.name;
    if (!inner.empty()) return inner;
  }
  return {};
}

/// The kind of family that an identifier stands for; null for none.
const wchar_t* FamilyName(std::int32_t id) {
  const wchar_t* name = nullptr;
  ForEachFamily([&](auto family) {
    if (family.id == id && name == nullptr) name = family.name;
  });
  return name;
}

/// The first identifier of a kind of family; -1 for a name of none.
std::int32_t FamilyNamed(std::wstring_view name) {
  std::int32_t id = -1;
  ForEachFamily([&](auto family) {
    if (id < 0 && EqualsIgnoreCase(family.name, name)) id = family.id;
  });
  return id;
}

/// All identifiers and what they stand for.
std::wstring FamilyList() {
  std::wstring text;
  ForEachFamily([&](auto family) {
    text += (text.empty() ? L"" : L", ") + std::to_wstring(family.id) + L" " + family.name;
  });
  return text;
}

class Checker {
 public:
  Checker(const std::wstring& text, const std::wstring& fileName) : fileName_(fileName) {
    isWellFormed_ = xml_.SetDoc(text);
  }

  std::vector<Finding> Run() {
    CheckEncoding();
    for (const XmlFault& fault : FaultsOf(xml_.GetResult())) {
      Report(L"not-well-formed", fault.offset, fault.text);
    }
    xml_.ResetPos();
    if (!xml_.FindElem(L"xmlData")) {
      Report(L"missing-element", 0, L"the root element is not <xmlData>", L"<xmlData>");
    } else {
      CheckRoot();
    }
    // Whatever the rules above do not know of: the loader has the last word.
    Config config;
    CMarkup fresh;
    fresh.SetDoc(xml_.GetDoc());
    const CString error = CConfigParser::Parse(fresh, config, nullptr);
    if (isWellFormed_ && !error.empty() && !findings_.HasErrors()) Report(L"not-loaded", 0, error);
    return WithoutAllowed(xml_.GetDoc(), &findings_);
  }

 private:
  void Report(RuleName rule, int offset, std::wstring text, std::wstring allowed = {},
              std::wstring proposal = {}) {
    findings_.Report(rule, offset, std::move(text), std::move(allowed), std::move(proposal));
  }

  void CheckEncoding() {
    const std::size_t bad = xml_.GetDoc().find(L'\uFFFD');
    if (bad != std::wstring::npos) {
      Report(L"not-utf8", static_cast<int>(bad), L"there are bytes here that are not UTF-8",
             L"UTF-8");
    }
    if (xml_.FindNode(CMarkup::NODE_PROCESSING_INSTRUCTION) == 0 || xml_.GetTagName() != L"xml") {
      return;
    }
    const std::wstring encoding = xml_.GetAttrib(L"encoding");
    if (!encoding.empty() && !EqualsIgnoreCase(encoding, L"utf-8")) {
      Report(L"declared-encoding", xml_.GetAttribOffset(L"encoding"),
             L"the file declares " + encoding + L" and is read as UTF-8", L"UTF-8", L"UTF-8");
    }
  }

  void CheckRoot() {
    rootOffset_ = xml_.GetElemOffset();
    ReadFileInfo();
    const FoundProperty* const version = Find(fileInfo_, L"version");
    readsDevice_ = version == nullptr || ToInt(version->value) < 13;
    xml_.IntoElem();
    CheckChildren(readsDevice_ ? std::span<const ElementRule>(kRoot)
                               : std::span<const ElementRule>(kRootWithoutDevice),
                  L"xmlData", rootOffset_);
    xml_.OutOfElem();
  }

  /// Reads the version before the walk; the walk reports what is wrong with the section.
  void ReadFileInfo() {
    CMarkup look(xml_);
    if (!look.FindChildElem(L"fileInfo") || !look.IntoElem() ||
        !look.FindChildElem(L"properties") || !look.IntoElem()) {
      return;
    }
    look.IntoElem();
    while (look.FindElem(L"property")) {
      fileInfo_.push_back({look.GetAttrib(L"name"), look.GetData(), look.GetElemOffset(), 0});
    }
  }

  /// A child element with a rule.
  struct Child {
    std::size_t rule;
    int offset;
    bool isRead = false;
  };

  /// Checks what is in the element that the document is inside of: which elements, in which order,
  /// and each of them that is read. `hasProperties` says that `property` elements, which have rules
  /// of their own, may stand there as well.
  void CheckChildren(std::span<const ElementRule> rules, const std::wstring& parent, int offset,
                     bool hasProperties = false) {
    std::vector<std::wstring_view> names;
    for (const ElementRule& rule : rules) names.push_back(rule.name);
    std::vector<Child> children;
    int last = -1;  // the properties are read before the elements, and nothing backwards
    xml_.ResetMainPos();
    while (xml_.FindElem()) {
      const std::wstring name = xml_.GetTagName();
      const int at = xml_.GetElemOffset();
      const auto rule = std::find_if(names.begin(), names.end(), [&](std::wstring_view known) {
        return EqualsIgnoreCase(known, name);
      });
      if (rule != names.end()) {
        children.push_back({static_cast<std::size_t>(rule - names.begin()), at});
      } else if (hasProperties && EqualsIgnoreCase(name, L"property")) {
        last = at;
      } else {
        std::vector<std::wstring_view> known = names;
        if (hasProperties) known.push_back(L"property");
        Report(L"unknown-element", at, L"<" + parent + L"> has no <" + name + L"> element",
               Join(known), std::wstring(Nearest(name, known)));
      }
    }
    FindRead(rules, parent, offset, last, &children);
    auto child = children.begin();
    xml_.ResetMainPos();
    while (xml_.FindElem()) {
      if (child == children.end() || xml_.GetElemOffset() != child->offset) continue;
      if (child->isRead) CheckElement(rules[child->rule]);
      ++child;
    }
    CheckStrayText(parent);
  }

  /// Finds out, as the loader does, which children are read, and reports the others. `last` is the
  /// offset from which on elements are searched.
  void FindRead(std::span<const ElementRule> rules, const std::wstring& parent, int offset,
                int last, std::vector<Child>* children) {
    const wchar_t* lastName = L"property";
    for (std::size_t i = 0; i < rules.size(); ++i) {
      const std::wstring tag = std::wstring(L"<") + rules[i].name + L">";
      const bool isRequired = rules[i].need == Need::kRequired;
      const Child* first = nullptr;
      const Child* early = nullptr;
      int from = last;
      for (Child& child : *children) {
        if (child.rule != i) continue;
        if (child.offset < from) {
          early = early != nullptr ? early : &child;
        } else if (first == nullptr || rules[i].need == Need::kMany) {
          child.isRead = true;
          first = first != nullptr ? first : &child;
          last = child.offset;
        }
      }
      const std::wstring behind = std::wstring(L"behind <") + lastName + L">";
      for (const Child& child : *children) {
        if (child.rule != i || child.isRead) continue;
        if (first != nullptr && rules[i].need != Need::kMany) {
          Report(L"duplicate-element", child.offset, L"this " + tag + L" is not read",
                 L"one " + tag);
        } else if (!isRequired) {
          Report(L"element-not-read", child.offset, tag + L" is not found here", behind);
        }
      }
      if (first != nullptr) {
        lastName = rules[i].name;
      } else if (isRequired && early != nullptr) {
        Report(L"element-order", early->offset, tag + L" is not found here", behind);
      } else if (isRequired) {
        Report(L"missing-element", offset, L"<" + parent + L"> has no " + tag + L" element", {},
               tag + L" ... </" + rules[i].name + L">");
      }
    }
  }

  /// Reports text among the elements that the document is inside of.
  void CheckStrayText(const std::wstring& parent) {
    if (!isWellFormed_) return;  // text is often what is left of markup
    xml_.ResetMainPos();
    while (xml_.FindNode(CMarkup::NODE_TEXT | CMarkup::NODE_CDATA_SECTION) != 0) {
      const std::size_t at = xml_.GetDoc().find_first_not_of(
          L" \t\r\n", static_cast<std::size_t>(std::max(xml_.GetElemOffset(), 0)));
      Report(L"stray-text", static_cast<int>(at), L"text in <" + parent + L"> is not read",
             L"elements");
    }
  }

  /// Checks the element at the main position.
  void CheckElement(const ElementRule& rule) {
    const int offset = xml_.GetElemOffset();
    const std::wstring name = rule.name;
    if (rule.occurrence == Occurrence::kElsewhere) {
      if (name == L"optionFamilies") {
        xml_.IntoElem();
        CheckFamilies();
        xml_.OutOfElem();
      }
      return;
    }
    xml_.IntoElem();
    if (!rule.properties.empty()) {
      const FoundProperties found = CheckProperties(rule.properties, rule.occurrence, offset);
      // A range of darkness has a rule of its own, which the loader enforces.
      if (rule.properties.data() != kDarknessRules.data()) {
        CheckGroups(rule.properties, found, &findings_);
      }
      CheckMeaning(rule.properties.data(), found, offset);
    }
    CheckChildren(rule.children, name, offset, !rule.properties.empty());
    xml_.OutOfElem();
    if (name == kPrintModeList.section) CheckEntries(kPrintModeList, offset);
    if (name == kSensorTypeList.section) CheckEntries(kSensorTypeList, offset);
  }

  FoundProperty PropertyHere() {
    const int offset = xml_.GetElemOffset();
    const int content = xml_.GetContentOffset();
    return {xml_.GetAttrib(L"name"), xml_.GetData(), offset, content >= 0 ? content : offset};
  }

  /// Checks the `property` elements in the element that the document is inside of.
  FoundProperties CheckProperties(std::span<const PropertyRule> rules, Occurrence occurrence,
                                  int offset) {
    FoundProperties found;
    std::vector<bool> seen(rules.size());
    xml_.ResetMainPos();
    while (xml_.FindElem(L"property")) {
      FoundProperty property = PropertyHere();
      const auto rule =
          std::find_if(rules.begin(), rules.end(), [&](const PropertyRule& candidate) {
            return EqualsIgnoreCase(candidate.key, property.name);
          });
      if (property.name.empty()) {
        std::wstring key;
        std::wstring value;
        xml_.GetNthAttrib(0, key, value);
        Report(L"property-without-name", property.offset, L"the property has no name attribute",
               Join(KeysOf(rules)), L"<property name=\"" + value + L"\">");
      } else if (rule == rules.end()) {
        ReportUnknown(rules, property);
      } else {
        const std::size_t index = static_cast<std::size_t>(rule - rules.begin());
        if (occurrence != Occurrence::kMany && seen[index]) {
          Report(L"duplicate-property", property.offset,
                 L"\"" + property.name + L"\" stands here twice, and this one counts",
                 L"one of them");
        }
        seen[index] = true;
        if (xml_.FindChildElem()) {
          Report(L"element-in-value", property.valueOffset,
                 L"\"" + property.name + L"\" is empty because an element is in it", L"text");
        } else {
          CheckValue(*rule, property, &findings_);
        }
      }
      found.push_back(std::move(property));
    }
    if (occurrence == Occurrence::kEachOnce) ReportMissing(rules, found, offset);
    return found;
  }

  void ReportUnknown(std::span<const PropertyRule> rules, const FoundProperty& property) {
    const std::vector<std::wstring_view> keys = KeysOf(rules);
    std::wstring text = L"\"" + property.name + L"\" is not known here";
    const std::wstring home = HomeOf(property.name, kRoot);
    if (!home.empty()) text += L"; it belongs to <" + home + L">";
    Report(L"unknown-property", property.offset, text, Join(keys),
           home.empty() ? std::wstring(Nearest(property.name, keys)) : std::wstring());
  }

  void ReportMissing(std::span<const PropertyRule> rules, const FoundProperties& found,
                     int offset) {
    for (const PropertyRule& rule : rules) {
      // A file without a digest has a finding of its own.
      if (rule.kind == ValueKind::kIgnored || rule.key == L"sha256" ||
          Find(found, rule.key) != nullptr) {
        continue;
      }
      const std::wstring what = L"\"" + std::wstring(rule.key) + L"\" is missing";
      const std::wstring proposal =
          L"<property name=\"" + std::wstring(rule.key) + L"\">...</property>";
      const bool isMinWithEnabled =
          rule.key == L"headsOffsetXMin" && Find(found, L"headsOffsetXEnabled") != nullptr;
      if (rule.kind == ValueKind::kRequiredInteger && !isMinWithEnabled) {
        Report(L"required-property", offset, what + L", and the file does not load without it", {},
               proposal);
      } else {
        Report(L"missing-property", offset, what + L" and takes its default", {}, proposal);
      }
    }
  }

  /// What certain sections must say beyond the form of each property. `section` tells which one it
  /// is by its rules.
  void CheckMeaning(const PropertyRule* section, const FoundProperties& found, int offset) {
    if (section == kFileInfoRules.data()) CheckFileInfo(found, offset);
    if (section == kModelRules.data()) CheckModel(found, &findings_);
    if (section == kLabelRules.data()) {
      CheckLabel(found, &findings_);
      label_ = found;
    }
    if (section == kGeneralSettingsRules.data()) CheckGeneralSettings(found, label_, &findings_);
    if (section == kDarknessRules.data()) CheckDarkness(found, &findings_);
    if (section == kPrintSpeedDefaultRules) speedDefault_ = found;
    if (section == kPrintSpeedRules) {
      if (Find(found, L"printSpeed") == nullptr) {
        Report(L"no-print-speed", offset, L"the printer has no print speed", {},
               L"<property name=\"printSpeed\">...</property>");
      }
      CheckSpeeds(found, L"printSpeed", Find(speedDefault_, L"printSpeedDefault"), &findings_);
    }
    if (section == kConveyorSpeedRules) {
      if (Find(found, L"conveyorSpeed") == nullptr) {
        Report(L"empty-list", offset, L"the option has no conveyor speed", {},
               L"<property name=\"conveyorSpeed\">...</property>");
      }
      CheckSpeeds(found, L"conveyorSpeed", Find(option_, L"conveyorSpeedDefault"), &findings_);
    }
    if (section == kPrintModesRules || section == kSensorTypesRules) {
      entryDefault_ = found;
      entries_.clear();
    }
    if (section == kPrintModeRules.data() || section == kSensorTypeRules.data()) {
      entries_.insert(entries_.end(), found.begin(), found.end());
    }
  }

  void CheckFileInfo(const FoundProperties& found, int offset) {
    CheckTimes(found, &findings_);
    if (!readsDevice_) CheckForDevice(*Find(found, L"version"));
    const FoundProperty* const name = Find(found, L"configfilename");
    if (name != nullptr && !fileName_.empty() && !EqualsIgnoreCase(name->value, fileName_)) {
      Report(L"file-name", name->valueOffset,
             L"the file calls itself \"" + name->value + L"\" and is named \"" + fileName_ + L"\"",
             L"the name of the file", fileName_);
    }
    const FoundProperty* const digest = Find(found, L"sha256");
    if (digest == nullptr || digest->value.empty()) {
      return Report(L"not-signed", offset, L"the file has no digest", {}, L"orv config sign");
    }
    const CString computed = ConfigDigest(xml_.GetDoc(), digest->value);
    if (computed != digest->value) {
      Report(L"digest", digest->valueOffset,
             EqualsIgnoreCase(computed, digest->value)
                 ? L"the digest is written in capitals"
                 : L"the digest is not that of the file: it was changed after it was signed",
             computed, L"orv config sign");
    }
  }

  /// Reports a version that keeps a device from being read.
  void CheckForDevice(const FoundProperty& version) {
    CMarkup look(xml_);
    look.ResetPos();
    if (look.FindElem(L"xmlData") && look.FindChildElem(L"device")) {
      Report(L"version-skips-device", version.valueOffset,
             L"the device of a file of this version is not read", L"at most 12", L"12");
    }
  }

  /// Checks a section's entries against each other and against its default.
  void CheckEntries(const EntryList& list, int offset) {
    if (entries_.empty()) {
      return Report(L"empty-list", offset,
                    L"<" + std::wstring(list.section) + L"> lists no <" + list.entry + L">", {},
                    std::wstring(L"<") + list.entry + L"> ... </" + list.entry + L">");
    }
    const FoundProperty* const byDefault = Find(entryDefault_, list.defaultKey);
    const std::wstring wanted =
        byDefault != nullptr ? std::wstring(list.defaultPrefix) + byDefault->value : std::wstring();
    const auto withoutPrefix = [&](std::wstring_view name) {
      const std::size_t size = list.defaultPrefix.size();
      return EqualsIgnoreCase(name.substr(0, size), list.defaultPrefix) ? name.substr(size) : name;
    };
    std::vector<std::wstring_view> names;
    const FoundProperty* chosen = nullptr;
    std::set<std::wstring> before;
    for (const FoundProperty& entry : entries_) {
      std::wstring folded = entry.name;
      std::transform(folded.begin(), folded.end(), folded.begin(), ToLowerAscii);
      if (!before.insert(folded).second) {
        Report(L"duplicate-entry", entry.offset, L"\"" + entry.name + L"\" is listed twice");
      }
      names.push_back(withoutPrefix(entry.name));
      if (EqualsIgnoreCase(entry.name, wanted)) chosen = &entry;
    }
    if (byDefault == nullptr) return;
    if (chosen == nullptr) {
      Report(
          L"default-not-listed", byDefault->valueOffset,
          L"no <" + std::wstring(list.entry) + L"> lists the default \"" + byDefault->value + L"\"",
          Join(names), std::wstring(Nearest(withoutPrefix(byDefault->value), names)));
    } else if (!ToBool(chosen->value)) {
      Report(L"default-disabled", byDefault->valueOffset,
             L"the default \"" + byDefault->value + L"\" is disabled", {},
             L"true for \"" + chosen->name + L"\", or another default");
    }
  }

  /// What a family says of itself, and what it took over from the families before it.
  struct FamilyText {
    std::int32_t id = -1;
    std::wstring type;
    FoundProperty name{{}, {}, 0, 0};
    int idOffset = 0;
    int typeOffset = 0;
  };

  /// Checks the families in `<optionFamilies>`, which the document is inside of.
  void CheckFamilies() {
    std::set<const wchar_t*> seen;
    std::vector<std::wstring> names;
    FamilyText text;  // carried over from family to family, as the loader does
    xml_.ResetMainPos();
    while (xml_.FindElem()) {
      const int offset = xml_.GetElemOffset();
      if (!EqualsIgnoreCase(xml_.GetTagName(), L"optionFamily")) {
        Report(L"unknown-element", offset,
               L"<optionFamilies> has no <" + xml_.GetTagName() + L"> element", L"optionFamily",
               L"optionFamily");
        continue;
      }
      ReadFamily(offset, &text);
      const wchar_t* const kind = FamilyName(text.id);
      const std::int32_t meant = FamilyNamed(text.type);
      if (kind == nullptr) {
        Report(L"unknown-family", text.idOffset,
               L"the family's identifier is not known, and its options are ignored", FamilyList(),
               meant >= 0 ? std::to_wstring(meant) : std::wstring());
      } else {
        if (meant >= 0 && FamilyName(meant) != std::wstring_view(kind)) {
          Report(L"family-type", text.typeOffset,
                 L"the type says " + text.type + L", the identifier " + std::to_wstring(text.id) +
                     L" is " + kind,
                 {}, std::wstring(kind) + L", or the identifier " + std::to_wstring(meant));
        }
        if (!seen.insert(kind).second) {
          Report(L"duplicate-family", offset,
                 L"the family stands here twice: its options are joined",
                 L"one " + std::wstring(kind));
        } else if (!text.name.value.empty() &&
                   std::find(names.begin(), names.end(), text.name.value) != names.end()) {
          Report(L"duplicate-family-name", text.name.valueOffset,
                 L"another family is called \"" + text.name.value + L"\" too",
                 L"a name of its own");
        }
        names.push_back(text.name.value);
        ForEachFamily([&](auto family) {
          if (family.id == text.id) CheckFamily(family, offset);
        });
      }
    }
    CheckStrayText(L"optionFamilies");
  }

  /// Reads what the family at the main position says of itself; what it does not say stays.
  void ReadFamily(int offset, FamilyText* text) {
    text->name.value.clear();
    text->idOffset = offset;
    text->typeOffset = offset;
    xml_.IntoElem();
    xml_.ResetMainPos();
    if (xml_.FindElem(L"properties")) {
      xml_.IntoElem();
      xml_.ResetMainPos();
      while (xml_.FindElem(L"property")) {
        const FoundProperty property = PropertyHere();
        if (EqualsIgnoreCase(property.name, L"optionFamilyId")) {
          text->id = ToInt(property.value);
          text->idOffset = property.valueOffset;
        } else if (EqualsIgnoreCase(property.name, L"optionFamilyType")) {
          text->type = property.value;
          text->typeOffset = property.valueOffset;
        } else if (EqualsIgnoreCase(property.name, L"optionFamilyName")) {
          text->name = property;
        }
      }
      xml_.OutOfElem();
    } else {
      Report(L"family-without-properties", offset,
             L"the family has no <properties>: it is read as another one of the kind before it", {},
             L"<properties> ... </properties>");
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
    const std::span<const ElementRule> option = std::is_same_v<Kind, BeltApplicator>
                                                    ? std::span<const ElementRule>(kBeltOption)
                                                    : std::span<const ElementRule>(kPlainOption);

    xml_.IntoElem();
    CheckChildren(kFamily, L"optionFamily", offset);
    xml_.ResetMainPos();
    // The options are searched behind the properties.
    xml_.FindElem(L"properties");
    std::set<std::wstring> names;
    int defaults = 0;
    bool hasOption = false;
    if (xml_.FindElem(L"options")) {
      xml_.IntoElem();
      xml_.ResetMainPos();
      while (xml_.FindElem()) {
        if (EqualsIgnoreCase(xml_.GetTagName(), L"option")) {
          hasOption = true;
          CheckOption(rules, option, &names, &defaults);
        } else {
          Report(L"unknown-element", xml_.GetElemOffset(),
                 L"<options> has no <" + xml_.GetTagName() + L"> element", L"option", L"option");
        }
      }
      CheckStrayText(L"options");
      xml_.OutOfElem();
    }
    xml_.OutOfElem();
    if (!hasOption) {
      Report(L"no-options", offset, L"the family has no options", {},
             L"<options> <option> ... </option> </options>");
    }
  }

  /// Checks the option at the main position.
  void CheckOption(std::span<const PropertyRule> rules, std::span<const ElementRule> children,
                   std::set<std::wstring>* names, int* defaults) {
    const int offset = xml_.GetElemOffset();
    xml_.IntoElem();
    xml_.ResetMainPos();
    if (xml_.FindElem(L"properties")) {
      xml_.IntoElem();
      option_ = CheckProperties(rules, Occurrence::kEachOnce, offset);
      CheckGroups(rules, option_, &findings_);
      CheckChildren({}, L"properties", offset, true);
      xml_.OutOfElem();
      CheckChildren(children, L"option", offset);
      CheckOptionName(offset, names, defaults);
    } else {
      Report(L"option-without-properties", offset, L"an option without <properties> is ignored", {},
             L"<properties> ... </properties>");
    }
    xml_.OutOfElem();
  }

  /// Checks the option that was read last against those of its family before it.
  void CheckOptionName(int offset, std::set<std::wstring>* names, int* defaults) {
    const FoundProperty* const name = Find(option_, L"optionName");
    if (name == nullptr || name->value.empty()) {
      return Report(L"option-without-name", name != nullptr ? name->offset : offset,
                    L"an option without a name is ignored", L"a name of its own");
    }
    if (!names->insert(name->value).second) {
      Report(L"duplicate-option", name->valueOffset,
             L"the family has two options named \"" + name->value + L"\"", L"a name of its own");
    }
    const FoundProperty* const isDefault = Find(option_, L"defaultOption");
    if (isDefault != nullptr && ToUpperCaseBool(isDefault->value) && ++*defaults > 1) {
      Report(L"two-defaults", isDefault->valueOffset,
             L"another option of the family is the default already, and the first one counts",
             L"one TRUE in a family", L"FALSE");
    }
  }

  CMarkup xml_;
  bool isWellFormed_;
  std::wstring fileName_;
  int rootOffset_ = 0;
  bool readsDevice_ = true;
  Findings findings_;
  FoundProperties fileInfo_;
  FoundProperties label_;
  FoundProperties speedDefault_;
  FoundProperties entryDefault_;
  FoundProperties entries_;
  FoundProperties option_;
};

}  // namespace

std::vector<Finding> CheckConfig(const std::wstring& text, const std::wstring& fileName) {
  return Checker(text, fileName).Run();
}

}  // namespace orv::tool
