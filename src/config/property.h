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

/// Maps the properties of a configuration file to the fields of a structure: one table of keys and
/// fields for each structure (`src/config/property_tables.h`). The kind of a field determines how
/// the text is converted. The loader, the checker and the `orv` program use the same tables.

namespace orv {

/// A flag that only the exact text "TRUE" sets.
template <typename Record>
struct UpperCaseBool {
  std::int32_t Record::*field;
};

/// A date and time, converted by `ToDateTime`.
template <typename Record>
struct DateTime {
  std::int64_t Record::*field;
};

/// A number that can be absent.
template <typename Record>
using OptionalInt = std::optional<std::int32_t> Record::*;

/// The edge that guides the material, by name; an unknown name leaves the field unchanged.
template <typename Record>
struct Guidance {
  MaterialGuidance Record::*field;
};

/// A key that is accepted and ignored.
struct Ignored {};

template <typename Record>
struct Property {
  std::wstring_view key;
  std::variant<std::int32_t Record::*, bool Record::*, CString Record::*, OptionalInt<Record>,
               UpperCaseBool<Record>, DateTime<Record>, Guidance<Record>, Ignored>
      field;
};

/// The names of the edges; the first name of each edge is written.
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
      if (EqualsIgnoringAsciiCase(name, value)) record.*to.field = guidance;
    }
  }
  void operator()(Ignored) const {}
};

/// Stores properties in a structure by its table, which must not be empty. Keys compare
/// case-insensitively for ASCII letters.
template <typename Record>
class PropertyStore {
 public:
  PropertyStore(std::span<const Property<Record>> table, Record& record)
      : table_(table), record_(record) {}

  /// The key that probably comes next: most files have the properties in the order of the table.
  std::wstring_view ExpectedKey() const { return table_[next_].key; }

  /// False if the table does not have the key.
  bool Store(std::wstring_view key, std::wstring_view value) {
    // The search continues after the last key found.
    for (std::size_t tried = 0; tried < table_.size(); ++tried) {
      const Property<Record>& property = table_[next_];
      next_ = next_ + 1 < table_.size() ? next_ + 1 : 0;
      if (property.key.data() == key.data() || EqualsIgnoringAsciiCase(property.key, key)) {
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
