#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/oemdev.h"

/// The private record's format as data: every field once, with its default, its limits and its
/// fallback, and the order in which the fields are checked. Defaults, validation, the readable
/// form, the text form and the differences of two records all use it.

namespace orv {

enum class FieldKind : std::uint8_t {
  kUnsigned,  ///< a number of `width` bytes
  kSigned,    ///< as above, with a sign
  kText,      ///< characters up to a NUL
  kGuid,
  kBytes,  ///< carried unchanged
};

/// A number of a rule: a constant, or a value of the configuration.
struct RuleNumber {
  const char* text = nullptr;  ///< as documents show it; null for a constant
  std::int32_t (*read)(const Config& config) = nullptr;  ///< null for a constant
  std::int32_t constant = 0;

  std::int32_t In(const Config& config) const { return read != nullptr ? read(config) : constant; }
};

/// The lists of allowed values in a configuration.
enum class AllowedList : std::uint8_t { kPrintSpeeds, kSensorTypes, kDarkness };

/// The values that a field allows, and the fallback for any other.
struct FieldRule {
  enum Kind : std::uint8_t {
    kAny,         ///< never checked
    kRange,       ///< `min` to `max`; compares as the field's kind does
    kList,        ///< one of `list`
    kTerminated,  ///< the text must contain a NUL; the last byte is always set to NUL
  };
  Kind kind = kAny;
  AllowedList list = AllowedList::kPrintSpeeds;
  RuleNumber min = {};
  RuleNumber max = {};
  RuleNumber fallback = {};
  RuleNumber offered = {nullptr, nullptr, 1};  ///< 0 disables the rule
};

struct RecordField {
  const char* name;
  std::uint16_t offset;
  std::uint16_t width;  ///< bytes
  FieldKind kind;
  const char* unit;      ///< empty for flags, texts and bytes
  bool hasDefault;       ///< false: the defaults leave the bytes unchanged
  RuleNumber byDefault;  ///< 0 fills texts, GUIDs and bytes with zeros
  FieldRule rule;
  const char* meaning;
};

/// One step of the validation.
struct RecordCheck {
  const char* name;          ///< the field's name in the correction line
  const RecordField* field;  ///< what is checked and repaired
  /// Both null: the field's own rule. Otherwise the field and its opposite margin together must
  /// not exceed the size; the field is reduced.
  const RecordField* opposite = nullptr;
  const RecordField* size = nullptr;
};

/// One repair of a record.
struct Correction {
  const RecordCheck* check;
  std::uint32_t before;  ///< bits of the old value; unused for texts
  std::uint32_t after;
};

/// The number of checks; each makes at most one correction.
inline constexpr std::size_t kRecordChecks = 68;

/// The corrections of one validation in the order of the checks. They are stored in the object
/// itself, so that running out of memory loses none.
class Corrections {
 public:
  void Add(const Correction& correction) { entries_[size_++] = correction; }

  const Correction* begin() const { return entries_.data(); }
  const Correction* end() const { return entries_.data() + size_; }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

 private:
  std::array<Correction, kRecordChecks> entries_{};
  std::size_t size_ = 0;
};

/// Every field in the order of its offset; together they cover the whole record.
std::span<const RecordField> RecordFields();
/// The checks in their order, which matters: margins are fitted into the corrected size.
std::span<const RecordCheck> RecordChecks();

/// Runs all checks on a record, repairs it and returns the repairs. Needs no memory.
Corrections RepairRecord(const Config& config, tagOEMDEV* record);

/// Corrections as the log names them: "Name:old->new " for each number; a text's item has no
/// trailing blank.
std::wstring DescribeCorrections(std::span<const Correction> corrections);

/// The values of a configuration's list as the record stores them.
std::vector<std::int32_t> AllowedValues(const Config& config, AllowedList list);

/// The bits of a number field, widened without a sign.
inline std::uint32_t FieldBits(const tagOEMDEV& record, const RecordField& field) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&record) + field.offset;
  // Constant sizes, because a validation spends most of its time here.
  if (field.width == sizeof(std::uint16_t)) {
    std::uint16_t bits;
    std::memcpy(&bits, bytes, sizeof(bits));
    return bits;
  }
  std::uint32_t bits;
  std::memcpy(&bits, bytes, sizeof(bits));
  return bits;
}
inline void SetFieldBits(tagOEMDEV* record, const RecordField& field, std::uint32_t bits) {
  std::memcpy(reinterpret_cast<std::uint8_t*>(record) + field.offset, &bits, field.width);
}

}  // namespace orv
