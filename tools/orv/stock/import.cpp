#include "tools/orv/stock/import.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/letter_case.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/stock/items.h"

namespace orv::tool {
namespace {

constexpr wchar_t kName[] = L"DisplayName";
/// A value that `WriteRegistryKeys` adds to each key for its own use; not part of an item.
constexpr wchar_t kRevision[] = L"Revision";

/// The values' names, for suggestions.
std::vector<std::wstring_view> ValueNames() {
  std::vector<std::wstring_view> names = {kName};
  for (const StockValue& value : StockValues()) names.push_back(value.name);
  return names;
}

/// The reason why an item cannot take over a value; empty if it can.
std::wstring ValueProblem(const RegChange& change) {
  if (change.name.empty()) return L"an item has no default value";
  if (EqualIgnoringCase(change.name, kName)) {
    if (change.value.type != REG_SZ) return std::wstring(kName) + L" must be text";
    const std::size_t size = change.value.Text().size();
    if (size > 0 && size <= kMaxStockName) return {};
    return Format(L"%ls must have 1 to %d characters", kName, static_cast<int>(kMaxStockName));
  }
  const StockValue* const value = FindStockValue(change.name);
  if (value == nullptr) {
    return L"an item has no value \"" + change.name + L"\"" + DidYouMean(change.name, ValueNames());
  }
  DWORD number = 0;
  if (!change.value.Number(&number)) return std::wstring(value->name) + L" must be a dword";
  return LimitProblem(*value, number);
}

/// The items of one file.
class Import {
 public:
  Import(const std::vector<StockItem>& stored, std::vector<SkippedLine>* skipped)
      : skipped_(skipped) {
    for (const StockItem& item : stored) stored_.emplace(FormatGuid(item.guid), &item);
  }

  void Apply(const RegChange& change) {
    const GUID guid = ParseGuid(change.path.substr(change.path.rfind(L'\\') + 1));
    switch (change.kind) {
      case RegChange::Kind::kDeleteKey:
        return Skip(change, L"an import removes no items; `orv stock remove` does");
      case RegChange::Kind::kMakeKey:
        return IsZeroGuid(guid) ? OpenFolder(change) : OpenItem(guid, change);
      case RegChange::Kind::kDeleteValue:
        if (!IsZeroGuid(guid)) return Skip(change, L"an import removes no values");
        break;
      case RegChange::Kind::kSetValue:
        if (!IsZeroGuid(guid)) return SetValue(change);
        break;
    }
    // A value below a key that is not an item's.
    folders_.back().hasValues = true;
  }

  std::vector<ImportedItem> Take() {
    for (const Folder& folder : folders_) {
      if (folder.hasValues || !folder.hasItems) {
        skipped_->push_back({folder.line, L"the key's name is not a GUID in braces"});
      }
    }
    std::vector<ImportedItem> items;
    for (Entry& entry : entries_) {
      const ImportedItem& imported = entry.imported;
      if (entry.isNew && (imported.item.DisplayName.empty() || imported.item.PaperWidth == 0 ||
                          imported.item.PaperLength == 0)) {
        skipped_->push_back(
            {imported.line, L"the new item lacks a DisplayName, a PaperWidth or a PaperLength"});
      } else if (entry.isChanged) {
        items.push_back(std::move(entry.imported));
      }
    }
    std::ranges::stable_sort(*skipped_, {}, &SkippedLine::line);
    return items;
  }

 private:
  struct Entry {
    ImportedItem imported;
    bool isNew;
    bool isChanged = false;
  };
  /// A key that is not named by a GUID, such as the one that contains the items.
  struct Folder {
    std::wstring prefix;
    std::size_t line;
    bool hasItems = false;
    bool hasValues = false;
  };

  void Skip(const RegChange& change, std::wstring reason) {
    skipped_->push_back({change.line, std::move(reason)});
  }

  void OpenFolder(const RegChange& change) {
    folders_.push_back({LowerCase(change.path) + L'\\', change.line});
  }

  void OpenItem(const GUID& guid, const RegChange& change) {
    for (Folder& folder : folders_) {
      folder.hasItems = folder.hasItems || LowerCase(change.path).starts_with(folder.prefix);
    }
    const std::wstring name = FormatGuid(guid);
    const auto [known, isFirst] = indexes_.emplace(name, entries_.size());
    current_ = known->second;
    if (!isFirst) return;
    const auto stored = stored_.find(name);
    const bool isNew = stored == stored_.end();
    Entry& entry = entries_.emplace_back(
        Entry{{isNew ? StockItem{} : *stored->second, change.line, {}}, isNew});
    entry.imported.item.guid = guid;
    if (!isNew) return;
    for (const StockValue& value : StockValues()) entry.imported.missing.push_back(&value);
  }

  void SetValue(const RegChange& change) {
    if (EqualIgnoringCase(change.name, kRevision)) return;
    std::wstring problem = ValueProblem(change);
    if (!problem.empty()) return Skip(change, std::move(problem));
    Entry& entry = entries_[current_];
    SetStockValue({change.name, change.value}, &entry.imported.item);
    std::erase(entry.imported.missing, FindStockValue(change.name));
    entry.isChanged = true;
  }

  std::map<std::wstring, const StockItem*> stored_;  ///< by GUID
  std::vector<SkippedLine>* skipped_;
  std::vector<Entry> entries_;
  std::map<std::wstring, std::size_t> indexes_;  ///< of the entries, by GUID
  std::size_t current_ = 0;                      ///< the item of the last key
  std::vector<Folder> folders_;
};

}  // namespace

std::vector<ImportedItem> ItemsFromChanges(const std::vector<RegChange>& changes,
                                           const std::vector<StockItem>& stored,
                                           std::vector<SkippedLine>* skipped) {
  Import import(stored, skipped);
  for (const RegChange& change : changes) import.Apply(change);
  return import.Take();
}

}  // namespace orv::tool
