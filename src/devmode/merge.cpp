#include "devmode/merge.h"

#include <cstring>

#include "orv/devmode/devmode.h"
#include "orv/platform/registry.h"

namespace orv {
namespace {

/// `DM_ORIENTATION`, `DM_PAPERSIZE`, `DM_PAPERLENGTH`, `DM_PAPERWIDTH`, `DM_COPIES`, `DM_FORMNAME`.
constexpr DWORD kMergedFields = 0x1010F;

void Merge(const DevmodeRequest& request, MergeObserver* observer, DevmodeResult* result) {
  const OEMDMPARAM& param = *request.param;
  auto* const out = static_cast<tagOEMDEV*>(param.pOEMDMOut);
  observer->OnPublicRecords(param.pPublicDMIn, param.pPublicDMOut);
  if (param.pPublicDMOut == nullptr) return;
  if (param.pPublicDMIn != nullptr) {
    result->choice = MergeStockItem(*param.pPublicDMIn, param.pPublicDMOut, out, request.printer,
                                    request.printerName, observer);
  }
  if (request.applied != nullptr) *request.applied = *out;
  result->corrections = MakeValid(result->load.config, out, observer);
  param.pPublicDMOut->dmFields = kMergedFields;
}

/// What converting a record of a version results in.
Conversion CheckVersion(std::uint32_t version) {
  if (version == 0 || version > tagOEMDEV::kVersion) return Conversion::kUnknownVersion;
  return version < tagOEMDEV::kVersion ? Conversion::kUnhandledVersion : Conversion::kDone;
}

/// Whether a request converts the incoming record, a merge as its first step.
bool Converts(DWORD mode) { return mode == OEMDM_CONVERT || mode == OEMDM_MERGE; }

void AnswerForPrinter(const DevmodeRequest& request, MergeObserver* merging,
                      DevmodeResult* result) {
  const auto* const in = static_cast<const tagOEMDEV*>(request.param->pOEMDMIn);
  auto* const out = static_cast<tagOEMDEV*>(request.param->pOEMDMOut);
  if (request.mode == OEMDM_DEFAULT) {
    if (out == nullptr) {
      result->failure = DevmodeFailure::kMissingParameter;
    } else {
      FillDefaults(*result->load.config, out);
    }
    return;
  }
  if (!Converts(request.mode)) {
    result->failure = DevmodeFailure::kUnknownMode;
    return;
  }
  result->conversion = ConvertRecord(in, out, merging);
  if (result->conversion != Conversion::kDone) {
    result->failure = DevmodeFailure::kNotConverted;
  } else if (request.mode == OEMDM_MERGE) {
    Merge(request, merging, result);
  }
}

}  // namespace

Conversion ConvertVersion(const tagOEMDEV& in, tagOEMDEV* out, MergeObserver* observer) {
  observer->OnConvertingVersion();
  const std::uint32_t version = in.dwVersion;
  const Conversion conversion = CheckVersion(version);
  if (conversion == Conversion::kDone) std::memmove(out, &in, sizeof(tagOEMDEV));
  observer->OnVersionConverted(version, conversion);
  return conversion;
}

Conversion ConvertRecord(const tagOEMDEV* in, tagOEMDEV* out, MergeObserver* observer) {
  observer->OnConverting();
  Conversion conversion = Conversion::kMissingRecord;
  if (in != nullptr && out != nullptr) {
    conversion = in->dwSignature == out->dwSignature ? ConvertVersion(*in, out, observer)
                                                     : Conversion::kOtherSignature;
  }
  observer->OnConverted(in, conversion);
  return conversion;
}

Corrections MakeValid(const Config* config, tagOEMDEV* record, MergeObserver* observer) {
  observer->OnRepairing();
  Corrections corrections;
  if (record != nullptr) {
    record->dwSize = tagOEMDEV::kSize;
    record->dwSignature = tagOEMDEV::kSignature;
    record->dwVersion = tagOEMDEV::kVersion;
    if (config != nullptr) corrections = RepairRecord(*config, record);
  }
  observer->OnRepaired(corrections);
  return corrections;
}

StockChoice MergeStockItem(const DEVMODEW& in, DEVMODEW* out, tagOEMDEV* record, HANDLE printer,
                           const wchar_t* printerName, MergeObserver* observer) {
  StockChoice choice =
      ChooseStockItem(FindStockItems(printer, printerName, observer).items, in, *record);
  observer->OnStockItemChosen(in, choice);
  ApplyStockChoice(choice, out, record);
  return choice;
}

DevmodeResult AnswerDevmode(const DevmodeRequest& request, LoadObserver* loading,
                            MergeObserver* merging) {
  DevmodeResult result;
  if (request.param == nullptr) {
    result.failure = DevmodeFailure::kMissingParameter;
    return result;
  }
  if (request.mode == OEMDM_SIZE) {
    request.param->cbBufSize = tagOEMDEV::kSize;
    return result;
  }
  // One state of the registry for the printer, the session and the stock items.
  const RegistrySnapshot snapshot;
  result.load = LoadPrinterConfig(request.printer, request.cache, request.client, loading);
  if (result.load.config == nullptr) {
    result.failure = DevmodeFailure::kConfigNotLoaded;
  } else {
    AnswerForPrinter(request, merging, &result);
  }
  return result;
}

}  // namespace orv
