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

/// Applies the values of a file to the items that are stored already, and to new ones. Returns the
/// items to store, which have at least one value from the file.
std::vector<StockItem> ItemsFromChanges(const std::vector<RegChange>& changes,
                                        const std::vector<StockItem>& stored,
                                        std::vector<SkippedLine>* skipped);

}  // namespace orv::tool
