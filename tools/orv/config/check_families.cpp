#include "tools/orv/config/checker.h"

#include <algorithm>
#include <set>

#include "config/property_tables.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/xml/markup.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/rules.h"

namespace orv::tool {
namespace {

/// The kind of family for an identifier; null for an unknown identifier.
const wchar_t* FamilyName(std::int32_t id) {
  const wchar_t* name = nullptr;
  ForEachFamily([&](auto family) {
    if (family.id == id && name == nullptr) name = family.name;
  });
  return name;
}

/// The first identifier of a kind of family; -1 for an unknown name.
std::int32_t FamilyNamed(std::wstring_view name) {
  std::int32_t id = -1;
  ForEachFamily([&](auto family) {
    if (id < 0 && EqualsIgnoringAsciiCase(family.name, name)) id = family.id;
  });
  return id;
}

/// The identifier whose options a family has, if its identifier is reported. Without digits that is
/// read as 0, which says nothing about them.
std::int32_t IdOfOptions(std::int32_t read, std::int32_t named) {
  return read == 0 && named >= 0 ? named : read;
}

/// All identifiers with the kinds of family.
std::wstring FamilyList() {
  std::wstring text;
  ForEachFamily([&](auto family) {
    text += (text.empty() ? L"" : L", ") + std::to_wstring(family.id) + L" " + family.name;
  });
  return text;
}

}  // namespace

void Checker::CheckFamilies() {
  std::set<const wchar_t*> seen;
  std::vector<std::wstring> names;
  FamilyText text;  // inherited from family to family, as in the loader
  xml_.ResetMainPos();
  while (xml_.FindElem()) {
    const int offset = xml_.GetElemOffset();
    if (!EqualsIgnoringAsciiCase(xml_.GetTagName(), L"optionFamily")) {
      Report(L"unknown-element", offset,
             L"<optionFamilies> has no <" + xml_.GetTagName() + L"> element", L"optionFamily",
             L"optionFamily");
      continue;
    }
    ReadFamily(offset, &text);
    const std::int32_t meant = FamilyNamed(text.type);
    const std::int32_t id = text.isIdWhole ? text.id : IdOfOptions(text.id, meant);
    const wchar_t* const kind = FamilyName(id);
    if (kind == nullptr) {
      Report(L"unknown-family", text.idOffset,
             L"the family's identifier is not known, and its options are ignored", FamilyList(),
             meant >= 0 ? std::to_wstring(meant) : kOneOfThem);
    } else {
      if (text.isIdWhole && meant >= 0 && FamilyName(meant) != std::wstring_view(kind)) {
        Report(L"family-type", text.typeOffset,
               L"the type says " + text.type + L", the identifier " + std::to_wstring(text.id) +
                   L" is " + kind,
               L"the kind of the identifier",
               std::wstring(kind) + L", or the identifier " + std::to_wstring(meant));
      } else if (meant < 0 && !text.type.empty()) {
        Report(L"unknown-family-type", text.typeOffset,
               L"the type " + text.type + L" is not the name of a family", FamilyList(), kind);
      }
      if (!seen.insert(kind).second) {
        Report(L"duplicate-family", offset, L"duplicate family: the options are merged",
               L"one " + std::wstring(kind), L"its options in the first one");
      } else if (!text.name.value.empty() &&
                 std::find(names.begin(), names.end(), text.name.value) != names.end()) {
        Report(L"duplicate-family-name", text.name.valueOffset,
               L"another family is called \"" + text.name.value + L"\" too", L"a name of its own",
               text.name.value + L" 2");
      }
      names.push_back(text.name.value);
      ForEachFamily([&](auto family) {
        if (family.id == id) CheckFamily(family, offset);
      });
    }
  }
  CheckStrayText(L"optionFamilies");
}

void Checker::ReadFamily(int offset, FamilyText* text) {
  text->name.value.clear();
  text->idOffset = offset;
  text->typeOffset = offset;
  xml_.IntoElem();
  xml_.ResetMainPos();
  if (xml_.FindElem(L"properties")) {
    xml_.IntoElem();
    xml_.ResetMainPos();
    while (xml_.FindElem(L"property")) {
      const FoundProperty property = PropertyAt(&xml_);
      if (EqualsIgnoringAsciiCase(property.name, L"optionFamilyId")) {
        text->id = ToInt(property.value);
        text->isIdWhole = std::to_wstring(text->id) == property.value;
        text->idOffset = property.valueOffset;
      } else if (EqualsIgnoringAsciiCase(property.name, L"optionFamilyType")) {
        text->type = property.value;
        text->typeOffset = property.valueOffset;
      } else if (EqualsIgnoringAsciiCase(property.name, L"optionFamilyName")) {
        text->name = property;
      }
    }
    xml_.OutOfElem();
  } else {
    Report(L"family-without-properties", offset,
           L"the family has no <properties>: it is read as the same kind as the family before",
           L"one <properties>", L"<properties> ... </properties>");
  }
  xml_.OutOfElem();
}

template <typename Kind>
void Checker::CheckFamily(FamilyMember<Kind>, int offset) {
  static constexpr auto kRules = RulesOf(KindProperties<Kind>::kTable);
  const std::span<const ElementRule> option = std::is_same_v<Kind, BeltApplicator>
                                                  ? std::span<const ElementRule>(kBeltOption)
                                                  : std::span<const ElementRule>(kPlainOption);

  xml_.IntoElem();
  CheckChildren(kFamily, L"optionFamily", offset);
  xml_.ResetMainPos();
  // The options are searched after the properties.
  xml_.FindElem(L"properties");
  std::set<std::wstring> names;
  int defaults = 0;
  bool hasOption = false;
  if (xml_.FindElem(L"options")) {
    xml_.IntoElem();
    xml_.ResetMainPos();
    while (xml_.FindElem()) {
      if (EqualsIgnoringAsciiCase(xml_.GetTagName(), L"option")) {
        hasOption = true;
        CheckOption(kRules, option, &names, &defaults);
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
    Report(L"no-options", offset, L"the family has no options", L"one option or more",
           L"<options> <option> ... </option> </options>");
  }
}

void Checker::CheckOption(std::span<const PropertyRule> rules,
                          std::span<const ElementRule> children, std::set<std::wstring>* names,
                          int* defaults) {
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
    Report(L"option-without-properties", offset, L"an option without <properties> is ignored",
           L"one <properties>", L"<properties> ... </properties>");
  }
  xml_.OutOfElem();
}

void Checker::CheckOptionName(int offset, std::set<std::wstring>* names, int* defaults) {
  const FoundProperty* const name = Find(option_, L"optionName");
  if (name == nullptr || name->value.empty()) {
    return Report(L"option-without-name", name != nullptr ? name->offset : offset,
                  L"an option without a name is ignored", L"a name of its own",
                  L"<property name=\"optionName\">...</property>");
  }
  if (!names->insert(name->value).second) {
    Report(L"duplicate-option", name->valueOffset,
           L"the family has two options named \"" + name->value + L"\"", L"a name of its own",
           name->value + L" 2");
  }
  const FoundProperty* const isDefault = Find(option_, L"defaultOption");
  if (isDefault != nullptr && ToUpperCaseBool(isDefault->value) && ++*defaults > 1) {
    findings_.ReportValue(
        L"two-defaults", *isDefault,
        L"another option of the family is already the default; the first one takes effect",
        L"one TRUE in a family", L"FALSE");
  }
}

}  // namespace orv::tool
