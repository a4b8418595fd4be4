#include <string>
#include <vector>

#include "orv/devmode/devmode.h"
#include "orv/devmode/record_fields.h"

namespace {

constexpr wchar_t kSource[] = L"DevMode";

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
        const std::wstring text =
            L"Drevik.EnsureValidOEMDevmode: " + orv::DescribeCorrections(corrections);
        CLogger::LOG_WARNING(logger, text.c_str(), kSource);
      }
    } else {
      orv::RepairRecord(*config, dev, nullptr);
    }
  }
  CLogger::LOG_TRACE(logger, L"Drevik.EnsureValidOEMDevmode END (TRUE)", kSource);
  return TRUE;
}
