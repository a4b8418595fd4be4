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
    {L"SpeedInMmPerSec", &StockItem::SpeedInMmPerSec, RECORD(PrintSpeed)},
    {L"Darkness", &StockItem::Darkness, RECORD(Darkness)},
    {L"Darkness2", &StockItem::Darkness2, RECORD(Darkness2)},
    {L"PaperWidth", &StockItem::PaperWidth, kNoField},
    {L"PaperLength", &StockItem::PaperLength, kNoField},
    {L"UnprintableLeft", &StockItem::UnprintableLeft, RECORD(UnprintableLeft)},
    {L"UnprintableRight", &StockItem::UnprintableRight, RECORD(UnprintableRight)},
    {L"UnprintableTop", &StockItem::UnprintableTop, RECORD(UnprintableTop)},
    {L"UnprintableBottom", &StockItem::UnprintableBottom, RECORD(UnprintableBottom)},
    {L"SensorType", &StockItem::SensorType, RECORD(SensorType)},
    {L"GapDistance", &StockItem::GapDistance, RECORD(GapDistance)},
    {L"IgnorePaperEnd", &StockItem::IgnorePaperEnd, RECORD(IgnorePaperEnd)},
    {L"Rotation", &StockItem::Rotation, RECORD(Rotation)},
    {L"Mirror", &StockItem::Mirror, RECORD(Mirror)},
    {L"Invert", &StockItem::Invert, RECORD(Invert)},
    {L"TopSameAsBottom", &StockItem::TopSameAsBottom, RECORD(TopSideSameAsBottom)},
    {L"BackfeedMode", &StockItem::BackfeedMode, RECORD(BackFeedMode)},
    {L"BackfeedSpeed", &StockItem::BackfeedSpeed, RECORD(BackFeedSpeed)},
    {L"PrintMode", &StockItem::PrintMode, RECORD(PrintMode)},
    {L"NumberCopies", &StockItem::NumberCopies, kNoField},
    {L"RibbonSaver", &StockItem::RibbonSaver, RECORD(RibbonSaver)},
    {L"SingleBuffer", &StockItem::SingleBuffer, RECORD(SingleBufferMode)},
    {L"IgnoreLabelPosition", &StockItem::IgnoreLabelPosition, RECORD(IgnoreLabelPosition)},
    {L"Disabled", &StockItem::Disabled, kNoField},
    {L"OffsetX", &StockItem::OffsetX, RECORD(OffsetX)},
    {L"OffsetY", &StockItem::OffsetY, RECORD(OffsetY)},
    {L"LengthScaling", &StockItem::LengthScaling, RECORD(LengthScaling)},
};

bool SameGuid(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }

std::wstring PrinterPath(const std::wstring& printerName, const std::wstring& driverName) {
  return std::wstring(kSettingsKey) + L"\\UI\\" + printerName + L'\\' + driverName;
}

/// The items below an open key, in key order.
std::vector<StockItem> ReadItems(const RegistryKey& key) {
  std::vector<std::wstring> names;
  ListRegistryKeys(key.get(), &names);
  std::vector<StockItem> items;
  std::vector<NamedRegistryValue> values;
  for (const std::wstring& name : names) {
    RegistryKey itemKey;
    if (itemKey.Open(key.get(), name, RegistryAccess::kRead) != ERROR_SUCCESS) continue;
    StockItem item;
    item.guid = ParseGuid(name);
    ListRegistryValues(itemKey.get(), &values);
    for (const NamedRegistryValue& named : values) SetStockValue(named, &item);
    items.push_back(std::move(item));
  }
  return items;
}

/// The printer's own items: the session's if the session decides so and has any, otherwise the
/// stored ones.
void LoadOwnItems(const std::wstring& printerName, const std::wstring& driverName,
                  StockList* list) {
  SessionData& session = SessionData::Shared();
  const bool readsFromSession = session.ReadsFromSession(printerName, driverName);
  SessionData::RemoveEndedEntries();
  if (readsFromSession) {
    list->items = ReadStockItems(PrinterPath(printerName, driverName) + L"\\Session\\" +
                                 std::to_wstring(session.ItemsProcessId()));
  }
  list->isFromSession = !list->items.empty();
  if (list->items.empty()) list->items = ReadStockItems(StockItemsPath(printerName, driverName));
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

HKEY StockItemsHive(const std::wstring& path) {
  if (path != kCommonStockItemsPath) return HKEY_CURRENT_USER;
  RegistryKey key;
  const bool isMachines =
      key.Open(HKEY_CURRENT_USER, path, RegistryAccess::kRead) == ERROR_FILE_NOT_FOUND &&
      key.Open(HKEY_LOCAL_MACHINE, path, RegistryAccess::kRead) == ERROR_SUCCESS;
  return isMachines ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

std::vector<StockItem> ReadStockItems(const std::wstring& path) {
  RegistryKey key;
  if (key.Open(StockItemsHive(path), path, RegistryAccess::kRead) != ERROR_SUCCESS) return {};
  return ReadItems(key);
}

LONG WriteStockItem(const std::wstring& path, const StockItem& item) {
  if (IsZeroGuid(item.guid) || item.DisplayName.size() > kMaxStockName) {
    return ERROR_INVALID_PARAMETER;
  }
  RegistryKey key;
  LONG result = key.Create(StockItemsHive(path), path + L'\\' + FormatGuid(item.guid));
  if (result == ERROR_SUCCESS) {
    result = SetRegistryValue(key.get(), kNameValue, RegistryValue::FromText(item.DisplayName));
  }
  for (const StockValue& value : kValues) {
    if (result != ERROR_SUCCESS) break;
    result = SetRegistryValue(key.get(), value.name, RegistryValue::FromNumber(item.*value.field));
  }
  return result;
}

LONG StoreStockItems(const std::wstring& path, std::span<const StockItem> items) {
  for (const StockItem& item : items) {
    if (const LONG error = WriteStockItem(path, item); error != ERROR_SUCCESS) return error;
  }
  return ERROR_SUCCESS;
}

LONG DeleteStockItem(const std::wstring& path, const GUID& guid) {
  RegistryKey key;
  const LONG result = key.Open(StockItemsHive(path), path, RegistryAccess::kReadWrite);
  return result != ERROR_SUCCESS ? result : DeleteRegistryTree(key.get(), FormatGuid(guid));
}

StockList FindStockItems(HANDLE printer, const wchar_t* printerName, MergeObserver* observer) {
  const std::wstring name = printerName != nullptr ? printerName : L"";
  observer->OnLoadingStockItems();
  StockList list;
  if (PrinterFacts facts; GetPrinterFacts(printer, &facts)) {
    LoadOwnItems(name, facts.driverName, &list);
  } else {
    list.openError = GetLastError();
  }
  const std::size_t ownItems = list.items.size();
  for (StockItem& common : ReadStockItems(kCommonStockItemsPath)) {
    const auto ownEnd = list.items.begin() + static_cast<std::ptrdiff_t>(ownItems);
    if (std::none_of(list.items.begin(), ownEnd,
                     [&](const StockItem& own) { return SameGuid(own.guid, common.guid); })) {
      list.items.push_back(std::move(common));
    }
  }
  observer->OnStockItemsLoaded(name, list);
  return list;
}

StockChoice ChooseStockItem(std::vector<StockItem> items, const DEVMODEW& in,
                            const tagOEMDEV& record) {
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
      return {StockChoice::kPaperSize, paperSize, std::move(items[index])};
    }
  }
  if (!IsZeroGuid(record.StockItemGuid)) {
    const auto found = std::ranges::find_if(
        items, [&](const StockItem& item) { return SameGuid(item.guid, record.StockItemGuid); });
    if (found != items.end()) {
      return {StockChoice::kSelected,
              kFirstStockPaperSize + static_cast<int>(found - items.begin()), std::move(*found)};
    }
  }
  return {StockChoice::kRecordSize, kFirstStockPaperSize, std::move(unnamed)};
}

void ApplyStockChoice(const StockChoice& choice, DEVMODEW* out, tagOEMDEV* record) {
  const StockItem& item = choice.item;
  out->dmPaperSize = static_cast<SHORT>(choice.paperSize);
  out->dmPaperWidth = ToTenths(item.PaperWidth);
  out->dmPaperLength = ToTenths(item.PaperLength);
  // The last code unit stays the terminator.
  constexpr std::size_t kMaxName = std::extent_v<decltype(DEVMODEW::dmFormName)> - 1;
  std::ranges::fill(out->dmFormName, WCHAR{0});
  std::ranges::transform(item.DisplayName.substr(0, kMaxName), out->dmFormName,
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
