#include "tools/orv/config/record.h"

#include <ctime>
#include <span>
#include <vector>

#include "base/utf8.h"
#include "config/property.h"
#include "config/property_tables.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/keys.h"

namespace orv::tool {
namespace {

/// Formats seconds since 1970 as local time, as in the file; empty for 0.
std::wstring FormatTime(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  const std::tm* const local = seconds != 0 ? std::localtime(&time) : nullptr;
  if (local == nullptr) return {};
  return Format(L"%04d-%02d-%02dT%02d:%02d:%02d", local->tm_year + 1900, local->tm_mon + 1,
                local->tm_mday, local->tm_hour, local->tm_min, local->tm_sec);
}

std::wstring_view NameOf(std::span<const NumberedName> names, std::int32_t number) {
  for (const NumberedName& candidate : names) {
    if (candidate.number == number) return candidate.name;
  }
  return L"?";
}

/// The key in the file for a field name of a section.
std::wstring KeyOf(const std::wstring& section, std::wstring_view name) {
  if (name == L"speeds") return L"printSpeed";
  if (name == L"conveyorSpeeds") return L"conveyorSpeed";
  if (section == L"printSpeeds") return L"printSpeedDefault";
  return FindConfigKey(name) != nullptr ? std::wstring(name) : section + std::wstring(name);
}

/// Writes the configuration as paths and values, lengths and speeds also with units.
class TextWriter {
 public:
  void Begin(std::wstring_view name) {
    lengths_.push_back(path_.size());
    path_.append(name).append(L".");
  }
  void BeginItem(std::size_t number) {
    lengths_.push_back(path_.size());
    path_.pop_back();
    path_.append(Format(L"[%zu].", number));
  }
  void End() {
    path_.resize(lengths_.back());
    lengths_.pop_back();
  }
  void BeginList(std::wstring_view name) { Begin(name); }
  void EndList() { End(); }

  void Value(std::wstring_view key, std::wstring_view value) {
    table_.Add({path_ + std::wstring(key), std::wstring(value)});
  }
  void Value(std::wstring_view key, std::int64_t value) {
    Value(key, std::vector{static_cast<std::int32_t>(value)});
  }
  void Value(std::wstring_view key, bool value) { Value(key, value ? L"yes" : L"no"); }
  void Value(std::wstring_view key, const wchar_t* value) { Value(key, std::wstring_view(value)); }
  void Value(std::wstring_view key, const std::vector<std::int32_t>& values) {
    const std::wstring fileKey = KeyOf(path_.substr(0, path_.find(L'.')), key);
    std::wstring text;
    std::wstring withUnit;
    for (const std::int32_t value : values) {
      const std::wstring between = text.empty() ? L"" : L", ";
      text += between + std::to_wstring(value);
      withUnit += between + NumberWithUnit(fileKey, value);
    }
    Value(key, withUnit.starts_with(text) ? text : text + L" (" + withUnit + L")");
  }

  std::string TakeText() { return table_.TakeText(); }

 private:
  Table table_;
  std::wstring path_;
  std::vector<std::size_t> lengths_;
};

/// Writes the configuration as JSON.
class JsonRecordWriter {
 public:
  JsonRecordWriter() { json_.BeginObject(); }

  void Begin(std::wstring_view name) {
    Key(name);
    json_.BeginObject();
  }
  void BeginItem(std::size_t) { json_.BeginObject(); }
  void End() { json_.EndObject(); }
  void BeginList(std::wstring_view name) {
    Key(name);
    json_.BeginArray();
  }
  void EndList() { json_.EndArray(); }

  template <typename T>
  void Value(std::wstring_view key, const T& value) {
    Key(key);
    json_.Value(value);
  }
  void Value(std::wstring_view key, const std::vector<std::int32_t>& values) {
    BeginList(key);
    for (const std::int32_t value : values) json_.Value(value);
    EndList();
  }

  std::string TakeText() {
    json_.EndObject();
    return json_.Text();
  }

 private:
  void Key(std::wstring_view name) { json_.Key(WideToUtf8(name)); }

  JsonWriter json_;
};

/// Collects the values with the names of their items.
class ValueWriter {
 public:
  void Begin(std::wstring_view name) {
    if (depth_++ == 0) {
      section_ = name;
    } else {
      family_ = name;
      item_ = name;
      Add({}, {});
    }
  }
  void End() {
    if (--depth_ <= 1) item_.clear();
    if (depth_ == 0) family_.clear();
  }
  void BeginList(std::wstring_view) { ++depth_; }
  void EndList() { --depth_; }
  void BeginItem(std::size_t) {
    ++depth_;
    isItemNamed_ = false;
  }

  void Value(std::wstring_view key, std::wstring_view value) {
    if (isItemNamed_) return Add(key, std::wstring(value), true);
    // The first value of an item in a list is its name.
    item_ = family_.empty() ? std::wstring(value) : family_ + L" \"" + std::wstring(value) + L"\"";
    isItemNamed_ = true;
    Add({}, {});
  }
  void Value(std::wstring_view key, std::int64_t value) {
    Add(key, NumberWithUnit(KeyOf(section_, key), value));
  }
  void Value(std::wstring_view key, bool value) { Add(key, value ? L"yes" : L"no"); }
  void Value(std::wstring_view key, const std::vector<std::int32_t>& values) {
    if (section_ == L"darkness") return Add(key, RangeText(values));
    const std::wstring owner = item_;
    for (const std::int32_t value : values) {
      item_ = (owner.empty() ? L"" : owner + L" ") + NumberWithUnit(KeyOf(section_, key), value);
      Add({}, {});
    }
    item_ = owner;
  }

  std::vector<ConfigValue> TakeText() { return std::move(values_); }

 private:
  void Add(std::wstring_view key, std::wstring text, bool isText = false) {
    values_.push_back({section_, item_, std::wstring(key), std::move(text), isText});
  }

  /// Describes levels, which are equally spaced.
  static std::wstring RangeText(const std::vector<std::int32_t>& values) {
    if (values.empty()) return L"none";
    if (values.size() == 1) return std::to_wstring(values.front());
    return Format(L"%d to %d in steps of %d", values.front(), values.back(),
                  values[1] - values.front());
  }

  std::vector<ConfigValue> values_;
  std::wstring section_;
  std::wstring family_;
  std::wstring item_;
  bool isItemNamed_ = true;
  int depth_ = 0;
};

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
  out.BeginList(L"modes");
  for (std::size_t i = 0; i < device.printModes.modes.size(); ++i) {
    out.BeginItem(i);
    out.Value(L"mode", NameOf(kPrintModeNames, device.printModes.modes[i].mode));
    out.Value(L"enabled", device.printModes.modes[i].enabled);
    out.End();
  }
  out.EndList();
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
  out.BeginList(L"types");
  for (std::size_t i = 0; i < device.sensorTypes.types.size(); ++i) {
    out.BeginItem(i);
    out.Value(L"type", NameOf(kSensorTypeNames, device.sensorTypes.types[i].type));
    out.Value(L"enabled", device.sensorTypes.types[i].enabled);
    out.End();
  }
  out.EndList();
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

}  // namespace

std::string ConfigAsText(const Config& config) { return WriteConfig<TextWriter>(config); }

std::string ConfigAsJson(const Config& config) { return WriteConfig<JsonRecordWriter>(config); }

std::vector<ConfigValue> ConfigValues(const Config& config) {
  return WriteConfig<ValueWriter>(config);
}

}  // namespace orv::tool
