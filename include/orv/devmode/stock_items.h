#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "orv/devmode/oemdev.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// A stock item: the settings of one label stock, stored under a name that users pick as a paper
/// size. Lengths are thousandths of a millimetre, flags 0 or 1.
///
///     StockItem item;
///     item.guid = orv::ParseGuid(L"{5B0C7A52-31D4-4E8B-9C3F-6A1D2E4F7B90}");
///     item.DisplayName = L"Shelf 50 x 30";
///     item.PaperWidth = 50000;
///     orv::WriteStockItem(orv::kCommonStockItemsPath, item);
struct StockItem {
  GUID guid = {};       ///< all zero for an item without identity
  CString DisplayName;  ///< becomes the public record's form name

  /// Values that a merge copies to fields of the private record, which have the same or similar
  /// names.
  DWORD SpeedInMmPerSec = 0;
  DWORD Darkness = 0;
  DWORD Darkness2 = 0;
  DWORD PaperWidth = 0;
  DWORD PaperLength = 0;
  DWORD UnprintableLeft = 0;
  DWORD UnprintableRight = 0;
  DWORD UnprintableTop = 0;
  DWORD UnprintableBottom = 0;
  DWORD SensorType = 0;
  DWORD GapDistance = 0;
  DWORD IgnorePaperEnd = 0;
  DWORD Rotation = 0;
  DWORD Mirror = 0;
  DWORD Invert = 0;
  DWORD TopSameAsBottom = 0;
  DWORD BackfeedMode = 0;
  DWORD BackfeedSpeed = 0;
  DWORD PrintMode = 0;
  DWORD NumberCopies = 0;  ///< kept only: a merge takes the application's copies
  DWORD RibbonSaver = 0;
  DWORD SingleBuffer = 0;
  DWORD IgnoreLabelPosition = 0;
  DWORD Disabled = 0;  ///< not offered to the user; keeps its number
  DWORD OffsetX = 0;
  DWORD OffsetY = 0;
  DWORD LengthScaling = 0;  ///< a signed number's bits
};

extern "C" {

/// Applies the paper size that an application chose in `in` to the private and public settings: the
/// stock item with that number, the record's selected item, or the application's own size. Does
/// nothing unless all three records are given; `printerName` may be null. If memory runs out,
/// nothing is changed, and a line in the log says so.
ORV_EXPORT void ApplyStockItem(const DEVMODEW* in, DEVMODEW* out, tagOEMDEV* dev, HANDLE printer,
                               const wchar_t* printerName, CLoggerClient* logger);

}  // extern "C"

namespace orv {

/// The public paper size of the first stock item; sizes from here on are items in their order.
inline constexpr int kFirstStockPaperSize = 257;

/// Where the items common to all printers lie, below the hive of `StockItemsHive`.
inline constexpr wchar_t kCommonStockItemsPath[] =
    L"Software\\orv Printer Driver\\Common Stockitems";

/// The limits of an item's values. The public record holds sizes in tenths of a millimetre and
/// copies as 16-bit numbers; a merge reduces what is larger.
inline constexpr DWORD kMaxStockSize = 3'276'700;
inline constexpr DWORD kMaxStockCopies = 32'767;
inline constexpr DWORD kMaxStockNumber = 0xFFFFFFFF;

/// One numeric registry value of an item and where it goes.
struct StockValue {
  const wchar_t* name;      ///< as the registry has it
  DWORD StockItem::*field;  ///< where the item keeps it
  int recordOffset;         ///< in the private record; negative when it has no such field
  DWORD max;                ///< the largest number that can be stored
};

/// The number of an item's numeric values.
inline constexpr std::size_t kStockValueCount = 27;

/// Every numeric value of an item.
ORV_EXPORT std::span<const StockValue, kStockValueCount> StockValues();

/// The numeric value of a name, compared case-insensitively; null if unknown.
ORV_EXPORT const StockValue* FindStockValue(const std::wstring& name);

/// The first value of an item that is above its limit; null if all are within theirs.
ORV_EXPORT const StockValue* FindExceedingValue(const StockItem& item);

/// Takes over a value as the registry has it. One that an item does not have, of another type or
/// too long is left out.
ORV_EXPORT void SetStockValue(const NamedRegistryValue& stored, StockItem* item);

/// A GUID as registry keys write it, with braces.
ORV_EXPORT std::wstring FormatGuid(const GUID& guid);

/// Parses a key name as a GUID; all zero if it is not one.
ORV_EXPORT GUID ParseGuid(const std::wstring& text);

/// Whether a GUID is all zero.
ORV_EXPORT bool IsZeroGuid(const GUID& guid);

/// Where a printer's own items lie, below `HKEY_CURRENT_USER`.
ORV_EXPORT std::wstring StockItemsPath(const std::wstring& printerName,
                                       const std::wstring& driverName);

/// Finds the hive with the items of `path`: the current user's. The common items are the machine's
/// when only that hive has their key; even an empty key of the user hides them. If a hive cannot be
/// read, `*hive` is that one.
ORV_EXPORT LONG StockItemsHive(const std::wstring& path, HKEY* hive);

/// Reads the items stored below `path` of its hive, in key order; an empty list if the key is
/// missing. A value that is missing, of another type or too long leaves its field empty. After an
/// error `*items` is empty, and `StockItemsHive` finds the hive that cannot be read.
ORV_EXPORT LONG ReadStockItems(const std::wstring& path, std::vector<StockItem>* items);

/// The longest name of an item that is read, in characters. Longer ones read as empty.
inline constexpr std::size_t kMaxStockName = 129;

/// Stores an item under its GUID below `path` of its hive. Readers see the old item or the new one,
/// never a part. An item without a GUID, with a name that would not be read again or with a value
/// above its limit is refused with `ERROR_INVALID_PARAMETER`.
ORV_EXPORT LONG WriteStockItem(const std::wstring& path, const StockItem& item);

/// Stores items below `path`, each in place of the one with its GUID, and logs their names. If one
/// of them is refused, none is stored. On Linux readers see all of them or none. On Windows they
/// may see some of them, but each one complete; after a failure the items before it are stored.
ORV_EXPORT LONG ImportStockItems(const std::wstring& path, std::span<const StockItem> items,
                                 CLoggerClient* logger);

/// Deletes the item of a GUID below `path`; `ERROR_FILE_NOT_FOUND` when there is none.
ORV_EXPORT LONG DeleteStockItem(const std::wstring& path, const GUID& guid);

/// A printer's stock items and where they come from. Copies share the items.
struct StockList {
  std::span<const StockItem> items;        ///< in the order of their paper sizes
  bool isFromSession = false;              ///< the printer's own items are the session's
  std::optional<DWORD> openError;          ///< the spooler does not describe the printer
  std::optional<RegistryFailure> failure;  ///< they could not be read, and there are none here
  std::shared_ptr<const std::vector<StockItem>> owner = nullptr;  ///< keeps the items
};

/// Loads a printer's items in the order of their paper sizes: its own ones, from the session when
/// that has any for it, then the common ones that are not among them. If any of these cannot be
/// read, or if the spooler cannot be asked for the printer, none is loaded, because the others
/// would have wrong numbers. A handle without a printer has the common items.
ORV_EXPORT StockList LoadStockItems(HANDLE printer, const wchar_t* printerName,
                                    CLoggerClient* logger);

/// The item that a merge applies, and why.
struct StockChoice {
  /// What decided.
  enum Reason {
    kPaperSize,        ///< the application's paper size is its number
    kSelected,         ///< the record's selected item
    kRecordSize,       ///< no such item: the sizes at hand, as the first stock paper size
    kApplicationSize,  ///< the application's own size
    kUnreadable,       ///< the items could not be read: as for `kRecordSize`
  };
  Reason reason;                                ///< why it is that item
  int paperSize;                                ///< the public record's new paper size
  StockItem item;                               ///< unnamed and without GUID unless one was chosen
  std::optional<RegistryFailure> failure = {};  ///< for `kUnreadable`
};

/// Chooses among a printer's items as `ApplyStockItem` does, and changes nothing.
ORV_EXPORT StockChoice ChooseStockItem(const StockList& list, const DEVMODEW& in,
                                       const tagOEMDEV& record);

}  // namespace orv
