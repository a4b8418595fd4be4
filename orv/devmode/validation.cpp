#include <string>
#include <vector>

#include "orv/devmode/devmode.h"
#include "orv/devmode/record_fields.h"

namespace {

constexpr wchar_t kSource[] = L"DevMode";

/// "Name:old->new " for each number; a text's item has no trailing blank.
std::wstring Describe(const std::vector<orv::Correction>& corrections) {
  std::wstring text;
  for (const orv::Correction& correction : corrections) {
    for (const char* name = correction.check->name; *name != '\0'; ++name) text += *name;
    text += L':';
    if (correction.check->field->kind == orv::FieldKind::kText) {
      text += L"trunked to " + std::to_wstring(tagOEMDEV::kCommandSize) + L" chars";
    } else {
      text += std::to_wstring(static_cast<std::int32_t>(correction.before));
      text += L"->";
      text += std::to_wstring(static_cast<std::int32_t>(correction.after));
      text += L' ';
    }
  }
  return text;
}

}  // namespace

BOOL EnsureValidOEMDevmode(CLoggerClient* logger, const Config* config, tagOEMDEV* dev) {
  CLogger::LOG_TRACE(logger, L"Drevik.EnsureValidOEMDevmode START", kSource);
  if (dev != nullptr) {
    dev->dwSize = tagOEMDEV::kSize;
    dev->dwSignature = tagOEMDEV::kSignature;
    dev->dwVersion = tagOEMDEV::kVersion;
  }
  if (dev != nullptr && config != nullptr) {
    if (CLogger::IsEnabled(eLogLevelWarning, kSource)) {
      std::vector<orv::Correction> corrections;
      orv::RepairRecord(*config, dev, &corrections);
      if (!corrections.empty()) {
        const std::wstring text = L"Drevik.EnsureValidOEMDevmode: " + Describe(corrections);
        CLogger::LOG_WARNING(logger, text.c_str(), kSource);
      }
    } else {
      orv::RepairRecord(*config, dev, nullptr);
    }
  }
  CLogger::LOG_TRACE(logger, L"Drevik.EnsureValidOEMDevmode END (TRUE)", kSource);
  return TRUE;
}
