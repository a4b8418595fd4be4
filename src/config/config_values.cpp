#include "config/config_values.h"

#include <utility>

#include "orv/text/format.h"
#include "platform/clock.h"

namespace orv {
namespace {

/// Collects the values under their full names.
class NamedValueWriter {
 public:
  void Begin(std::wstring_view name) {
    lengths_.push_back(path_.size());
    path_.append(name).append(L".");
  }
  void BeginItem(std::size_t number) {
    lengths_.push_back(path_.size());
    path_.pop_back();
    path_.append(L"[").append(std::to_wstring(number)).append(L"].");
  }
  void End() {
    path_.resize(lengths_.back());
    lengths_.pop_back();
  }
  void BeginList(std::wstring_view name) { Begin(name); }
  void EndList() { End(); }

  void Value(std::wstring_view key, std::wstring_view text) {
    Add(key, Kind::kText, std::wstring(text), {});
  }
  void Value(std::wstring_view key, std::int64_t number) {
    Add(key, Kind::kNumber, std::to_wstring(number), {static_cast<std::int32_t>(number)});
  }
  void Value(std::wstring_view key, bool truth) {
    Add(key, Kind::kFlag, truth ? L"yes" : L"no", {truth ? 1 : 0});
  }
  void Value(std::wstring_view key, const std::vector<std::int32_t>& numbers) {
    std::wstring text;
    for (const std::int32_t number : numbers) {
      text += (text.empty() ? L"" : L", ") + std::to_wstring(number);
    }
    Add(key, Kind::kList, std::move(text), numbers);
  }

  std::vector<NamedConfigValue> TakeText() { return std::move(values_); }

 private:
  using Kind = NamedConfigValue::Kind;

  void Add(std::wstring_view key, Kind kind, std::wstring text, std::vector<std::int32_t> numbers) {
    values_.push_back({path_ + std::wstring(key), kind, std::move(text), std::move(numbers)});
  }

  std::vector<NamedConfigValue> values_;
  std::wstring path_;
  std::vector<std::size_t> lengths_;
};

}  // namespace

std::wstring FormatTime(std::int64_t seconds) {
  LocalTime time;
  if (seconds == 0 || !ToLocalTime(seconds, &time)) return {};
  return Format(L"%04d-%02d-%02dT%02d:%02d:%02d", time.year, time.month, time.day, time.hour,
                time.minute, time.second);
}

std::vector<NamedConfigValue> NamedConfigValues(const Config& config) {
  return WriteConfig<NamedValueWriter>(config);
}

}  // namespace orv
