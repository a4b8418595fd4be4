#pragma once

#include <optional>
#include <span>
#include <string>

#include "config/config_loader.h"
#include "devmode/record_fields.h"
#include "orv/config/config.h"
#include "orv/config/config_loader.h"
#include "orv/config/configs_cache.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"

/// The driver's device-mode requests, with their results as data. `src/api/` turns the results into
/// return codes; the `orv` program prints them. Both log the steps with `MergeLog`.

namespace orv {

/// The private record counts in thousandths of a millimetre, the public one in tenths.
inline constexpr int kThousandthsPerTenth = 100;

/// The result of converting a record to the current version.
enum class Conversion {
  kDone,
  kMissingRecord,     ///< one of the two records is null
  kOtherSignature,    ///< not a record of this driver
  kUnknownVersion,    ///< 0, or newer than the current version
  kUnhandledVersion,  ///< older than the current version
};

/// Sets the settings from the legacy layout in the same record, and the legacy layout from the
/// settings.
void ReadLegacyLayout(tagOEMDEV* record);
void WriteLegacyLayout(tagOEMDEV* record);

/// Receives the steps of a merge as they happen, so that their log lines keep their order among
/// those of the session, and a step that crashes has logged its start.
class MergeObserver {
 public:
  virtual ~MergeObserver() = default;
  virtual void OnConverting() = 0;
  virtual void OnConvertingVersion() = 0;
  virtual void OnVersionConverted(std::uint32_t version, Conversion conversion) = 0;
  virtual void OnConverted(const tagOEMDEV* in, Conversion conversion) = 0;
  /// The public records before the merge changes one of them. Either may be null.
  virtual void OnPublicRecords(const DEVMODEW* in, const DEVMODEW* out) = 0;
  virtual void OnLoadingStockItems() = 0;
  virtual void OnStockItemsLoaded(const std::wstring& printerName, const StockList& list) = 0;
  virtual void OnStockItemChosen(const DEVMODEW& in, const StockChoice& choice) = 0;
  virtual void OnRepairing() = 0;
  /// The public record cannot hold the size of the choice and has a smaller one.
  virtual void OnSizeReduced(const StockChoice& choice, const DEVMODEW& out) = 0;
  virtual void OnRepaired(std::span<const Correction> corrections) = 0;
};

/// Copies a record of the current version; the two may be the same.
Conversion ConvertVersion(const tagOEMDEV& in, tagOEMDEV* out, MergeObserver* observer);
/// As above, and first checks that both records are given and have the same signature.
Conversion ConvertRecord(const tagOEMDEV* in, tagOEMDEV* out, MergeObserver* observer);

/// Writes a record's header and replaces every value that the printer does not offer; a null
/// `config` skips the checks. Returns the corrections. Needs no memory.
Corrections CorrectRecord(const Config* config, tagOEMDEV* record);
/// As above, with the steps; does nothing to a null `record`.
Corrections MakeValid(const Config* config, tagOEMDEV* record, MergeObserver* observer);

/// A printer's own items, then the common ones that are not among them. `printerName` may be null.
StockList FindStockItems(HANDLE printer, const wchar_t* printerName, MergeObserver* observer);
/// Copies the chosen item or size to both records. The public record holds at most 32767 tenths of
/// a millimetre; a larger size is reduced there.
void ApplyStockChoice(const StockChoice& choice, DEVMODEW* out, tagOEMDEV* record);
/// Chooses among the printer's items and applies the choice.
StockChoice MergeStockItem(const StockList& list, const DEVMODEW& in, DEVMODEW* out,
                           tagOEMDEV* record, MergeObserver* observer);
/// Stores all items, or none if one of them is refused.
LONG StoreStockItems(const std::wstring& path, std::span<const StockItem> items);

/// Why a request failed.
enum class DevmodeFailure {
  kNone,
  kMissingParameter,  ///< no parameters, or no record for the defaults
  kConfigNotLoaded,
  kNotConverted,
  kUnknownMode,
};

struct DevmodeRequest {
  HANDLE printer;
  const wchar_t* printerName;  ///< may be null
  DWORD mode;
  OEMDMPARAM* param;    ///< may be null, which fails
  ConfigsCache* cache;  ///< may be null
  CLoggerClient* client;
  /// Receives the record of a merge with the stock item, before the validation; may be null.
  tagOEMDEV* applied = nullptr;
};

struct DevmodeResult {
  DevmodeFailure failure = DevmodeFailure::kNone;
  LoadResult load;  ///< owns the printer's configuration if there is no cache
  Conversion conversion = Conversion::kDone;
  StockList items;                    ///< of the printer, for a merge with both public records
  std::optional<StockChoice> choice;  ///< which of them, or which size, it has applied
  Corrections corrections;            ///< by the validation
};

/// Carries out a request of the driver.
DevmodeResult RunDevmodeRequest(const DevmodeRequest& request, LoadObserver* loading,
                                MergeObserver* merging);

}  // namespace orv
