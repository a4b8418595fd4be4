#include "tools/orv/config/checker.h"

#include <algorithm>
#include <set>

#include "config/config_loader.h"
#include "config/property_tables.h"
#include "config/values.h"
#include "orv/config/config_parser.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/rules.h"
#include "xml/names.h"

namespace orv::tool {
namespace {

/// The nearest file name that can be derived from a driver name.
std::wstring ReachableName(std::wstring_view name) {
  constexpr std::wstring_view kPrefix = L"orv_conf_";
  constexpr std::wstring_view kSuffix = L".xml";
  if (EqualsIgnoringAsciiCase(name.substr(0, kPrefix.size()), kPrefix)) {
    name.remove_prefix(kPrefix.size());
  }
  if (name.size() >= kSuffix.size() &&
      EqualsIgnoringAsciiCase(name.substr(name.size() - kSuffix.size()), kSuffix)) {
    name.remove_suffix(kSuffix.size());
  }
  return ConfigFileName(name);
}

}  // namespace

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
  if (name != nullptr && !name->hasFinding) CheckFileName(*name);
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

void Checker::CheckFileName(const FoundProperty& name) {
  const bool isReachable = ReachableName(name.value) == name.value;
  const bool isFileReachable = ReachableName(fileName_) == fileName_;
  const bool isNamedSo = fileName_.empty() || EqualsIgnoringAsciiCase(name.value, fileName_);
  const std::wstring text =
      L"the file says its name is \"" + name.value + L"\", but it is named \"" + fileName_ + L"\"";
  if (!isNamedSo && isFileReachable) {
    findings_.ReportValue(L"file-name", name, text, L"the name of the file", fileName_);
  } else if (!isNamedSo && isReachable) {
    Report(L"file-name", name.valueOffset, text, L"the name of the file",
           L"the same here, and rename the file to " + name.value);
  } else if (!isReachable) {
    findings_.ReportValue(
        L"unreachable-file-name", name,
        L"the file name \"" + name.value + L"\" cannot be derived from a driver name",
        L"orv_conf_, the driver's name in small letters without separators, .xml",
        ReachableName(name.value));
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
    if (entry.isRead) names.push_back(withoutPrefix(entry.name));
    if (EqualsIgnoringAsciiCase(entry.name, wanted)) chosen = &entry;
  }
  // Without an entry that is read, their names are the cause of a default that is not listed.
  if (byDefault == nullptr || byDefault->hasFinding || names.empty()) return;
  if (chosen == nullptr) {
    ReportName(
        L"default-not-listed", *byDefault,
        L"no <" + std::wstring(list.entry) + L"> lists the default \"" + byDefault->value + L"\"",
        withoutPrefix(byDefault->value), names, &findings_);
  } else if (!chosen->hasFinding && !ToBool(chosen->value)) {
    findings_.Add({&RuleName(L"default-disabled").rule(),
                   byDefault->valueOffset,
                   L"the default \"" + byDefault->value + L"\" is disabled",
                   L"an entry that is true",
                   L"true for \"" + chosen->name + L"\", or another default",
                   {ReplacedValue(*chosen, L"true")}});
  }
}

}  // namespace orv::tool
