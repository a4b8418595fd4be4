#include "orv/devmode/stock_items.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "devmode/merge.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/settings/settings.h"
#include "orv/text/format.h"
#include "platform/letter_case.h"
#include "session/session.h"

namespace orv {
namespace {

constexpr wchar_t kNameValue[] = L"DisplayName";
constexpr std::size_t kMaxNameBytes = (kMaxStockName + 1) * 2;  ///< with the terminator
static_assert(kMaxNameBytes == 260);

/// The private record counts in thousandths of a millimetre, the public one in tenths.
constexpr int kThousandthsPerTenth = 100;

constexpr int kNoField = -1;
#define RECORD(member) static_cast<int>(offsetof(tagOEMDEV, member))

// The paper size reaches the records separately; the copies stay the application's.
constexpr StockValue kValues[] = {
    {L"SpeedInMmPerSec", &StockItem::SpeedInMmPerSec, RECORD(PrintSpeed), kMaxStockNumber},
    {L"Darkness", &StockItem::Darkness, RECORD(Darkness), kMaxStockNumber},
    {L"Darkness2", &StockItem::Darkness2, RECORD(Darkness2), kMaxStockNumber},
    {L"PaperWidth", &StockItem::PaperWidth, kNoField, kMaxStockSize},
    {L"PaperLength", &StockItem::PaperLength, kNoField, kMaxStockSize},
    {L"UnprintableLeft", &StockItem::UnprintableLeft, RECORD(UnprintableLeft), kMaxStockNumber},
    {L"UnprintableRight", &StockItem::UnprintableRight, RECORD(UnprintableRight), kMaxStockNumber},
    {L"UnprintableTop", &StockItem::UnprintableTop, RECORD(UnprintableTop), kMaxStockNumber},
    {L"UnprintableBottom", &StockItem::UnprintableBottom, RECORD(UnprintableBottom),
     kMaxStockNumber},
    {L"SensorType", &StockItem::SensorType, RECORD(SensorType), kMaxStockNumber},
    {L"GapDistance", &StockItem::GapDistance, RECORD(GapDistance), kMaxStockNumber},
    {L"IgnorePaperEnd", &StockItem::IgnorePaperEnd, RECORD(IgnorePaperEnd), kMaxStockNumber},
    {L"Rotation", &StockItem::Rotation, RECORD(Rotation), kMaxStockNumber},
    {L"Mirror", &StockItem::Mirror, RECORD(Mirror), kMaxStockNumber},
    {L"Invert", &StockItem::Invert, RECORD(Invert), kMaxStockNumber},
    {L"TopSameAsBottom", &StockItem::TopSameAsBottom, RECORD(TopSideSameAsBottom), kMaxStockNumber},
    {L"BackfeedMode", &StockItem::BackfeedMode, RECORD(BackFeedMode), kMaxStockNumber},
    {L"BackfeedSpeed", &StockItem::BackfeedSpeed, RECORD(BackFeedSpeed), kMaxStockNumber},
    {L"PrintMode", &StockItem::PrintMode, RECORD(PrintMode), kMaxStockNumber},
    {L"NumberCopies", &StockItem::NumberCopies, kNoField, kMaxStockCopies},
    {L"RibbonSaver", &StockItem::RibbonSaver, RECORD(RibbonSaver), kMaxStockNumber},
    {L"SingleBuffer", &StockItem::SingleBuffer, RECORD(SingleBufferMode), kMaxStockNumber},
    {L"IgnoreLabelPosition", &StockItem::IgnoreLabelPosition, RECORD(IgnoreLabelPosition),
     kMaxStockNumber},
    {L"Disabled", &StockItem::Disabled, kNoField, kMaxStockNumber},
    {L"OffsetX", &StockItem::OffsetX, RECORD(OffsetX), kMaxStockNumber},
    {L"OffsetY", &StockItem::OffsetY, RECORD(OffsetY), kMaxStockNumber},
    {L"LengthScaling", &StockItem::LengthScaling, RECORD(LengthScaling), kMaxStockNumber},
};

bool SameGuid(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }

std::wstring PrinterPath(const std::wstring& printerName, const std::wstring& driverName) {
  return std::wstring(kSettingsKey) + L"\\UI\\" + printerName + L'\\' + driverName;
}

/// The items below a key that may be missing, in key order.
LONG ReadItems(HKEY hive, const std::wstring& path, std::vector<StockItem>* items) {
  items->clear();
  RegistryKey key;
  std::vector<RegistrySubKey> subKeys;
  LONG result = key.Open(hive, path, RegistryAccess::kRead);
  if (result == ERROR_SUCCESS) result = ReadRegistryKeys(key.get(), &subKeys);
  if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (result != ERROR_SUCCESS) return result;
  for (const RegistrySubKey& subKey : subKeys) {
    StockItem item;
    item.guid = ParseGuid(subKey.name);
    for (const NamedRegistryValue& named : subKey.values) SetStockValue(named, &item);
    items->push_back(std::move(item));
  }
  return ERROR_SUCCESS;
}

/// The printer's own items: the session's if the session decides so and has any, otherwise the
/// stored ones.
LONG ReadOwnItems(const std::wstring& printerName, const std::wstring& driverName, StockList* list,
                  std::vector<StockItem>* items) {
  SessionData& session = SessionData::Shared();
  bool readsFromSession = false;
  LONG result = session.ReadsFromSession(printerName, driverName, &readsFromSession);
  SessionData::RemoveEndedEntries();
  if (result == ERROR_SUCCESS && readsFromSession) {
    result = ReadItems(HKEY_CURRENT_USER,
                       PrinterPath(printerName, driverName) + L"\\Session\\" +
                           std::to_wstring(session.ItemsProcessId()),
                       items);
    list->isFromSession = !items->empty();
  }
  if (result == ERROR_SUCCESS && items->empty()) {
    result = ReadItems(HKEY_CURRENT_USER, StockItemsPath(printerName, driverName), items);
  }
  return result;
}

/// Adds the common items that are not among the printer's own.
LONG AddCommonItems(HKEY* hive, std::vector<StockItem>* items) {
  std::vector<StockItem> common;
  LONG result = StockItemsHive(kCommonStockItemsPath, hive);
  if (result == ERROR_SUCCESS) result = ReadItems(*hive, kCommonStockItemsPath, &common);
  const std::size_t ownItems = items->size();
  for (StockItem& item : common) {
    const auto ownEnd = items->begin() + static_cast<std::ptrdiff_t>(ownItems);
    if (std::none_of(items->begin(), ownEnd,
                     [&](const StockItem& own) { return SameGuid(own.guid, item.guid); })) {
      items->push_back(std::move(item));
    }
  }
  return result;
}

/// Whether an item can be stored and read again.
bool IsStorable(const StockItem& item) {
  return !IsZeroGuid(item.guid) && item.DisplayName.size() <= kMaxStockName &&
         FindExceedingValue(item) == nullptr;
}

/// A public length in the unit of the private record; the record's own if the public one is unset.
DWORD LengthFrom(SHORT tenths, std::uint32_t own) {
  return tenths < 1 ? own : static_cast<DWORD>(tenths) * kThousandthsPerTenth;
}

/// Rounds to the nearest tenth of a millimetre; the public record keeps the low 16 bits.
SHORT ToTenths(DWORD thousandths) {
  return static_cast<SHORT>((std::uint64_t{thousandths} + kThousandthsPerTenth / 2) /
                            kThousandthsPerTenth);
}

}  // namespace

std::span<const StockValue> StockValues() { return kValues; }

const StockValue* FindStockValue(const std::wstring& name) {
  static const auto s_values = [] {
    std::unordered_map<std::wstring, const StockValue*> byName;
    for (const StockValue& value : kValues) {
      byName.emplace(value.name, &value);  // the usual spelling needs no case folding
      byName.emplace(LowerCase(value.name), &value);
    }
    return byName;
  }();
  auto found = s_values.find(name);
  if (found == s_values.end()) found = s_values.find(LowerCase(name));
  return found != s_values.end() ? found->second : nullptr;
}

const StockValue* FindExceedingValue(const StockItem& item) {
  const auto* const found = std::ranges::find_if(
      kValues, [&](const StockValue& value) { return item.*value.field > value.max; });
  return found != std::end(kValues) ? found : nullptr;
}

void SetStockValue(const NamedRegistryValue& stored, StockItem* item) {
  if (const StockValue* const number = FindStockValue(stored.name)) {
    stored.value.Number(&(item->*number->field));
  } else if (EqualIgnoringCase(stored.name, kNameValue) &&
             stored.value.data.size() <= kMaxNameBytes) {
    item->DisplayName = stored.value.Text();
  }
}

bool IsZeroGuid(const GUID& guid) { return SameGuid(guid, GUID{}); }

std::wstring FormatGuid(const GUID& guid) {
  return Format(L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0],
                guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5],
                guid.Data4[6], guid.Data4[7]);
}

GUID ParseGuid(const std::wstring& text) {
  constexpr std::wstring_view kShape = L"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  constexpr std::wstring_view kDigits = L"0123456789abcdef0123456789ABCDEF";
  if (text.size() != kShape.size()) return {};
  std::uint8_t bytes[sizeof(GUID)] = {};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kShape[i] != L'x') {
      if (text[i] != kShape[i]) return {};
      continue;
    }
    const std::size_t digit = kDigits.find(text[i]);
    if (digit == kDigits.npos) return {};
    bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] << 4 | (digit & 0xF));
    ++digits;
  }
  // The first three groups are numbers, written with their most significant byte first.
  GUID guid{};
  guid.Data1 =
      static_cast<std::uint32_t>(bytes[0]) << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
  guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(guid.Data4, bytes + 8, sizeof(guid.Data4));
  return guid;
}

std::wstring StockItemsPath(const std::wstring& printerName, const std::wstring& driverName) {
  return PrinterPath(printerName, driverName) + L"\\Stocks";
}

LONG StockItemsHive(const std::wstring& path, HKEY* hive) {
  *hive = HKEY_CURRENT_USER;
  if (path != kCommonStockItemsPath) return ERROR_SUCCESS;
  RegistryKey key;
  LONG result = key.Open(*hive, path, RegistryAccess::kRead);
  if (result != ERROR_FILE_NOT_FOUND) return result;
  result = key.Open(HKEY_LOCAL_MACHINE, path, RegistryAccess::kRead);
  if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  *hive = HKEY_LOCAL_MACHINE;
  return result;
}

LONG ReadStockItems(const std::wstring& path, std::vector<StockItem>* items) {
  items->clear();
  HKEY hive = nullptr;
  const LONG result = StockItemsHive(path, &hive);
  return result != ERROR_SUCCESS ? result : ReadItems(hive, path, items);
}

LONG WriteStockItem(const std::wstring& path, const StockItem& item) {
  return StoreStockItems(path, {&item, 1});
}

LONG StoreStockItems(const std::wstring& path, std::span<const StockItem> items) {
  if (!std::ranges::all_of(items, IsStorable)) return ERROR_INVALID_PARAMETER;
  std::vector<RegistrySubKey> subKeys;
  for (const StockItem& item : items) {
    RegistrySubKey& subKey = subKeys.emplace_back();
    subKey.name = FormatGuid(item.guid);
    subKey.values.push_back({kNameValue, RegistryValue::FromText(item.DisplayName)});
    for (const StockValue& value : kValues) {
      subKey.values.push_back({value.name, RegistryValue::FromNumber(item.*value.field)});
    }
  }
  HKEY hive = nullptr;
  RegistryKey key;
  LONG result = StockItemsHive(path, &hive);
  if (result == ERROR_SUCCESS) result = key.Create(hive, path);
  return result != ERROR_SUCCESS ? result : WriteRegistryKeys(key.get(), subKeys);
}

LONG DeleteStockItem(const std::wstring& path, const GUID& guid) {
  HKEY hive = nullptr;
  RegistryKey key;
  LONG result = StockItemsHive(path, &hive);
  if (result == ERROR_SUCCESS) result = key.Open(hive, path, RegistryAccess::kReadWrite);
  return result != ERROR_SUCCESS ? result : DeleteRegistryTree(key.get(), FormatGuid(guid));
}

StockList FindStockItems(HANDLE printer, const wchar_t* printerName, MergeObserver* observer) {
  const std::wstring name = printerName != nullptr ? printerName : L"";
  observer->OnLoadingStockItems();
  StockList list;
  std::vector<StockItem> items;
  HKEY hive = HKEY_CURRENT_USER;
  LONG result = ERROR_SUCCESS;
  if (PrinterFacts facts; GetPrinterFacts(printer, &facts)) {
    result = ReadOwnItems(name, facts.driverName, &list, &items);
  } else {
    list.openError = GetLastError();
  }
  if (result == ERROR_SUCCESS) result = AddCommonItems(&hive, &items);
  if (result != ERROR_SUCCESS) {
    list.failure = {result, RegistryStoreName(hive)};
    items.clear();
  }
  list.owner = std::make_shared<const std::vector<StockItem>>(std::move(items));
  list.items = *list.owner;
  observer->OnStockItemsLoaded(name, list);
  return list;
}

StockChoice ChooseStockItem(const StockList& list, const DEVMODEW& in, const tagOEMDEV& record) {
  const std::span<const StockItem> items = list.items;
  const int paperSize = in.dmPaperSize;
  const bool isStockSize = paperSize >= kFirstStockPaperSize;
  StockItem unnamed;
  unnamed.PaperWidth = LengthFrom(in.dmPaperWidth, record.PaperWidth);
  unnamed.PaperLength = LengthFrom(in.dmPaperLength, record.PaperHeight);
  if (record.AllowCustomPageSize != 0 && !isStockSize) {
    return {StockChoice::kApplicationSize, paperSize, std::move(unnamed)};
  }
  if (isStockSize) {
    const auto index = static_cast<std::size_t>(paperSize - kFirstStockPaperSize);
    if (index < items.size()) {
      return {StockChoice::kPaperSize, paperSize, items[index]};
    }
  }
  if (!IsZeroGuid(record.StockItemGuid)) {
    const auto found = std::ranges::find_if(
        items, [&](const StockItem& item) { return SameGuid(item.guid, record.StockItemGuid); });
    if (found != items.end()) {
      return {StockChoice::kSelected,
              kFirstStockPaperSize + static_cast<int>(found - items.begin()), *found};
    }
  }
  const auto reason = list.failure ? StockChoice::kUnreadable : StockChoice::kRecordSize;
  return {reason, kFirstStockPaperSize, std::move(unnamed), list.failure};
}

void ApplyStockChoice(const StockChoice& choice, DEVMODEW* out, tagOEMDEV* record) {
  const StockItem& item = choice.item;
  out->dmPaperSize = static_cast<SHORT>(choice.paperSize);
  out->dmPaperWidth = ToTenths(item.PaperWidth);
  out->dmPaperLength = ToTenths(item.PaperLength);
  // The last code unit stays the terminator.
  constexpr std::size_t kMaxName = std::extent_v<decltype(DEVMODEW::dmFormName)> - 1;
  std::ranges::fill(out->dmFormName, WCHAR{0});
  std::ranges::transform(std::wstring_view(item.DisplayName).substr(0, kMaxName), out->dmFormName,
                         [](wchar_t unit) { return static_cast<WCHAR>(unit); });

  record->PaperWidth = item.PaperWidth;
  record->PaperHeight = item.PaperLength;
  if (IsZeroGuid(item.guid)) return;
  for (const StockValue& value : kValues) {
    if (value.recordOffset == kNoField) continue;
    const DWORD number = item.*value.field;
    std::memcpy(reinterpret_cast<std::uint8_t*>(record) + value.recordOffset, &number,
                sizeof(number));
  }
  record->StockItemGuid = item.guid;
}

}  // namespace orv
