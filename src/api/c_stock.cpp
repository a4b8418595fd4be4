#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/c_call.h"
#include "api/c_config.h"
#include "orv/c_api.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/lock.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"

namespace {

/// A caller's printer, opened; without a name the common items are meant.
class StockPlace {
 public:
  StockPlace(const std::uint16_t* printer, std::uint32_t length)
      : name_(orv::TextFromC(printer, length)),
        handle_(name_.empty() ? nullptr : orv::OpenPrinterHandle(name_.c_str())) {
    const bool isDescribed = handle_ != nullptr && orv::GetPrinterFacts(handle_.get(), &facts_);
    if (!name_.empty() && !isDescribed) error_ = GetLastError();
  }

  /// `ORV_OK`, or the error code if the printer cannot be used or the store cannot be read.
  std::int32_t Code() const {
    if (error_ != ERROR_SUCCESS) return orv::CodeOfSpooler(error_);
    HKEY hive = nullptr;
    return orv::StockItemsHive(Path(), &hive) == ERROR_SUCCESS ? ORV_OK : ORV_ERROR_UNREADABLE;
  }
  std::wstring Path() const {
    if (name_.empty()) return orv::kCommonStockItemsPath;
    return orv::StockItemsPath(name_, facts_.driverName);
  }
  /// Reads the items; false if the settings store cannot be read, or if the spooler no longer
  /// describes the printer: then only the common items would be found.
  bool Read(CLoggerClient* client, std::vector<StockItem>* items) const {
    if (name_.empty()) return orv::ReadStockItems(Path(), items) == ERROR_SUCCESS;
    const orv::LockGuard guard(orv::SessionLock());
    const orv::StockList list = orv::LoadStockItems(handle_.get(), name_.c_str(), client);
    items->assign(list.items.begin(), list.items.end());
    return !list.failure && !list.openError;
  }

 private:
  std::wstring name_;
  orv::OwnedPrinterHandle handle_;
  orv::PrinterFacts facts_;
  DWORD error_ = ERROR_SUCCESS;
};

std::int32_t CodeOfStore(LONG error) {
  switch (error) {
    case ERROR_SUCCESS:
      return ORV_OK;
    case ERROR_FILE_NOT_FOUND:
      return ORV_ERROR_NOT_FOUND;
    case ERROR_INVALID_PARAMETER:
      return ORV_ERROR_ARGUMENT;
    default:
      return ORV_ERROR_UNWRITABLE;
  }
}

orv_stock_item ItemForC(const StockItem& item) {
  orv_stock_item result{};
  result.size = sizeof(result);
  std::memcpy(result.guid, &item.guid, sizeof(result.guid));
  orv::CutToC(std::wstring_view(item.DisplayName).substr(0, orv::kMaxStockName), result.name,
              orv::kMaxStockName, &result.name_length);
  for (std::size_t i = 0; i < orv::kStockValueCount; ++i) {
    result.values[i] = item.*orv::StockValues()[i].field;
  }
  return result;
}

bool IsItem(const orv_stock_item* item) {
  return item != nullptr && item->size >= sizeof(orv_stock_item) && item->name_length > 0 &&
         item->name_length <= orv::kMaxStockName && orv::IsText(item->name, item->name_length);
}

StockItem ItemFromC(const orv_stock_item& item) {
  StockItem result;
  std::memcpy(&result.guid, item.guid, sizeof(result.guid));
  result.DisplayName = orv::TextFromC(item.name, item.name_length);
  for (std::size_t i = 0; i < orv::kStockValueCount; ++i) {
    result.*orv::StockValues()[i].field = item.values[i];
  }
  return result;
}

/// The names of the values in narrow characters, made once.
using ValueNames = std::array<std::array<char, 32>, orv::kStockValueCount>;
const ValueNames& StockValueNames() {
  static const ValueNames names = [] {
    ValueNames made{};
    for (std::size_t i = 0; i < orv::kStockValueCount; ++i) {
      const std::wstring_view name = orv::StockValues()[i].name;
      std::ranges::transform(name, made[i].begin(), [](wchar_t c) { return static_cast<char>(c); });
    }
    return made;
  }();
  return names;
}

}  // namespace

const char* ORV_C_CALL orv_stock_value_name(std::uint32_t index) {
  return index < orv::kStockValueCount ? StockValueNames()[index].data() : nullptr;
}

std::int32_t ORV_C_CALL orv_stock_list(const std::uint16_t* printer, std::uint32_t printer_length,
                                       orv_log* log, orv_stock_item* items, std::uint32_t capacity,
                                       std::uint32_t* count) {
  if (!orv::IsText(printer, printer_length) || !orv::IsBuffer(items, capacity) ||
      count == nullptr || (capacity > 0 && items->size < sizeof(orv_stock_item))) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=]() -> std::int32_t {
    const StockPlace place(printer, printer_length);
    if (place.Code() != ORV_OK) return place.Code();
    std::vector<StockItem> found;
    if (!place.Read(orv::ClientOf(log), &found)) return ORV_ERROR_UNREADABLE;
    *count = static_cast<std::uint32_t>(found.size());
    if (*count > capacity) return ORV_ERROR_BUFFER;
    auto* target = reinterpret_cast<char*>(items);
    const std::size_t step = capacity > 0 ? items->size : 0;
    for (const StockItem& item : found) {
      orv_stock_item copy = ItemForC(item);
      copy.size = static_cast<std::uint32_t>(step);
      std::memcpy(target, &copy, sizeof(copy));
      target += step;
    }
    return ORV_OK;
  });
}

std::int32_t ORV_C_CALL orv_stock_add(const std::uint16_t* printer, std::uint32_t printer_length,
                                      orv_log* log, const orv_stock_item* item) {
  if (!orv::IsText(printer, printer_length) || !IsItem(item)) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=]() -> std::int32_t {
    const StockPlace place(printer, printer_length);
    if (place.Code() != ORV_OK) return place.Code();
    const StockItem added = ItemFromC(*item);
    return CodeOfStore(orv::ImportStockItems(place.Path(), {&added, 1}, orv::ClientOf(log)));
  });
}

std::int32_t ORV_C_CALL orv_stock_remove(const std::uint16_t* printer, std::uint32_t printer_length,
                                         const std::uint8_t guid[16]) {
  if (!orv::IsText(printer, printer_length) || guid == nullptr) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=]() -> std::int32_t {
    const StockPlace place(printer, printer_length);
    if (place.Code() != ORV_OK) return place.Code();
    GUID wanted;
    std::memcpy(&wanted, guid, sizeof(wanted));
    return CodeOfStore(orv::DeleteStockItem(place.Path(), wanted));
  });
}
