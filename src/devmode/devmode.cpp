#include "orv/devmode/devmode.h"

#include <memory>
#include <new>

#include "devmode/differences.h"
#include "orv/config/config_parser.h"
#include "orv/config/configs_cache.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"

namespace {

constexpr wchar_t kSource[] = L"DevMode";

/// `DM_ORIENTATION`, `DM_PAPERSIZE`, `DM_PAPERLENGTH`, `DM_PAPERWIDTH`, `DM_COPIES`, `DM_FORMNAME`.
constexpr DWORD kMergedFields = 0x1010F;

constexpr int kMaxPaperSize = 10000;
constexpr int kMaxCopies = 10000;

HRESULT Fail(CLoggerClient* logger, const wchar_t* message) {
  // The log may use the last error for itself, so it is set behind the line.
  CLogger::LOG_ERROR(logger, message, kSource);
  SetLastError(ERROR_INVALID_PARAMETER);
  return E_FAIL;
}

HRESULT Succeed(CLoggerClient* logger, const wchar_t* message) {
  CLogger::LOG_TRACE(logger, message, kSource);
  return S_OK;
}

BOOL ConvertOEMDevmode(CLoggerClient* logger, const tagOEMDEV* in, tagOEMDEV* out) {
  CLogger::LOG_TRACE(logger, L"Drevik.ConvertOEMDevmode START", kSource);
  if (in == nullptr || out == nullptr) {
    CLogger::LOG_ERROR(
        logger, L"Drevik.ConvertOEMDevmode END (FALSE, pOEMDevIn or pOEMDevOut is NULL)", kSource);
    return FALSE;
  }
  BOOL result = FALSE;
  if (in->dwSignature != out->dwSignature) {
    orv::LogFormat(eLogLevelError, logger, kSource,
                   L"Drevik.ConvertOEMDevMode: unknown DEVMODE signature %d => abort printing!",
                   static_cast<int>(in->dwSignature));
  } else {
    result = ConvertOEMDevmodeVersions(logger, in, out);
  }
  CLogger::LOG_TRACE(
      logger,
      result ? L"Drevik.ConvertOEMDevmode END (TRUE)" : L"Drevik.ConvertOEMDevmode END (FALSE)",
      kSource);
  return result;
}

/// Names what looks wrong in the application's public record; nothing is changed.
void WarnOfSuspicious(CLoggerClient* logger, const DEVMODEW& in) {
  const auto warn = [logger](bool isSuspicious, const wchar_t* format, int value) {
    if (isSuspicious) orv::LogFormat(eLogLevelWarning, logger, kSource, format, value);
  };
  warn(in.dmPaperSize < 0 || in.dmPaperSize > kMaxPaperSize,
       L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperSize %d", in.dmPaperSize);
  warn(in.dmCopies < 1 || in.dmCopies > kMaxCopies,
       L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies %d", in.dmCopies);
  warn(in.dmPaperLength < 1, L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperLength %d",
       in.dmPaperLength);
}

/// Traces what the public records say before the merge changes one of them. `in` may be null.
void TracePublicRecords(CLoggerClient* logger, const DEVMODEW* in, const DEVMODEW& out) {
  if (!CLogger::IsEnabled(eLogLevelTrace, kSource)) return;
  orv::LogFormat(eLogLevelTrace, logger, kSource, L"Drevik.hrOEMDevMode: DevModeDifferences: %ls",
                 orv::DescribeDifferences(in, &out).c_str());
  if (in != nullptr) {
    orv::LogFormat(eLogLevelTrace, logger, kSource,
                   L"Drevik.hrOEMDevMode: DevModeIn  paper: %d, %d x %d", int{in->dmPaperSize},
                   int{in->dmPaperWidth}, int{in->dmPaperLength});
  } else {
    CLogger::LOG_TRACE(logger, L"Drevik.hrOEMDevMode: DevModeIn  IS NULL!!!", kSource);
  }
  orv::LogFormat(eLogLevelTrace, logger, kSource,
                 L"Drevik.hrOEMDevMode: DevModeOut paper: %d, %d x %d", int{out.dmPaperSize},
                 int{out.dmPaperWidth}, int{out.dmPaperLength});
}

HRESULT Merge(CLoggerClient* logger, const Config& config, const wchar_t* printerName,
              const OEMDMPARAM& param) {
  const auto* in = static_cast<const tagOEMDEV*>(param.pOEMDMIn);
  auto* out = static_cast<tagOEMDEV*>(param.pOEMDMOut);
  if (!ConvertOEMDevmode(logger, in, out)) {
    return Fail(logger, L"Drevik.hrOEMDevMode END (OEMDM_MERGE, E_FAIL in ConvertOEMDevmode)");
  }
  if (param.pPublicDMIn != nullptr) WarnOfSuspicious(logger, *param.pPublicDMIn);
  if (param.pPublicDMOut != nullptr) {
    TracePublicRecords(logger, param.pPublicDMIn, *param.pPublicDMOut);
    if (param.pPublicDMIn != nullptr) {
      ApplyStockItem(param.pPublicDMIn, param.pPublicDMOut, out, param.hPrinter, printerName,
                     logger);
    }
    if (!EnsureValidOEMDevmode(logger, &config, out)) {
      return Fail(logger,
                  L"Drevik.hrOEMDevMode END (OEMDM_MERGE, E_FAIL in EnsureValidOEMDevmode)");
    }
    param.pPublicDMOut->dmFields = kMergedFields;
  }
  return Succeed(logger, L"Drevik.hrOEMDevMode END (OEMDM_MERGE, S_OK)");
}

HRESULT Answer(CLoggerClient* logger, ConfigsCache* cache, const wchar_t* printerName, DWORD mode,
               OEMDMPARAM* param) {
  CLogger::LOG_TRACE(logger, L"Drevik.hrOEMDevMode START", kSource);
  if (param == nullptr) {
    return Fail(logger, L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER");
  }
  if (mode == OEMDM_SIZE) {
    param->cbBufSize = tagOEMDEV::kSize;
    return Succeed(logger, L"Drevik.hrOEMDevMode END (OEMDM_SIZE, S_OK)");
  }

  // The printer, the session and the stock items as they are now; the next call looks anew.
  const orv::RegistryRequest request;
  Config* loaded = nullptr;
  const bool isLoaded = CConfigParser::Load(param->hPrinter, &loaded, cache, logger);
  // Without a cache the record is this call's own.
  const std::unique_ptr<Config> owned(cache == nullptr ? loaded : nullptr);
  if (!isLoaded || loaded == nullptr) {
    return Fail(logger, L"Drevik.hrOEMDevMode: Config not loaded!");
  }

  auto* out = static_cast<tagOEMDEV*>(param->pOEMDMOut);
  switch (mode) {
    case OEMDM_DEFAULT:
      if (out == nullptr) return Fail(logger, L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER");
      orv::FillDefaults(*loaded, out);
      return Succeed(logger, L"Drevik.hrOEMDevMode END (OEMDM_DEFAULT, S_OK)");
    case OEMDM_CONVERT:
      if (!ConvertOEMDevmode(logger, static_cast<const tagOEMDEV*>(param->pOEMDMIn), out)) {
        return Fail(logger, L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, E_FAIL)");
      }
      return Succeed(logger, L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, S_OK)");
    case OEMDM_MERGE:
      return Merge(logger, *loaded, printerName, *param);
    default:
      return Fail(logger, L"Drevik.hrOEMDevMode END (E_FAIL, Unknown mode)");
  }
}

}  // namespace

HRESULT hrOEMDevMode(CLoggerClient* logger, ConfigsCache* cache, const wchar_t* printerName,
                     DWORD mode, OEMDMPARAM* param) {
  try {
    return Answer(logger, cache, printerName, mode, param);
  } catch (const std::bad_alloc&) {
    return Fail(logger, L"Drevik.hrOEMDevMode END (E_FAIL, out of memory)");
  }
}
