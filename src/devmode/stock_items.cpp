#include "orv/devmode/stock_items.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "devmode/merge.h"
#include "orv/platform/lock.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/settings/settings.h"
#include "orv/text/format.h"
#include "platform/letter_case.h"
#include "platform/registry_cache.h"
#include "platform/reused_objects.h"
#include "platform/unload.h"
#include "session/session.h"

namespace orv {
namespace {

constexpr wchar_t kNameValue[] = L"DisplayName";
constexpr std::size_t kMaxNameBytes = (kMaxStockName + 1) * 2;  ///< with the terminator
static_assert(kMaxNameBytes == 260);

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

/// The items of a key as they were read, and the stamps of those that have one.
struct StoredItems {
  std::vector<StockItem> items;
  KnownStamps stamps;
};

/// Reads the items below a key that may be missing, in key order. Those that are in `old` with the
/// same stamp are copied from there.
LONG ReadItems(HKEY hive, const std::wstring& path, const StoredItems& old, StoredItems* stored) {
  *stored = {};
  RegistryKey key;
  std::vector<StampedSubKey> subKeys;
  LONG result = key.Open(hive, path, RegistryAccess::kRead);
  if (result == ERROR_SUCCESS) result = ReadChangedRegistryKeys(key.get(), old.stamps, &subKeys);
  if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
  if (result != ERROR_SUCCESS) return result;
  stored->items.reserve(subKeys.size());
  for (const auto& [subKey, stamp, isKnown] : subKeys) {
    StockItem& item = stored->items.emplace_back();
    if (isKnown) item = old.items[old.stamps.at(stamp)];
    for (const NamedRegistryValue& named : subKey.values) SetStockValue(named, &item);
    item.guid = ParseGuid(subKey.name);
    if (stamp != 0) stored->stamps.emplace(stamp, stored->items.size() - 1);
  }
  return ERROR_SUCCESS;
}

/// Whose items: the printer's, and how those of the session are found.
struct ItemsOwner {
  std::wstring printerName;  ///< as the caller has it
  PrinterFacts facts;
  bool isKnown = false;  ///< to the spooler; otherwise the printer has only the common items
  bool mustReadSession = false;
  std::uint32_t processId = 0;
  bool operator==(const ItemsOwner&) const = default;
};

/// A printer's items, and what they were made from. Kept until another process or this one writes
/// to the registry; then only the changed items are read again.
struct KeptItems {
  ItemsOwner owner;
  std::uint64_t userVersion = 0;
  std::uint64_t machineVersion = 0;
  StoredItems own;
  StoredItems common;
  StockList list;
};

bool IsCurrent(const KeptItems& kept) {
  return kept.userVersion != 0 && kept.userVersion == RegistryVersion(HKEY_CURRENT_USER) &&
         kept.machineVersion != 0 && kept.machineVersion == RegistryVersion(HKEY_LOCAL_MACHINE);
}

/// The items of the printers that this process has used last.
class ItemsCache {
 public:
  std::shared_ptr<const KeptItems> Find(const ItemsOwner& owner) {
    const LockGuard guard(lock_);
    const auto found = std::ranges::find_if(
        kept_, [&](const auto& kept) { return kept != nullptr && kept->owner == owner; });
    return found != kept_.end() ? *found : nullptr;
  }
  void Put(std::shared_ptr<const KeptItems> made) {
    const LockGuard guard(lock_);
    const auto found = std::ranges::find_if(
        kept_, [&](const auto& kept) { return kept != nullptr && kept->owner == made->owner; });
    (found != kept_.end() ? *found : kept_[next_++ % kept_.size()]) = std::move(made);
  }

 private:
  Lock lock_;
  std::array<std::shared_ptr<const KeptItems>, 16> kept_;
  std::size_t next_ = 0;
};

ItemsCache& TheCache() {
  static ItemsCache& s_cache = KeptUntilUnload([] { return ItemsCache(); });
  return s_cache;
}

/// Reads the printer's own items: the session's if the session decides so and has any, otherwise
/// the stored ones.
LONG ReadOwnItems(const StoredItems& old, KeptItems* kept) {
  const ItemsOwner& owner = kept->owner;
  if (!owner.isKnown) return ERROR_SUCCESS;
  bool readsFromSession = owner.mustReadSession;
  LONG result = ERROR_SUCCESS;
  if (!readsFromSession) {
    result = SessionData::HasItems(owner.printerName, owner.facts.driverName, &readsFromSession);
  }
  if (result == ERROR_SUCCESS && readsFromSession) {
    result = ReadItems(HKEY_CURRENT_USER,
                       PrinterPath(owner.printerName, owner.facts.driverName) + L"\\Session\\" +
                           std::to_wstring(owner.processId),
                       old, &kept->own);
  }
  kept->list.isFromSession = !kept->own.items.empty();
  if (result == ERROR_SUCCESS && kept->own.items.empty()) {
    result = ReadItems(HKEY_CURRENT_USER, StockItemsPath(owner.printerName, owner.facts.driverName),
                       old, &kept->own);
  }
  return result;
}

/// The own items, then the common ones that are not among them.
std::vector<StockItem> JoinItems(const std::vector<StockItem>& own,
                                 const std::vector<StockItem>& common) {
  const auto precedes = [](const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) < 0;
  };
  std::vector<GUID> guids;
  if (!common.empty()) {
    for (const StockItem& item : own) guids.push_back(item.guid);
    std::ranges::sort(guids, precedes);
  }
  std::vector<StockItem> all = own;
  for (const StockItem& item : common) {
    if (!std::ranges::binary_search(guids, item.guid, precedes)) all.push_back(item);
  }
  return all;
}

/// Reads a printer's items; `old` may have some of them.
std::shared_ptr<const KeptItems> ReadAllItems(const ItemsOwner& owner, const KeptItems& old) {
  auto kept = std::make_shared<KeptItems>();
  kept->owner = owner;
  const std::uint64_t userVersion = RegistryVersion(HKEY_CURRENT_USER);
  const std::uint64_t machineVersion = RegistryVersion(HKEY_LOCAL_MACHINE);
  HKEY hive = HKEY_CURRENT_USER;
  LONG result = ReadOwnItems(old.own, kept.get());
  if (result == ERROR_SUCCESS) result = StockItemsHive(kCommonStockItemsPath, &hive);
  if (result == ERROR_SUCCESS) {
    result = ReadItems(hive, kCommonStockItemsPath, old.common, &kept->common);
  }
  std::vector<StockItem> items;
  if (result == ERROR_SUCCESS) {
    items = JoinItems(kept->own.items, kept->common.items);
  } else {
    kept->list.failure = {result, RegistryStoreName(hive)};
  }
  kept->list.owner = std::make_shared<const std::vector<StockItem>>(std::move(items));
  kept->list.items = *kept->list.owner;
  // What was read during a write by another process is used, but not kept.
  if (result == ERROR_SUCCESS && userVersion == RegistryVersion(HKEY_CURRENT_USER) &&
      machineVersion == RegistryVersion(HKEY_LOCAL_MACHINE)) {
    kept->userVersion = userVersion;
    kept->machineVersion = machineVersion;
    TheCache().Put(kept);
  }
  return kept;
}

/// A printer's items from the cache, or read.
StockList ItemsOf(const ItemsOwner& owner) {
  const std::shared_ptr<const KeptItems> kept = TheCache().Find(owner);
  if (kept != nullptr && IsCurrent(*kept)) return kept->list;
  return ReadAllItems(owner, kept != nullptr ? *kept : KeptItems{})->list;
}

/// Whether the spooler has no printer for a handle. After another error the printer may have items
/// of its own.
bool IsNoPrinter(DWORD error) {
  constexpr DWORD kPrinterDeleted = 1905;
  return error == ERROR_INVALID_HANDLE || error == ERROR_INVALID_PRINTER_NAME ||
         error == kPrinterDeleted;
}

/// Whether an item can be stored and read again.
bool IsStorable(const StockItem& item) {
  return !IsZeroGuid(item.guid) && item.DisplayName.size() <= kMaxStockName &&
         item.DisplayName.find(L'\0') == item.DisplayName.npos &&  // reading would end there
         FindExceedingValue(item) == nullptr;
}

/// A public length in the unit of the private record; the record's own if the public one is unset.
DWORD LengthFrom(SHORT tenths, std::uint32_t own) {
  return tenths < 1 ? own : static_cast<DWORD>(tenths) * kThousandthsPerTenth;
}

/// Rounds to the nearest tenth of a millimetre; the public record has 16 bits.
SHORT ToTenths(DWORD thousandths) {
  const std::uint64_t tenths =
      (std::uint64_t{thousandths} + kThousandthsPerTenth / 2) / kThousandthsPerTenth;
  return static_cast<SHORT>(std::min<std::uint64_t>(tenths, std::numeric_limits<SHORT>::max()));
}

}  // namespace

std::span<const StockValue, kStockValueCount> StockValues() { return kValues; }

const StockValue* FindStockValue(const std::wstring& name) {
  static const auto& s_values = KeptUntilUnload([] {
    std::unordered_map<std::wstring, const StockValue*> byName;
    for (const StockValue& value : kValues) {
      byName.emplace(value.name, &value);  // the usual spelling needs no case folding
      byName.emplace(LowerCase(value.name), &value);
    }
    return byName;
  });
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
  if (result != ERROR_SUCCESS) return result;
  StoredItems stored;
  const LONG read = ReadItems(hive, path, {}, &stored);
  *items = std::move(stored.items);
  return read;
}

LONG WriteStockItem(const std::wstring& path, const StockItem& item) {
  return StoreStockItems(path, {&item, 1});
}

LONG StoreStockItems(const std::wstring& path, std::span<const StockItem> items) {
  if (!std::ranges::all_of(items, IsStorable)) return ERROR_INVALID_PARAMETER;
  std::vector<RegistrySubKey> subKeys;
  for (const StockItem& item : items) {
    RegistrySubKey& subKey = subKeys.emplace_back();
    subKey.name = path + L'\\' + FormatGuid(item.guid);
    subKey.values.push_back({kNameValue, RegistryValue::FromText(item.DisplayName)});
    for (const StockValue& value : kValues) {
      subKey.values.push_back({value.name, RegistryValue::FromNumber(item.*value.field)});
    }
  }
  HKEY hive = nullptr;
  const LONG result = StockItemsHive(path, &hive);
  return result != ERROR_SUCCESS ? result : WriteRegistryKeys(hive, subKeys);
}

LONG DeleteStockItem(const std::wstring& path, const GUID& guid) {
  HKEY hive = nullptr;
  RegistryKey key;
  LONG result = StockItemsHive(path, &hive);
  if (result == ERROR_SUCCESS) result = key.Open(hive, path, RegistryAccess::kReadWrite);
  return result != ERROR_SUCCESS ? result : DeleteRegistryTree(key.get(), FormatGuid(guid));
}

StockList FindStockItems(HANDLE printer, const wchar_t* printerName, MergeObserver* observer) {
  observer->OnLoadingStockItems();
  static ReusedObjects<ItemsOwner> owners;
  const ReusedObjects<ItemsOwner>::Use used(&owners);
  ItemsOwner& owner = *used;
  owner.printerName = printerName != nullptr ? printerName : L"";
  owner.mustReadSession = false;
  owner.processId = 0;
  owner.isKnown = GetPrinterFacts(printer, &owner.facts);
  const DWORD error = owner.isKnown ? ERROR_SUCCESS : GetLastError();
  if (owner.isKnown) {
    SessionData& session = SessionData::Shared();
    owner.mustReadSession = session.MustReadSession();
    owner.processId = session.ItemsProcessId();
    SessionData::RemoveEndedEntries();
  }
  StockList list;
  if (owner.isKnown || IsNoPrinter(error)) {
    list = ItemsOf(owner);
  } else {
    list.failure = {static_cast<LONG>(error), L"the print spooler"};
  }
  if (!owner.isKnown) list.openError = error;
  observer->OnStockItemsLoaded(owner.printerName, list);
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
