#include "devmode/merge_log.h"

#include <new>
#include <string>

#include "config/load_log.h"
#include "devmode/differences.h"
#include "orv/platform/registry.h"
#include "platform/error_text.h"

namespace orv {
namespace {

constexpr int kMaxPaperSize = 10000;
constexpr int kMaxCopies = 10000;

/// Reports what looks wrong in the application's public record.
void WarnOfSuspicious(CLoggerClient* client, const DEVMODEW& in) {
  const auto warn = [client](bool isSuspicious, const wchar_t* format, int value) {
    if (isSuspicious) LogFormat(eLogLevelWarning, client, kDevModeSource, format, value);
  };
  warn(in.dmPaperSize < 0 || in.dmPaperSize > kMaxPaperSize,
       L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperSize %d", in.dmPaperSize);
  warn(in.dmCopies < 1 || in.dmCopies > kMaxCopies,
       L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies %d", in.dmCopies);
  warn(in.dmPaperLength < 1, L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperLength %d",
       in.dmPaperLength);
}

void TracePublicRecords(CLoggerClient* client, const DEVMODEW* in, const DEVMODEW& out) {
  if (!CLogger::IsEnabled(eLogLevelTrace, kDevModeSource)) return;
  LogFormat(eLogLevelTrace, client, kDevModeSource, L"Drevik.hrOEMDevMode: DevModeDifferences: %ls",
            DescribeDifferences(in, &out).c_str());
  if (in != nullptr) {
    LogFormat(eLogLevelTrace, client, kDevModeSource,
              L"Drevik.hrOEMDevMode: DevModeIn  paper: %d, %d x %d", int{in->dmPaperSize},
              int{in->dmPaperWidth}, int{in->dmPaperLength});
  } else {
    CLogger::LOG_TRACE(client, L"Drevik.hrOEMDevMode: DevModeIn  IS NULL!!!", kDevModeSource);
  }
  LogFormat(eLogLevelTrace, client, kDevModeSource,
            L"Drevik.hrOEMDevMode: DevModeOut paper: %d, %d x %d", int{out.dmPaperSize},
            int{out.dmPaperWidth}, int{out.dmPaperLength});
}

const wchar_t* SuccessLine(DWORD mode) {
  switch (mode) {
    case OEMDM_SIZE:
      return L"Drevik.hrOEMDevMode END (OEMDM_SIZE, S_OK)";
    case OEMDM_DEFAULT:
      return L"Drevik.hrOEMDevMode END (OEMDM_DEFAULT, S_OK)";
    case OEMDM_CONVERT:
      return L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, S_OK)";
    default:
      return L"Drevik.hrOEMDevMode END (OEMDM_MERGE, S_OK)";
  }
}

/// Null for a request that succeeded.
const wchar_t* FailureLine(DWORD mode, DevmodeFailure failure) {
  switch (failure) {
    case DevmodeFailure::kNone:
      return nullptr;
    case DevmodeFailure::kMissingParameter:
      return L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER";
    case DevmodeFailure::kConfigNotLoaded:
      return L"Drevik.hrOEMDevMode: Config not loaded!";
    case DevmodeFailure::kNotConverted:
      return mode == OEMDM_CONVERT
                 ? L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, E_FAIL)"
                 : L"Drevik.hrOEMDevMode END (OEMDM_MERGE, E_FAIL in ConvertOEMDevmode)";
    case DevmodeFailure::kUnknownMode:
      return L"Drevik.hrOEMDevMode END (E_FAIL, Unknown mode)";
  }
  return nullptr;
}

}  // namespace

void MergeLog::OnConverting() {
  CLogger::LOG_TRACE(client_, L"Drevik.ConvertOEMDevmode START", kDevModeSource);
}

void MergeLog::OnConvertingVersion() {
  CLogger::LOG_TRACE(client_, L"Drevik.ConvertOEMDevmodeVersions START", kDevModeSource);
}

void MergeLog::OnVersionConverted(std::uint32_t version, Conversion conversion) {
  switch (conversion) {
    case Conversion::kUnknownVersion:
      LogFormat(eLogLevelError, client_, kDevModeSource,
                L"Drevik.ConvertOEMDevmodeVersions: END (FALSE, IN-version %d is unknown for "
                L"current version %d)",
                static_cast<int>(version), static_cast<int>(tagOEMDEV::kVersion));
      break;
    case Conversion::kUnhandledVersion:
      LogFormat(eLogLevelError, client_, kDevModeSource,
                L"Drevik.ConvertOEMDevmodeVersions: OEMDevMode version %d is not handled!",
                static_cast<int>(version));
      CLogger::LOG_ERROR(client_, L"Drevik.ConvertOEMDevmodeVersions END (FALSE)", kDevModeSource);
      break;
    case Conversion::kDone:
      CLogger::LOG_TRACE(client_, L"Drevik.ConvertOEMDevmodeVersions END (TRUE)", kDevModeSource);
      break;
    case Conversion::kMissingRecord:
    case Conversion::kOtherSignature:
      break;  // found before the version is checked
  }
}

void MergeLog::OnConverted(const tagOEMDEV* in, Conversion conversion) {
  if (conversion == Conversion::kMissingRecord) {
    CLogger::LOG_ERROR(client_,
                       L"Drevik.ConvertOEMDevmode END (FALSE, pOEMDevIn or pOEMDevOut is NULL)",
                       kDevModeSource);
    return;
  }
  if (conversion == Conversion::kOtherSignature) {
    LogFormat(eLogLevelError, client_, kDevModeSource,
              L"Drevik.ConvertOEMDevMode: unknown DEVMODE signature %d => abort printing!",
              static_cast<int>(in->dwSignature));
  }
  CLogger::LOG_TRACE(client_,
                     conversion == Conversion::kDone ? L"Drevik.ConvertOEMDevmode END (TRUE)"
                                                     : L"Drevik.ConvertOEMDevmode END (FALSE)",
                     kDevModeSource);
}

void MergeLog::OnPublicRecords(const DEVMODEW* in, const DEVMODEW* out) {
  if (in != nullptr) WarnOfSuspicious(client_, *in);
  if (out != nullptr) TracePublicRecords(client_, in, *out);
}

void MergeLog::OnLoadingStockItems() {
  CLogger::LOG_INFO(client_, L"Loading printer settings from registry", kDevModeSource);
}

void MergeLog::OnStockItemsLoaded(const std::wstring& printerName, const StockList& list) {
  if (list.openError) {
    LogFormat(eLogLevelError, client_, kDevModeSource,
              L"printer %ls could not be opened. Error code: %u", printerName.c_str(),
              static_cast<unsigned>(*list.openError));
  }
  if (list.failure) {
    LogFormat(eLogLevelError, client_, kDevModeSource,
              L"Stock items could not be read from %ls: %ls", list.failure->store.c_str(),
              DescribeError(list.failure->error).c_str());
    return;
  }
  CLogger::LOG_INFO(client_,
                    list.items.empty() ? L"No User-Defined-Settings found in registry."
                    : list.isFromSession
                        ? L"Successfully Loaded User-Defined-Settings from session data."
                        : L"Successfully Loaded User-Defined-Settings from the registry.",
                    kDevModeSource);
}

void MergeLog::OnStockItemChosen(const DEVMODEW& in, const StockChoice& choice) {
  const auto log = [this](eLogLevel level, const wchar_t* format, auto... arguments) {
    LogFormat(level, client_, kDevModeSource, format, arguments...);
  };
  const auto width = static_cast<int>(choice.item.PaperWidth);
  const auto length = static_cast<int>(choice.item.PaperLength);
  log(eLogLevelInfo, L"Drevik.ApplyStockItem: Applying values for paper size %d",
      int{in.dmPaperSize});
  switch (choice.reason) {
    case StockChoice::kPaperSize:
      log(eLogLevelInfo,
          L"Drevik.ApplyStockItem:   Using stock item from paper size for paper dimensions: "
          L"%d x %d",
          width, length);
      break;
    case StockChoice::kSelected:
      log(eLogLevelInfo,
          L"Drevik.ApplyStockItem:   No stock item found for given paper size. Using default stock "
          L"item for paper size %d",
          choice.paperSize);
      break;
    case StockChoice::kRecordSize:
      log(eLogLevelWarning,
          L"Drevik.ApplyStockItem:   No stock item found for given paper size, and no default "
          L"stock "
          L"item found. Using width and length from OEMDevMode settings: %d x %d",
          width, length);
      break;
    case StockChoice::kUnreadable:
      log(eLogLevelError,
          L"Drevik.ApplyStockItem:   Stock items could not be read. Using width and length from "
          L"OEMDevMode settings: %d x %d",
          width, length);
      break;
    case StockChoice::kApplicationSize:
      log(eLogLevelInfo,
          L"Drevik.ApplyStockItem:   Using application DevMode for paper dimensions: %d x %d",
          width, length);
      break;
  }
}

void MergeLog::OnSizeReduced(const StockChoice& choice, const DEVMODEW& out) {
  LogFormat(eLogLevelWarning, client_, kDevModeSource,
            L"Drevik.ApplyStockItem:   The public record cannot hold the paper dimensions %u x %u. "
            L"Using %d x %d tenths of a millimetre there",
            static_cast<unsigned>(choice.item.PaperWidth),
            static_cast<unsigned>(choice.item.PaperLength), int{out.dmPaperWidth},
            int{out.dmPaperLength});
}

void MergeLog::OnRepairing() {
  CLogger::LOG_TRACE(client_, L"Drevik.EnsureValidOEMDevmode START", kDevModeSource);
}

void MergeLog::OnRepaired(std::span<const Correction> corrections) {
  if (!corrections.empty() && CLogger::IsEnabled(eLogLevelWarning, kDevModeSource)) {
    try {
      const std::wstring text =
          L"Drevik.EnsureValidOEMDevmode: " + DescribeCorrections(corrections);
      CLogger::LOG_WARNING(client_, text.c_str(), kDevModeSource);
    } catch (const std::bad_alloc&) {
      // The line is lost.
    }
  }
  CLogger::LOG_TRACE(client_, L"Drevik.EnsureValidOEMDevmode END (TRUE)", kDevModeSource);
}

DevmodeResult RunLoggedRequest(const DevmodeRequest& request) {
  CLogger::LOG_TRACE(request.client, L"Drevik.hrOEMDevMode START", kDevModeSource);
  LoadLog loading(request.client);
  MergeLog merging(request.client);
  DevmodeResult result = RunDevmodeRequest(request, &loading, &merging);
  if (const wchar_t* const line = FailureLine(request.mode, result.failure)) {
    CLogger::LOG_ERROR(request.client, line, kDevModeSource);
  } else {
    CLogger::LOG_TRACE(request.client, SuccessLine(request.mode), kDevModeSource);
  }
  return result;
}

}  // namespace orv
