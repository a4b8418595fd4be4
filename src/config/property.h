#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "config/values.h"
#include "orv/config/config.h"
#include "orv/platform/types.h"

/// How a record keeps the properties of a configuration file: a table of keys and fields for each
/// record (`src/config/property_tables.h`). The kind of a field says how the text is converted, so
/// that the loader, the checker and whoever shows a record go by the same table.

namespace orv {

/// A switch that only the exact text "TRUE" turns on.
template <typename Record>
struct UpperCaseBool {
  std::int32_t Record::*field;
};

/// A moment, as `ToDateTime` reads it.
template <typename Record>
struct DateTime {
  std::int64_t Record::*field;
};

/// A number that the record must know to be absent.
template <typename Record>
using OptionalInt = std::optional<std::int32_t> Record::*;

/// The edge at which the material runs, by name; an unknown name leaves the field as it was.
template <typename Record>
struct Guidance {
  MaterialGuidance Record::*field;
};

/// A key that is accepted and means nothing.
struct Ignored {};

template <typename Record>
struct Property {
  std::wstring_view key;
  std::variant<std::int32_t Record::*, bool Record::*, CString Record::*, OptionalInt<Record>,
               UpperCaseBool<Record>, DateTime<Record>, Guidance<Record>, Ignored>
      field;
};

/// The names of the edges; the first one of each is the one to write.
inline constexpr struct {
  std::wstring_view name;
  MaterialGuidance guidance;
} kGuidanceNames[] = {
    {L"left", materialGuidanceLeft},         {L"centered", materialGuidanceCentered},
    {L"right", materialGuidanceRight},       {L"leftHanded", materialGuidanceLeft},
    {L"rightHanded", materialGuidanceRight},
};

/// Converts and stores one value.
template <typename Record>
struct StoreValue {
  Record& record;
  std::wstring_view value;

  void operator()(std::int32_t Record::*field) const { record.*field = ToInt(value); }
  void operator()(bool Record::*field) const { record.*field = ToBool(value); }
  void operator()(CString Record::*field) const { record.*field = value; }
  void operator()(OptionalInt<Record> field) const { record.*field = ToInt(value); }
  void operator()(UpperCaseBool<Record> to) const { record.*to.field = ToUpperCaseBool(value); }
  void operator()(DateTime<Record> to) const { record.*to.field = ToDateTime(value); }
  void operator()(Guidance<Record> to) const {
    for (const auto& [name, guidance] : kGuidanceNames) {
      if (EqualsIgnoreCase(name, value)) record.*to.field = guidance;
    }
  }
  void operator()(Ignored) const {}
};

/// Stores properties in a record by its table, which is not empty. Keys compare without regard to
/// ASCII case.
template <typename Record>
class PropertyStore {
 public:
  PropertyStore(std::span<const Property<Record>> table, Record& record)
      : table_(table), record_(record) {}

  /// The key that probably comes next: files have properties mostly in the table's order.
  std::wstring_view ExpectedKey() const { return table_[next_].key; }

  /// False when the table does not know the key.
  bool Store(std::wstring_view key, std::wstring_view value) {
    // The search goes on behind the last find.
    for (std::size_t tried = 0; tried < table_.size(); ++tried) {
      const Property<Record>& property = table_[next_];
      next_ = next_ + 1 < table_.size() ? next_ + 1 : 0;
      if (property.key.data() == key.data() || EqualsIgnoreCase(property.key, key)) {
        std::visit(StoreValue<Record>{record_, value}, property.field);
        return true;
      }
    }
    return false;
  }

 private:
  std::span<const Property<Record>> table_;
  Record& record_;
  std::size_t next_ = 0;
};

}  // namespace orv
