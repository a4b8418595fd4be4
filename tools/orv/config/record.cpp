#include "tools/orv/config/record.h"

#include <vector>

#include "base/utf8.h"
#include "config/config_values.h"
#include "orv/text/format.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/keys.h"

namespace orv::tool {
namespace {

/// The key in the file for a field name of a section.
std::wstring KeyOf(const std::wstring& section, std::wstring_view name) {
  if (name == L"speeds") return L"printSpeed";
  if (name == L"conveyorSpeeds") return L"conveyorSpeed";
  if (section == L"printSpeeds") return L"printSpeedDefault";
  return FindConfigKey(name) != nullptr ? std::wstring(name) : section + std::wstring(name);
}

/// A value's text, lengths and speeds also with units: "20000 (20 mm)".
std::wstring TextWithUnits(const NamedConfigValue& value) {
  using Kind = NamedConfigValue::Kind;
  if (value.kind != Kind::kNumber && value.kind != Kind::kList) return value.text;
  const std::wstring section = value.name.substr(0, value.name.find(L'.'));
  const std::wstring key = KeyOf(section, value.name.substr(value.name.rfind(L'.') + 1));
  std::wstring withUnit;
  for (const std::int32_t number : value.numbers) {
    withUnit += (withUnit.empty() ? L"" : L", ") + NumberWithUnit(key, number);
  }
  return withUnit.starts_with(value.text) ? value.text : value.text + L" (" + withUnit + L")";
}

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

}  // namespace

std::string ConfigAsText(const Config& config) {
  Table table;
  for (const NamedConfigValue& value : NamedConfigValues(config)) {
    table.Add({value.name, TextWithUnits(value)});
  }
  return table.TakeText();
}

std::string ConfigAsJson(const Config& config) { return WriteConfig<JsonRecordWriter>(config); }

std::vector<ConfigValue> ConfigValues(const Config& config) {
  return WriteConfig<ValueWriter>(config);
}

}  // namespace orv::tool
