#pragma once

#include <string>
#include <vector>

#include "orv/devmode/stock_items.h"
#include "tools/orv/registry/reg_file.h"

/// Takes stock items from a registry file.

namespace orv::tool {

/// A part of the file that is not imported.
struct SkippedLine {
  std::size_t line;
  std::wstring reason;
};

/// An item to store, which has at least one value from the file.
struct ImportedItem {
  StockItem item;
  std::size_t line = 0;                    ///< of its key
  std::vector<const StockValue*> missing;  ///< of a new item: what the file does not name
};

/// Applies the values of a file to the items that are stored already, and to new ones, which must
/// have a name and a size.
std::vector<ImportedItem> ItemsFromChanges(const std::vector<RegChange>& changes,
                                           const std::vector<StockItem>& stored,
                                           std::vector<SkippedLine>* skipped);

}  // namespace orv::tool
