#include "tools/orv/config/checker.h"

#include <algorithm>

#include "config/property_tables.h"
#include "config/values.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/rules.h"

namespace orv::tool {
namespace {

std::vector<std::wstring_view> KeysOf(std::span<const PropertyRule> rules) {
  std::vector<std::wstring_view> keys;
  for (const PropertyRule& rule : rules) {
    if (rule.kind != ValueKind::kIgnored) keys.push_back(rule.key);
  }
  return keys;
}

/// The element that has a property with this key; empty when there is none.
std::wstring HomeOf(std::wstring_view key, std::span<const ElementRule> elements) {
  for (const ElementRule& element : elements) {
    for (const PropertyRule& rule : element.properties) {
      if (EqualsIgnoringAsciiCase(rule.key, key)) return element.name;
    }
    std::wstring inner = HomeOf(key, element.children);
    if (inner == L"properties") return element.name;
    if (!inner.empty()) return inner;
  }
  return {};
}

/// Returns the key that has this name, or an empty text.
std::wstring_view KeyNamed(std::span<const std::wstring_view> keys, std::wstring_view name) {
  const auto found = std::ranges::find_if(
      keys, [name](std::wstring_view key) { return EqualsIgnoringAsciiCase(key, name); });
  return found != keys.end() ? *found : std::wstring_view();
}

}  // namespace

void Checker::CheckChildren(std::span<const ElementRule> rules, const std::wstring& parent,
                            int offset, bool hasProperties) {
  std::vector<std::wstring_view> names;
  for (const ElementRule& rule : rules) names.push_back(rule.name);
  std::vector<Child> children;
  int last = -1;  // the loader reads properties before elements and never searches backwards
  xml_.ResetMainPos();
  while (xml_.FindElem()) {
    const std::wstring name = xml_.GetTagName();
    const int at = xml_.GetElemOffset();
    const auto rule = std::find_if(names.begin(), names.end(), [&](std::wstring_view known) {
      return EqualsIgnoringAsciiCase(known, name);
    });
    if (rule != names.end()) {
      children.push_back({static_cast<std::size_t>(rule - names.begin()), at});
    } else if (hasProperties && EqualsIgnoringAsciiCase(name, L"property")) {
      last = at;
    } else if (isWellFormed_) {  // broken markup moves elements
      std::vector<std::wstring_view> known = names;
      if (hasProperties) known.push_back(L"property");
      Report(L"unknown-element", at, L"<" + parent + L"> has no <" + name + L"> element",
             Join(known), NearestOr(name, known, kNothing));
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

void Checker::FindRead(std::span<const ElementRule> rules, const std::wstring& parent, int offset,
                       int last, std::vector<Child>* children) {
  std::wstring place = L"after <property>";
  for (std::size_t i = 0; i < rules.size(); ++i) {
    const ElementRule& rule = rules[i];
    const FoundChildren found = MarkRead(i, rule.need, &last, children);
    ReportUnread(rule, i, found.first != nullptr, place, *children);
    if (found.first != nullptr) {
      place = L"after <" + std::wstring(rule.name) + L">";
    } else if (rule.need == Need::kRequired) {
      ReportAbsent(rule, found.early, place, parent, offset);
    }
  }
}

Checker::FoundChildren Checker::MarkRead(std::size_t number, Need need, int* last,
                                         std::vector<Child>* children) {
  FoundChildren found;
  const int from = *last;
  for (Child& child : *children) {
    if (child.rule != number) continue;
    if (child.offset < from) {
      if (found.early == nullptr) found.early = &child;
    } else if (found.first == nullptr || need == Need::kMany) {
      child.isRead = true;
      if (found.first == nullptr) found.first = &child;
      *last = child.offset;
    }
  }
  return found;
}

void Checker::ReportUnread(const ElementRule& rule, std::size_t number, bool hasFirst,
                           const std::wstring& place, const std::vector<Child>& children) {
  const std::wstring tag = std::wstring(L"<") + rule.name + L">";
  for (const Child& child : children) {
    if (child.rule != number || child.isRead) continue;
    if (hasFirst && rule.need != Need::kMany) {
      Report(L"duplicate-element", child.offset, L"this " + tag + L" is not read", L"one " + tag,
             kNothing);
    } else if (rule.need != Need::kRequired) {
      Report(L"element-not-read", child.offset, tag + L" is not found here", place,
             tag + L" " + place);
    }
  }
}

void Checker::ReportAbsent(const ElementRule& rule, const Child* early, const std::wstring& place,
                           const std::wstring& parent, int offset) {
  const std::wstring tag = std::wstring(L"<") + rule.name + L">";
  if (early != nullptr) {
    return Report(L"element-order", early->offset, tag + L" is not found here", place,
                  tag + L" " + place);
  }
  if (!isWellFormed_) return;  // broken markup hides elements
  Report(L"missing-element", offset, L"<" + parent + L"> has no " + tag + L" element",
         L"one " + tag, tag + L" ... </" + rule.name + L">");
}

void Checker::CheckStrayText(const std::wstring& parent) {
  if (!isWellFormed_) return;  // text is often the remainder of broken markup
  xml_.ResetMainPos();
  while (xml_.FindNode(CMarkup::NODE_TEXT | CMarkup::NODE_CDATA_SECTION) != 0) {
    const std::size_t at = xml_.GetDoc().find_first_not_of(
        L" \t\r\n", static_cast<std::size_t>(std::max(xml_.GetElemOffset(), 0)));
    Report(L"stray-text", static_cast<int>(at), L"text in <" + parent + L"> is not read",
           L"elements", kNothing);
  }
}

void Checker::CheckElement(const ElementRule& rule) {
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
  const EntryList* list = nullptr;
  if (name == kPrintModeList.section) list = &kPrintModeList;
  if (name == kSensorTypeList.section) list = &kSensorTypeList;
  xml_.IntoElem();
  if (list != nullptr) CountEntryClaims(*list);
  if (!rule.properties.empty()) {
    const FoundProperties found = CheckProperties(rule.properties, rule.occurrence, offset);
    CheckGroups(rule.properties, found, &findings_);
    CheckSection(rule.properties.data(), found, offset);
  }
  CheckChildren(rule.children, name, offset, !rule.properties.empty());
  xml_.OutOfElem();
  if (list != nullptr) CheckEntries(*list, offset);
}

FoundProperties Checker::CheckProperties(std::span<const PropertyRule> rules, Occurrence occurrence,
                                         int offset) {
  FoundProperties found;
  std::vector<bool> seen(rules.size());
  const std::vector<std::wstring_view> keys = KeysOf(rules);
  ClaimedKeys claimed;
  if (occurrence == Occurrence::kEachOnce) CountClaims(keys, &claimed);
  if (occurrence == Occurrence::kAnyOnce) claimed = entryClaims_;
  xml_.ResetMainPos();
  while (xml_.FindElem(L"property")) {
    FoundProperty property = PropertyAt(&xml_);
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const PropertyRule& candidate) {
      return EqualsIgnoringAsciiCase(candidate.key, property.name);
    });
    if (property.name.empty()) {
      AddMeant(ReportUnnamed(keys, claimed, property), property, occurrence, &found);
    } else if (rule == rules.end()) {
      AddMeant(ReportUnknown(keys, claimed, property), property, occurrence, &found);
    } else {
      const std::size_t index = static_cast<std::size_t>(rule - rules.begin());
      if (occurrence != Occurrence::kMany && seen[index]) {
        Report(L"duplicate-property", property.offset,
               L"\"" + property.name + L"\" is a duplicate; this one takes effect", L"one of them",
               kNothing);
      }
      seen[index] = true;
      const std::size_t before = findings_.size();
      if (ReportAttributes(property)) {
        // The value is in an attribute.
      } else if (xml_.FindChildElem()) {
        Report(L"element-in-value", property.valueOffset,
               L"\"" + property.name + L"\" is read as empty because it contains an element",
               L"text", L"the text alone");
      } else {
        CheckValue(*rule, property, &findings_);
      }
      property.hasFinding = findings_.size() != before;
    }
    property.isRead = rule != rules.end();
    found.push_back(std::move(property));
  }
  if (occurrence == Occurrence::kEachOnce) ReportMissing(rules, found, offset);
  return found;
}

void Checker::AddMeant(const std::wstring& key, FoundProperty property, Occurrence occurrence,
                       FoundProperties* found) {
  if (key.empty() || occurrence != Occurrence::kEachOnce || Find(*found, key) != nullptr) return;
  property.name = key;
  property.isRead = false;
  property.hasFinding = true;
  found->push_back(std::move(property));
}

std::wstring Checker::MeantKey(std::span<const std::wstring_view> keys) {
  const std::wstring name = xml_.GetAttrib(L"name");
  if (!name.empty()) {
    const std::wstring_view own = KeyNamed(keys, name);
    if (!own.empty()) return std::wstring(own);
    return HomeOf(name, kRoot).empty() ? std::wstring(Nearest(name, keys)) : L"";
  }
  std::wstring attribute;
  std::wstring value;
  xml_.GetNthAttrib(0, attribute, value);
  const std::wstring_view key = KeyNamed(keys, attribute);
  return std::wstring(key.empty() ? KeyNamed(keys, value) : key);
}

void Checker::CountClaims(std::span<const std::wstring_view> keys, ClaimedKeys* claimed) {
  xml_.ResetMainPos();
  while (xml_.FindElem(L"property")) {
    const std::wstring key = MeantKey(keys);
    if (key.empty()) continue;
    Claims& claims = (*claimed)[key];
    ++claims.count;
    claims.hasName = claims.hasName || EqualsIgnoringAsciiCase(xml_.GetAttrib(L"name"), key);
  }
}

void Checker::CountEntryClaims(const EntryList& list) {
  std::vector<std::wstring_view> keys;
  for (const NumberedName& known : list.names) keys.push_back(known.name);
  entryClaims_.clear();
  xml_.ResetMainPos();
  while (xml_.FindElem(list.entry)) {
    xml_.IntoElem();
    if (xml_.FindElem(L"properties")) {
      xml_.IntoElem();
      CountClaims(keys, &entryClaims_);
      xml_.OutOfElem();
    }
    xml_.OutOfElem();
  }
}

bool Checker::IsClaimedOnce(const ClaimedKeys& claimed, const std::wstring& key) {
  const auto found = claimed.find(key);
  return found == claimed.end() || found->second.count == 1;
}

std::wstring Checker::ReportUnnamed(std::span<const std::wstring_view> keys,
                                    const ClaimedKeys& claimed, const FoundProperty& property) {
  constexpr wchar_t kText[] = L"the property has no name attribute";
  const std::wstring meant = MeantKey(keys);
  if (ReportTaken(L"property-without-name", property, kText, keys, claimed, meant)) return {};
  std::wstring attribute;
  std::wstring value;
  xml_.GetNthAttrib(0, attribute, value);
  if (EqualsIgnoringAsciiCase(meant, attribute) && IsClaimedOnce(claimed, meant)) {
    ReportElement(L"property-without-name", property, property.offset, kText, Join(keys), attribute,
                  property.value.empty() ? value : property.value);
  } else {
    Report(L"property-without-name", property.offset, kText, Join(keys),
           L"<property name=\"" + (value.empty() ? L"..." : value) + L"\">");
  }
  return meant;
}

bool Checker::ReportTaken(RuleName rule, const FoundProperty& property, const std::wstring& text,
                          std::span<const std::wstring_view> keys, const ClaimedKeys& claimed,
                          const std::wstring& key) {
  const auto found = claimed.find(key);
  if (found == claimed.end() || !found->second.hasName) return false;
  Report(rule, property.offset, text + L"; the section also has \"" + key + L"\"", Join(keys),
         kNothing);
  return true;
}

void Checker::ReportElement(RuleName rule, const FoundProperty& property, int place,
                            std::wstring text, std::wstring allowed, const std::wstring& key,
                            const std::wstring& value) {
  const std::wstring element = L"<property name=\"" +
                               std::wstring(CMarkup::EscapeText(key.c_str())) + L"\">" +
                               CMarkup::EscapeText(value.c_str()) + L"</property>";
  findings_.Add({&rule.rule(),
                 place,
                 std::move(text),
                 std::move(allowed),
                 element,
                 {{property.offset, static_cast<int>(xml_.GetSubDoc().size()), element}}});
}

bool Checker::ReportAttributes(const FoundProperty& property) {
  std::wstring name;
  std::wstring value;
  int others = 0;
  for (int i = 0; xml_.GetNthAttrib(i, name, value); ++i) {
    if (!EqualsIgnoringAsciiCase(name, L"name")) ++others;
  }
  bool hasValue = false;
  for (int i = 0; xml_.GetNthAttrib(i, name, value); ++i) {
    if (EqualsIgnoringAsciiCase(name, L"name")) continue;
    const int place = xml_.GetAttribOffset(name.c_str());
    const std::wstring text = L"the attribute " + name + L" is not read";
    constexpr wchar_t kAllowed[] = L"the attribute name; the value is the element's text";
    const bool isValue =
        EqualsIgnoringAsciiCase(name, L"value") || (others == 1 && !name.starts_with(L"xml:"));
    if (!isValue || !property.value.empty()) {
      Report(L"unknown-attribute", place, text, kAllowed, kNothing);
    } else {
      ReportElement(L"unknown-attribute", property, place, text, kAllowed, property.name, value);
      hasValue = true;
    }
  }
  return hasValue;
}

std::wstring Checker::ReportUnknown(std::span<const std::wstring_view> keys,
                                    const ClaimedKeys& claimed, const FoundProperty& property) {
  std::wstring text = L"\"" + property.name + L"\" is not a key of this section";
  const std::wstring home = HomeOf(property.name, kRoot);
  if (!home.empty()) {
    text += L"; it belongs to <" + home + L">";
    Report(L"unknown-property", property.offset, text, Join(keys),
           L"the property in <" + home + L">");
    return {};
  }
  const std::wstring nearest = MeantKey(keys);
  if (ReportTaken(L"unknown-property", property, text, keys, claimed, nearest)) return {};
  std::vector<TextEdit> edits;
  const std::size_t attribute = static_cast<std::size_t>(xml_.GetAttribOffset(L"name"));
  const std::size_t tagEnd = static_cast<std::size_t>(property.slot.offset);
  const std::size_t at =
      std::wstring_view(xml_.GetDoc()).substr(0, tagEnd).find(property.name, attribute + 4);
  // A name with entities is not found in the tag.
  if (!nearest.empty() && IsClaimedOnce(claimed, nearest) && at != std::wstring_view::npos) {
    edits.push_back({static_cast<int>(at), static_cast<int>(property.name.size()), nearest});
  }
  findings_.Add({&RuleName(L"unknown-property").rule(), property.offset, text, Join(keys),
                 nearest.empty() ? kNothing : nearest, std::move(edits)});
  return nearest;
}

void Checker::ReportMissing(std::span<const PropertyRule> rules, const FoundProperties& found,
                            int offset) {
  constexpr wchar_t kAllowed[] = L"every key of the section once";
  for (const PropertyRule& rule : rules) {
    // A missing digest is reported as not-signed.
    if (rule.kind == ValueKind::kIgnored || rule.key == L"sha256") continue;
    const FoundProperty* const property = Find(found, rule.key);
    const bool isRead = property != nullptr && property->isRead;
    // A misspelt key is the cause, but without a required one the file still does not load.
    if (isRead || (property != nullptr && rule.kind != ValueKind::kRequiredInteger)) continue;
    const std::wstring what = L"\"" + std::wstring(rule.key) + L"\" is missing";
    const std::wstring proposal =
        L"<property name=\"" + std::wstring(rule.key) + L"\">...</property>";
    const bool isMinWithEnabled =
        rule.key == L"headsOffsetXMin" && Find(found, L"headsOffsetXEnabled") != nullptr;
    if (rule.kind == ValueKind::kRequiredInteger && !isMinWithEnabled) {
      Report(L"required-property", offset, what + L", and the file does not load without it",
             kAllowed, proposal);
    } else {
      Report(L"missing-property", offset, what + L" and takes its default", kAllowed, proposal);
    }
  }
}

}  // namespace orv::tool
