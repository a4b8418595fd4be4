#include "tools/orv/config/record.h"

#include <vector>

#include "base/utf8.h"
#include "config/config_values.h"
#include "orv/platform/types.h"
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

}  // namespace

std::string ConfigAsText(const Config& config) { return WriteConfig<TextWriter>(config); }

std::string ConfigAsJson(const Config& config) { return WriteConfig<JsonRecordWriter>(config); }

std::vector<ConfigValue> ConfigValues(const Config& config) {
  return WriteConfig<ValueWriter>(config);
}

}  // namespace orv::tool
