#pragma once

#include "devmode/merge.h"
#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"

namespace orv {

/// The source of the log entries about device modes and stock items.
inline constexpr wchar_t kDevModeSource[] = L"DevMode";

/// Writes the log lines of a merge.
class MergeLog final : public MergeObserver {
 public:
  explicit MergeLog(CLoggerClient* client) : client_(client) {}

  void OnConverting() override;
  void OnConvertingVersion() override;
  void OnVersionConverted(std::uint32_t version, Conversion conversion) override;
  void OnConverted(const tagOEMDEV* in, Conversion conversion) override;
  void OnPublicRecords(const DEVMODEW* in, const DEVMODEW* out) override;
  void OnLoadingStockItems() override;
  void OnStockItemsLoaded(const std::wstring& printerName, const StockList& list) override;
  void OnStockItemChosen(const DEVMODEW& in, const StockChoice& choice) override;
  void OnRepairing() override;
  void OnSizeReduced(const StockChoice& choice, const DEVMODEW& out) override;
  void OnRepaired(std::span<const Correction> corrections) override;

 private:
  CLoggerClient* client_;
};

/// Carries out a request of the driver and writes all its log lines.
DevmodeResult RunLoggedRequest(const DevmodeRequest& request);

}  // namespace orv
