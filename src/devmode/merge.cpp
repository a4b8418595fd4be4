#include "devmode/merge.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "orv/platform/registry.h"

namespace orv {
namespace {

/// `DM_ORIENTATION`, `DM_PAPERSIZE`, `DM_PAPERLENGTH`, `DM_PAPERWIDTH`, `DM_COPIES`, `DM_FORMNAME`.
constexpr DWORD kMergedFields = 0x1010F;

/// What converting a record of a version results in.
Conversion CheckVersion(std::uint32_t version) {
  if (version == 0 || version > tagOEMDEV::kVersion) return Conversion::kUnknownVersion;
  return version < tagOEMDEV::kVersion ? Conversion::kUnhandledVersion : Conversion::kDone;
}

tagOEMDEV* OutgoingRecord(const DevmodeRequest& request) {
  return static_cast<tagOEMDEV*>(request.param->pOEMDMOut);
}

DevmodeFailure Default(const DevmodeRequest& request, MergeObserver* /*observer*/,
                       DevmodeResult* result) {
  tagOEMDEV* const out = OutgoingRecord(request);
  if (out == nullptr) return DevmodeFailure::kMissingParameter;
  FillDefaults(*result->load.config, out);
  return DevmodeFailure::kNone;
}

DevmodeFailure Convert(const DevmodeRequest& request, MergeObserver* observer,
                       DevmodeResult* result) {
  const auto* const in = static_cast<const tagOEMDEV*>(request.param->pOEMDMIn);
  result->conversion = ConvertRecord(in, OutgoingRecord(request), observer);
  return result->conversion == Conversion::kDone ? DevmodeFailure::kNone
                                                 : DevmodeFailure::kNotConverted;
}

DevmodeFailure Merge(const DevmodeRequest& request, MergeObserver* observer,
                     DevmodeResult* result) {
  const DevmodeFailure failure = Convert(request, observer, result);
  if (failure != DevmodeFailure::kNone) return failure;
  const OEMDMPARAM& param = *request.param;
  tagOEMDEV* const out = OutgoingRecord(request);
  observer->OnPublicRecords(param.pPublicDMIn, param.pPublicDMOut);
  if (param.pPublicDMOut == nullptr) return DevmodeFailure::kNone;
  if (param.pPublicDMIn != nullptr) {
    result->items = FindStockItems(request.printer, request.printerName, observer);
    result->choice =
        MergeStockItem(result->items, *param.pPublicDMIn, param.pPublicDMOut, out, observer);
  }
  if (request.applied != nullptr) *request.applied = *out;
  result->corrections = MakeValid(result->load.config, out, observer);
  param.pPublicDMOut->dmFields = kMergedFields;
  return DevmodeFailure::kNone;
}

/// The requests that need a printer's configuration, which `result` has.
struct RequestMode {
  DWORD mode;
  DevmodeFailure (*run)(const DevmodeRequest& request, MergeObserver* observer,
                        DevmodeResult* result);
};
constexpr RequestMode kModes[] = {
    {OEMDM_DEFAULT, Default}, {OEMDM_CONVERT, Convert}, {OEMDM_MERGE, Merge}};

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

Corrections CorrectRecord(const Config* config, tagOEMDEV* record) {
  record->dwSize = tagOEMDEV::kSize;
  record->dwSignature = tagOEMDEV::kSignature;
  record->dwVersion = tagOEMDEV::kVersion;
  return config != nullptr ? RepairRecord(*config, record) : Corrections();
}

Corrections MakeValid(const Config* config, tagOEMDEV* record, MergeObserver* observer) {
  observer->OnRepairing();
  const Corrections corrections = record != nullptr ? CorrectRecord(config, record) : Corrections();
  observer->OnRepaired(corrections);
  return corrections;
}

StockChoice MergeStockItem(const StockList& list, const DEVMODEW& in, DEVMODEW* out,
                           tagOEMDEV* record, MergeObserver* observer) {
  StockChoice choice = ChooseStockItem(list, in, *record);
  observer->OnStockItemChosen(in, choice);
  ApplyStockChoice(choice, out, record);
  if (std::max(choice.item.PaperWidth, choice.item.PaperLength) > kMaxStockSize) {
    observer->OnSizeReduced(choice, *out);
  }
  return choice;
}

DevmodeResult RunDevmodeRequest(const DevmodeRequest& request, LoadObserver* loading,
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
  // The printer, the session and the stock items are checked for changes only once.
  const RegistrySnapshot snapshot;
  result.load = LoadPrinterConfig(request.printer, request.cache, request.client, loading);
  if (result.load.config == nullptr) {
    result.failure = DevmodeFailure::kConfigNotLoaded;
    return result;
  }
  const auto* const found = std::ranges::find(kModes, request.mode, &RequestMode::mode);
  result.failure = found != std::end(kModes) ? found->run(request, merging, &result)
                                             : DevmodeFailure::kUnknownMode;
  return result;
}

}  // namespace orv
