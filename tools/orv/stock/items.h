#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "devmode/record_fields.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/outcome.h"

/// The stock items that a command works on. Every function ends the command when it fails.

namespace orv::tool {

/// Whose items: a printer's own ones, or the ones common to all printers.
struct StockOwner {
  std::string printer;
  bool isCommon = false;
};

/// Adds `--printer` and `--common`.
void AddOwnerOptions(CLI::App* command, StockOwner* owner);

/// The registry path of the owner's items.
std::wstring ItemsPath(const StockOwner& owner);

/// Keeps other commands from changing the items below a path.
EditGuard GuardItems(const std::wstring& path);

/// The items stored below a path.
std::vector<StockItem> ItemsAt(const std::wstring& path);

/// A printer's items in the order of their paper sizes, the common ones among them.
std::vector<StockItem> ItemsOfPrinter(const std::wstring& printer);

/// The record's field that a value sets; null if it sets none of them.
const RecordField* FieldOf(const StockValue& value);

/// Whether a value is a length; the label's width and length have other names in the record.
bool IsStockLength(const StockValue& value);

/// The reason why an item cannot have a value; empty if it can.
std::wstring LimitProblem(const StockValue& value, DWORD number);

/// Checks the result of a change to the items below a path.
void RequireWritten(LONG error, const std::wstring& path);

/// Stores items below a path, all or none of them.
void StoreItems(const std::wstring& path, const std::vector<StockItem>& items);

/// The paper sizes of stock items before a change, to report the ones that it changes.
class PaperSizes {
 public:
  /// The paper sizes on the printers that have the owner's items.
  explicit PaperSizes(const StockOwner& owner);
  /// Compares them with the current ones: messages, and the member "moved" of the outcome.
  void ReportChanges() const;

 private:
  struct Printer {
    std::wstring name;
    std::vector<StockItem> items;
  };
  LibraryUse library_;  ///< so that the log starts once
  std::vector<Printer> printers_;
};

}  // namespace orv::tool
