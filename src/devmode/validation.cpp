#include <new>
#include <string>
#include <vector>

#include "devmode/record_fields.h"
#include "orv/devmode/devmode.h"

namespace {

constexpr wchar_t kSource[] = L"DevMode";

/// Repairs a record and names what was wrong with it; without memory it is repaired all the same.
void RepairWithWarning(CLoggerClient* logger, const Config& config, tagOEMDEV* dev) {
  const tagOEMDEV given = *dev;
  try {
    std::vector<orv::Correction> corrections;
    orv::RepairRecord(config, dev, &corrections);
    if (corrections.empty()) return;
    const std::wstring text =
        L"Drevik.EnsureValidOEMDevmode: " + orv::DescribeCorrections(corrections);
    CLogger::LOG_WARNING(logger, text.c_str(), kSource);
  } catch (const std::bad_alloc&) {
    *dev = given;
    orv::RepairRecord(config, dev, nullptr);
  }
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
      RepairWithWarning(logger, *config, dev);
    } else {
      orv::RepairRecord(*config, dev, nullptr);
    }
  }
  CLogger::LOG_TRACE(logger, L"Drevik.EnsureValidOEMDevmode END (TRUE)", kSource);
  return TRUE;
}
