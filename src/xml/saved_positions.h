#pragma once

#include <map>
#include <string>
#include <unordered_map>

namespace orv {

/// Positions remembered under names, in numbered tables.
class SavedPositions {
 public:
  struct Entry {
    int parent;
    int main;
    int child;
  };
  using Table = std::unordered_map<std::wstring, Entry>;

  void Clear() { tables_.clear(); }
  Table& At(int number) { return tables_[number]; }
  template <class Visitor>
  void ForEach(Visitor visit) {
    for (auto& [number, table] : tables_) {
      for (auto& [name, entry] : table) visit(entry);
    }
  }
  /// Forgets every entry for which `isGone` is true.
  template <class Predicate>
  void Drop(Predicate isGone) {
    for (auto& [number, table] : tables_) {
      std::erase_if(table, [&](const auto& saved) { return isGone(saved.second); });
    }
  }

 private:
  std::map<int, Table> tables_;
};

}  // namespace orv
