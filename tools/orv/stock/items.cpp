#include "tools/orv/stock/items.h"

#include <algorithm>
#include <map>
#include <optional>

#include "base/utf8.h"
#include "devmode/field_text.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "platform/error_text.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

/// A change of an item's paper size on one printer.
struct Move {
  std::wstring guid;
  std::wstring name;
  int from;
  std::optional<int> to;  ///< nothing if the item is gone

  bool operator==(const Move&) const = default;
};

/// The places of items by their GUID; items without one keep their order.
std::map<std::wstring, int> PlacesOf(const std::vector<StockItem>& items) {
  std::map<std::wstring, int> places;
  int paperSize = kFirstStockPaperSize;
  int unnamed = 0;
  for (const StockItem& item : items) {
    const std::wstring key =
        IsZeroGuid(item.guid) ? std::to_wstring(unnamed++) : FormatGuid(item.guid);
    places.emplace(key, paperSize++);
  }
  return places;
}

std::vector<Move> MovesBetween(const std::vector<StockItem>& before,
                               const std::vector<StockItem>& after) {
  const std::map<std::wstring, int> places = PlacesOf(after);
  std::vector<Move> moves;
  for (const auto& [key, from] : PlacesOf(before)) {
    const auto found = places.find(key);
    const std::optional<int> to =
        found != places.end() ? std::optional(found->second) : std::nullopt;
    if (to == from) continue;
    const StockItem& item = before[static_cast<std::size_t>(from - kFirstStockPaperSize)];
    moves.push_back({FormatGuid(item.guid), item.DisplayName, from, to});
  }
  std::ranges::sort(moves, {}, &Move::from);
  return moves;
}

/// The changes of printers that have the same ones.
struct Moves {
  std::vector<std::wstring> printers;
  std::vector<Move> moves;
};

void PrintMoves(const Moves& group) {
  std::wstring text = L"paper sizes change on ";
  for (const std::wstring& printer : group.printers) {
    text += (&printer == group.printers.data() ? L"" : L", ") + Utf8ToWide(Printable(printer));
  }
  text += L"; documents keep their number:";
  for (const Move& move : group.moves) {
    text += L"\n     " + std::to_wstring(move.from) + L" " + Utf8ToWide(Printable(move.name)) +
            L" -> " + (move.to ? std::to_wstring(*move.to) : L"removed");
  }
  PrintNote(text);
}

void WriteMoves(const std::vector<Moves>& groups, JsonWriter* json) {
  json->BeginArray();
  for (const Moves& group : groups) {
    for (const std::wstring& printer : group.printers) {
      for (const Move& move : group.moves) {
        json->BeginObject();
        json->Member("printer", printer);
        json->Member("guid", move.guid);
        json->Member("name", move.name);
        json->Member("from", move.from);
        json->Key("to");
        move.to ? json->Value(*move.to) : json->Null();
        json->EndObject();
      }
    }
  }
  json->EndArray();
}

}  // namespace

void AddOwnerOptions(CLI::App* command, StockOwner* owner) {
  CLI::Option* printer =
      command->add_option("-p,--printer", owner->printer, "The printer's own items")
          ->type_name("PRINTER");
  command->add_flag("--common", owner->isCommon, "The items common to all printers")
      ->excludes(printer);
}

std::wstring ItemsPath(const StockOwner& owner) {
  if (owner.isCommon) return kCommonStockItemsPath;
  if (owner.printer.empty()) Fail(kUsage, L"name the items' owner: --printer NAME or --common");
  const std::wstring name = ToWide(owner.printer);
  const OpenPrinter printer(name);
  PrinterFacts facts;
  if (!GetPrinterFacts(printer.get(), &facts)) {
    Fail(kUnreadable, L"the spooler does not describe the printer \"" + name + L"\": " +
                          DescribeError(static_cast<LONG>(GetLastError())));
  }
  return StockItemsPath(name, facts.driverName);
}

EditGuard GuardItems(const std::wstring& path) {
  HKEY hive = nullptr;
  StockItemsHive(path, &hive);
  return EditGuard(hive);
}

std::vector<StockItem> ItemsAt(const std::wstring& path) {
  std::vector<StockItem> items;
  if (const LONG error = ReadStockItems(path, &items); error != ERROR_SUCCESS) {
    HKEY hive = nullptr;
    StockItemsHive(path, &hive);
    FailToReadItems({error, RegistryStoreName(hive)});
  }
  return items;
}

std::vector<StockItem> ItemsOfPrinter(const std::wstring& printer) {
  const LibraryUse library;
  const OpenPrinter opened(printer);
  const StockList list = LoadStockItems(opened.get(), printer.c_str(), nullptr);
  if (list.failure) FailToReadItems(*list.failure);
  return {list.items.begin(), list.items.end()};
}

const RecordField* FieldOf(const StockValue& value) {
  const auto field = std::ranges::find(RecordFields(), value.recordOffset,
                                       [](const RecordField& known) { return int{known.offset}; });
  return field != RecordFields().end() ? &*field : nullptr;
}

bool IsStockLength(const StockValue& value) {
  const RecordField* const field = FieldOf(value);
  return field != nullptr ? IsLength(*field) : value.max == kMaxStockSize;
}

std::wstring LimitProblem(const StockValue& value, DWORD number) {
  if (value.max == kMaxStockSize && (number == 0 || number > value.max)) {
    return std::wstring(value.name) + L" must be above 0 and at most " + LengthText(value.max);
  }
  if (number > value.max) {
    return std::wstring(value.name) + L" must be at most " + std::to_wstring(value.max);
  }
  return {};
}

void RequireWritten(LONG error, const std::wstring& path) {
  if (error == ERROR_SUCCESS) return;
  HKEY hive = nullptr;
  StockItemsHive(path, &hive);
  Fail(kUnreadable,
       L"cannot change the stock items in " + RegistryStoreName(hive) + L": " +
           DescribeError(error) +
           AdministratorHint(hive, error, L"the items of one printer (--printer) are your own"));
}

void StoreItems(const std::wstring& path, const std::vector<StockItem>& items) {
  LibraryUse library;
  RequireWritten(ImportStockItems(path, items, library.client()), path);
}

PaperSizes::PaperSizes(const StockOwner& owner) {
  if (!owner.isCommon) {
    printers_.push_back({ToWide(owner.printer), {}});
  } else {
    std::vector<PrinterFacts> listed;
    const LONG error = ListSpoolerPrinters(&listed);
    if (error != ERROR_SUCCESS) {
      Fail(kUnreadable, L"cannot list the printers whose paper sizes may change" +
                            FailingStore({HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, error) + L": " +
                            DescribeError(error));
    }
    for (const PrinterFacts& printer : listed) {
      const HANDLE handle = OpenPrinterHandle(printer.printerName.c_str());
      if (handle != nullptr) printers_.push_back({printer.printerName, {}});
      ClosePrinterHandle(handle);
    }
  }
  for (Printer& printer : printers_) printer.items = ItemsOfPrinter(printer.name);
}

void PaperSizes::ReportChanges() const {
  std::vector<Moves> groups;
  for (const Printer& printer : printers_) {
    std::vector<Move> moves = MovesBetween(printer.items, ItemsOfPrinter(printer.name));
    if (moves.empty()) continue;
    auto group = std::ranges::find(groups, moves, &Moves::moves);
    if (group == groups.end()) group = groups.insert(group, {{}, std::move(moves)});
    group->printers.push_back(printer.name);
  }
  for (const Moves& group : groups) PrintMoves(group);
  NoteJson("moved", [groups](JsonWriter* json) { WriteMoves(groups, json); });
}

}  // namespace orv::tool
