#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "config/property.h"
#include "config/property_tables.h"
#include "orv/config/config.h"
#include "orv/platform/types.h"

/// Every value of a loaded configuration with its name, such as "label.widthMin".

namespace orv {

/// Formats seconds since 1970 as local time, as in the file; empty for 0.
std::wstring FormatTime(std::int64_t seconds);

/// One value of a configuration.
struct NamedConfigValue {
  enum class Kind { kText, kFlag, kNumber, kList };
  std::wstring name;  ///< as `orv config show` prints it
  Kind kind;
  std::wstring text;                  ///< without units; the numbers of a list with ", " between
  std::vector<std::int32_t> numbers;  ///< of a list, or one; a flag is 0 or 1
};

/// All values, in the order of the file.
std::vector<NamedConfigValue> NamedConfigValues(const Config& config);

/// The name of a number; "?" if it has none.
inline std::wstring_view NameOf(std::span<const NumberedName> names, std::int32_t number) {
  for (const NumberedName& candidate : names) {
    if (candidate.number == number) return candidate.name;
  }
  return L"?";
}

/// Writes one field by its kind.
template <typename Record, typename Writer>
struct WriteField {
  const Record& record;
  std::wstring_view key;
  Writer& out;

  void operator()(std::int32_t Record::*field) const {
    out.Value(key, std::int64_t{record.*field});
  }
  void operator()(bool Record::*field) const { out.Value(key, record.*field); }
  void operator()(CString Record::*field) const {
    out.Value(key, std::wstring_view(record.*field));
  }
  void operator()(OptionalInt<Record>) const {}  // only in structures used while loading
  void operator()(UpperCaseBool<Record> from) const { out.Value(key, record.*from.field != 0); }
  void operator()(DateTime<Record> from) const {
    out.Value(key, std::wstring_view(FormatTime(record.*from.field)));
  }
  void operator()(Guidance<Record> from) const {
    for (const auto& [name, guidance] : kGuidanceNames) {
      if (guidance == record.*from.field) return out.Value(key, name);
    }
  }
  void operator()(Ignored) const {}
};

template <typename Record, typename Writer>
void WriteFields(std::span<const Property<Record>> table, const Record& record, Writer& out) {
  for (const Property<Record>& property : table) {
    std::visit(WriteField<Record, Writer>{record, property.key, out}, property.field);
  }
}

template <typename Record, typename Writer>
void WriteSection(std::wstring_view name, std::span<const Property<Record>> table,
                  const Record& record, Writer& out) {
  out.Begin(name);
  WriteFields(table, record, out);
  out.End();
}

template <typename Kind, typename Writer>
void WriteFamily(const wchar_t* name, const OptionFamily<Kind>& family, Writer& out) {
  out.Begin(name);
  out.Value(L"optionFamilyId", std::int64_t{family.optionFamilyId});
  out.Value(L"optionFamilyType", std::wstring_view(family.optionFamilyType));
  out.Value(L"optionFamilyName", std::wstring_view(family.optionFamilyName));
  out.Value(L"optionFamilyImageFile", std::wstring_view(family.optionFamilyImageFile));
  out.BeginList(L"options");
  for (std::size_t i = 0; i < family.options.size(); ++i) {
    const Kind& option = family.options[i];
    out.BeginItem(i);
    WriteFields<Kind>(KindProperties<Kind>::kTable, option, out);
    if constexpr (std::is_same_v<Kind, BeltApplicator>) {
      out.Value(L"conveyorSpeeds", option.conveyorSpeeds);
    }
    out.End();
  }
  out.EndList();
  out.End();
}

/// Writes a list of entries that can be enabled, each with the name of its value.
template <typename Entry, typename Value, typename Names, typename Writer>
void WriteEnabledList(const wchar_t* list, const std::vector<Entry>& entries, const wchar_t* name,
                      Value Entry::*value, const Names& names, Writer& out) {
  out.BeginList(list);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    out.BeginItem(i);
    out.Value(name, NameOf(names, entries[i].*value));
    out.Value(L"enabled", entries[i].enabled);
    out.End();
  }
  out.EndList();
}

/// Writes all values in the order of the file, and returns the `TakeText` of the writer.
template <typename Writer>
auto WriteConfig(const Config& config) {
  Writer out;
  const Device& device = config.device;
  WriteSection<FileInfo>(L"fileInfo", kFileInfoProperties, config.fileInfo, out);
  WriteSection<Model>(L"model", kModelProperties, device.model, out);
  WriteSection<Label>(L"label", kLabelProperties, device.label, out);
  WriteSection<GeneralSettings>(L"generalSettings", kGeneralSettingsProperties,
                                device.generalSettings, out);

  out.Begin(L"printModes");
  out.Value(L"default", NameOf(kPrintModeNames, device.printModes.defaultMode));
  WriteEnabledList(L"modes", device.printModes.modes, L"mode", &PrintMode::mode, kPrintModeNames,
                   out);
  out.End();

  out.Begin(L"globalOffsetY");
  out.Value(L"min", std::int64_t{device.globalOffsetY.min});
  out.Value(L"max", std::int64_t{device.globalOffsetY.max});
  out.Value(L"step", std::int64_t{device.globalOffsetY.step});
  out.End();

  out.Begin(L"headsOffsetX");
  out.Value(L"enabled", device.headsOffsetX.enabled);
  out.Value(L"min", std::int64_t{device.headsOffsetX.min});
  out.Value(L"max", std::int64_t{device.headsOffsetX.max});
  out.Value(L"step", std::int64_t{device.headsOffsetX.step});
  out.End();

  out.Begin(L"darkness");
  out.Value(L"values", device.darkness.values);
  out.Value(L"default", std::int64_t{device.darkness.defaultValue});
  out.End();

  out.Begin(L"printSpeeds");
  out.Value(L"speeds", device.printSpeeds.speeds);
  out.Value(L"default", std::int64_t{device.printSpeeds.defaultSpeed});
  out.End();

  out.Begin(L"sensorTypes");
  out.Value(L"default", NameOf(kSensorTypeNames, device.sensorTypes.defaultType));
  WriteEnabledList(L"types", device.sensorTypes.types, L"type", &SensorType::type, kSensorTypeNames,
                   out);
  out.End();

  WriteSection<Characteristics>(L"characteristics", kCharacteristicsProperties,
                                device.characteristics, out);

  out.Begin(L"optionFamilies");
  ForEachFamily([&](auto member) {
    const auto& family = device.*member.member;
    // A family that is not in the file has neither a type nor options. The two identifiers of the
    // applicators share one family.
    const bool isThere = !family.optionFamilyType.empty() || !family.options.empty();
    if (isThere && family.optionFamilyId == member.id) WriteFamily(member.name, family, out);
  });
  out.End();
  return out.TakeText();
}

}  // namespace orv
