#include "orv/devmode/devmode.h"

#include <new>

#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "orv/config/config.h"
#include "orv/config/configs_cache.h"

HRESULT hrOEMDevMode(CLoggerClient* logger, ConfigsCache* cache, const wchar_t* printerName,
                     DWORD mode, OEMDMPARAM* param) {
  try {
    const HANDLE printer = param != nullptr ? param->hPrinter : nullptr;
    const orv::DevmodeResult result =
        orv::RunLoggedRequest({printer, printerName, mode, param, cache, logger});
    if (result.failure == orv::DevmodeFailure::kNone) return S_OK;
  } catch (const std::bad_alloc&) {
    CLogger::LOG_ERROR(logger, L"Drevik.hrOEMDevMode END (E_FAIL, out of memory)",
                       orv::kDevModeSource);
  }
  // The log may change the last error, so it is set after the line.
  SetLastError(ERROR_INVALID_PARAMETER);
  return E_FAIL;
}

BOOL EnsureValidOEMDevmode(CLoggerClient* logger, const Config* config, tagOEMDEV* dev) {
  orv::MergeLog log(logger);
  orv::MakeValid(config, dev, &log);
  return TRUE;
}

BOOL ConvertOEMDevmodeVersions(CLoggerClient* logger, const tagOEMDEV* in, tagOEMDEV* out) {
  orv::MergeLog log(logger);
  return orv::ConvertVersion(*in, out, &log) == orv::Conversion::kDone ? TRUE : FALSE;
}

void ConvertEp2Orv(tagOEMDEV* record) {
  if (record != nullptr) orv::ReadLegacyLayout(record);
}

void ConvertOrv2Ep(tagOEMDEV* record) {
  if (record != nullptr) orv::WriteLegacyLayout(record);
}
