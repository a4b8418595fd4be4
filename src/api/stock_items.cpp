#include "orv/devmode/stock_items.h"

#include <new>

#include "devmode/merge.h"
#include "devmode/merge_log.h"

void ApplyStockItem(const DEVMODEW* in, DEVMODEW* out, tagOEMDEV* dev, HANDLE printer,
                    const wchar_t* printerName, CLoggerClient* logger) {
  if (in == nullptr || out == nullptr || dev == nullptr) return;
  try {
    const orv::RegistrySnapshot request;
    orv::MergeLog log(logger);
    orv::MergeStockItem(orv::FindStockItems(printer, printerName, &log), *in, out, dev, &log);
  } catch (const std::bad_alloc&) {
    CLogger::LOG_ERROR(logger, L"ApplyStockItem: out of memory", orv::kDevModeSource);
  }
}

namespace orv {

StockList LoadStockItems(HANDLE printer, const wchar_t* printerName, CLoggerClient* logger) {
  const RegistrySnapshot request;
  MergeLog log(logger);
  return FindStockItems(printer, printerName, &log);
}

LONG ImportStockItems(const std::wstring& path, std::span<const StockItem> items,
                      CLoggerClient* logger) {
  const LONG error = StoreStockItems(path, items);
  if (error != ERROR_SUCCESS) return error;
  std::wstring names;
  for (const StockItem& item : items) names += (names.empty() ? L"" : L", ") + item.DisplayName;
  LogFormat(eLogLevelInfo, logger, kDevModeSource, L"Number of imported layouts %ls",
            std::to_wstring(items.size()).c_str());
  LogFormat(eLogLevelInfo, logger, kDevModeSource, L"Layouts %ls imported from registry.",
            names.c_str());
  return ERROR_SUCCESS;
}

}  // namespace orv
