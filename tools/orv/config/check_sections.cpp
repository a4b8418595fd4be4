#include "tools/orv/config/checker.h"

#include <algorithm>
#include <set>

#include "config/property_tables.h"
#include "config/values.h"
#include "orv/config/config_parser.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/rules.h"
#include "xml/names.h"

namespace orv::tool {

void Checker::CheckSection(const PropertyRule* section, const FoundProperties& found, int offset) {
  struct SectionCheck {
    const PropertyRule* section;
    void (Checker::*check)(const FoundProperties& found, int offset);
  };
  static constexpr SectionCheck kChecks[] = {
      {kFileInfoRules.data(), &Checker::CheckFileInfo},
      {kModelRules.data(), &Checker::CheckModelSection},
      {kLabelRules.data(), &Checker::CheckLabelSection},
      {kGeneralSettingsRules.data(), &Checker::CheckGeneralSettingsSection},
      {kDarknessRules.data(), &Checker::CheckDarknessSection},
      {kPrintSpeedDefaultRules, &Checker::KeepSpeedDefault},
      {kPrintSpeedRules, &Checker::CheckPrintSpeeds},
      {kConveyorSpeedRules, &Checker::CheckConveyorSpeeds},
      {kPrintModesRules, &Checker::KeepEntryDefault},
      {kSensorTypesRules, &Checker::KeepEntryDefault},
      {kPrintModeRules.data(), &Checker::AddEntries},
      {kSensorTypeRules.data(), &Checker::AddEntries},
  };
  for (const auto& [known, check] : kChecks) {
    if (known == section) (this->*check)(found, offset);
  }
}

void Checker::CheckModelSection(const FoundProperties& found, int) {
  CheckModel(found, &findings_);
}

void Checker::CheckLabelSection(const FoundProperties& found, int) {
  CheckLabel(found, &findings_);
  label_ = found;
}

void Checker::CheckGeneralSettingsSection(const FoundProperties& found, int) {
  CheckGeneralSettings(found, label_, &findings_);
}

void Checker::CheckDarknessSection(const FoundProperties& found, int) {
  CheckDarkness(found, &findings_);
}

void Checker::KeepSpeedDefault(const FoundProperties& found, int) { speedDefault_ = found; }

void Checker::CheckPrintSpeeds(const FoundProperties& found, int offset) {
  if (Find(found, L"printSpeed") == nullptr) {
    Report(L"no-print-speed", offset, L"the printer has no print speed", L"one speed or more",
           L"<property name=\"printSpeed\">...</property>");
  }
  CheckSpeeds(found, L"printSpeed", Find(speedDefault_, L"printSpeedDefault"), &findings_);
}

void Checker::CheckConveyorSpeeds(const FoundProperties& found, int offset) {
  if (Find(found, L"conveyorSpeed") == nullptr) {
    Report(L"empty-list", offset, L"the option has no conveyor speed", L"one speed or more",
           L"<property name=\"conveyorSpeed\">...</property>");
  }
  CheckSpeeds(found, L"conveyorSpeed", Find(option_, L"conveyorSpeedDefault"), &findings_);
}

void Checker::KeepEntryDefault(const FoundProperties& found, int) {
  entryDefault_ = found;
  entries_.clear();
}

void Checker::AddEntries(const FoundProperties& found, int) {
  entries_.insert(entries_.end(), found.begin(), found.end());
}

void Checker::CheckFileInfo(const FoundProperties& found, int offset) {
  CheckTimes(found, &findings_);
  if (!readsDevice_) CheckForDevice(*Find(found, L"version"));
  const FoundProperty* const name = Find(found, L"configfilename");
  if (name != nullptr && !fileName_.empty() && !EqualsIgnoringAsciiCase(name->value, fileName_)) {
    Report(L"file-name", name->valueOffset,
           L"the file says its name is \"" + name->value + L"\", but it is named \"" + fileName_ +
               L"\"",
           L"the name of the file", fileName_);
  }
  const FoundProperty* const digest = Find(found, L"sha256");
  if (digest == nullptr || digest->value.empty()) {
    return Report(L"not-signed", offset, L"the file has no digest", L"the digest of the file",
                  L"orv config sign");
  }
  const CString computed = ConfigDigest(xml_.GetDoc(), digest->value);
  if (computed != digest->value) {
    Report(L"digest", digest->valueOffset,
           EqualsIgnoringAsciiCase(computed, digest->value)
               ? L"the digest is written in capitals"
               : L"the digest is not that of the file: it was changed after it was signed",
           computed, L"orv config sign");
  }
}

void Checker::CheckForDevice(const FoundProperty& version) {
  CMarkup look(xml_);
  look.ResetPos();
  if (look.FindElem(L"xmlData") && look.FindChildElem(L"device")) {
    Report(L"version-skips-device", version.valueOffset,
           L"the device of a file of this version is not read", L"at most 12", L"12");
  }
}

void Checker::CheckEntries(const EntryList& list, int offset) {
  if (entries_.empty()) {
    return Report(L"empty-list", offset,
                  L"<" + std::wstring(list.section) + L"> lists no <" + list.entry + L">",
                  std::wstring(L"one <") + list.entry + L"> or more",
                  std::wstring(L"<") + list.entry + L"> ... </" + list.entry + L">");
  }
  const FoundProperty* const byDefault = Find(entryDefault_, list.defaultKey);
  const std::wstring wanted =
      byDefault != nullptr ? std::wstring(list.defaultPrefix) + byDefault->value : std::wstring();
  const auto withoutPrefix = [&](std::wstring_view name) {
    const std::size_t size = list.defaultPrefix.size();
    return EqualsIgnoringAsciiCase(name.substr(0, size), list.defaultPrefix) ? name.substr(size)
                                                                             : name;
  };
  std::vector<std::wstring_view> names;
  const FoundProperty* chosen = nullptr;
  std::set<std::wstring> before;
  for (const FoundProperty& entry : entries_) {
    std::wstring folded = entry.name;
    std::transform(folded.begin(), folded.end(), folded.begin(), ToLowerAscii);
    if (!before.insert(folded).second) {
      Report(L"duplicate-entry", entry.offset, L"\"" + entry.name + L"\" is listed twice",
             L"every entry once", kNothing);
    }
    names.push_back(withoutPrefix(entry.name));
    if (EqualsIgnoringAsciiCase(entry.name, wanted)) chosen = &entry;
  }
  if (byDefault == nullptr) return;
  if (chosen == nullptr) {
    Report(
        L"default-not-listed", byDefault->valueOffset,
        L"no <" + std::wstring(list.entry) + L"> lists the default \"" + byDefault->value + L"\"",
        Join(names), NearestOr(withoutPrefix(byDefault->value), names, kOneOfThem));
  } else if (!ToBool(chosen->value)) {
    Report(L"default-disabled", byDefault->valueOffset,
           L"the default \"" + byDefault->value + L"\" is disabled", L"an entry that is true",
           L"true for \"" + chosen->name + L"\", or another default");
  }
}

}  // namespace orv::tool
