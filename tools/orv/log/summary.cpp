#include "tools/orv/log/summary.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <tuple>

#include "base/json.h"
#include "base/utf8.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

constexpr std::size_t kMaxGroups = 1000;
/// A longer value is cut in the text of a group.
constexpr std::size_t kMaxValue = 200;

constexpr std::wstring_view kLevelOrder[] = {L"error", L"warning", L"", L"info", L"trace"};

std::ptrdiff_t RankOf(const LogGroup& group) {
  return std::ranges::find(kLevelOrder, group.level) - std::begin(kLevelOrder);
}

bool IsErrorOrWarning(const LogGroup& group) {
  return group.level == L"error" || group.level == L"warning";
}

/// What entries of one group have in common. Messages contain tabs, so a null character separates.
std::wstring KeyOf(const MessageParts& parts, const std::wstring& level,
                   const std::wstring& source) {
  constexpr wchar_t kSeparator = L'\0';
  std::wstring key = std::to_wstring(parts.words.size()) + level + kSeparator + source;
  for (const std::wstring& words : parts.words) key += kSeparator + words;
  return key;
}

/// The times of a group in the text: without the date if all entries of the log are of one day.
std::wstring TimeText(const std::wstring& time, bool isOneDay) {
  const std::size_t separator = time.find(L'T');
  return isOneDay ? time.substr(separator + 1)
                  : time.substr(0, separator) + L' ' + time.substr(separator + 1);
}

bool IsOneDay(const std::vector<const LogGroup*>& groups) {
  return std::ranges::all_of(groups, [&](const LogGroup* group) {
    const std::wstring day = groups[0]->first.substr(0, groups[0]->first.find(L'T'));
    return group->first.starts_with(day) && group->last.starts_with(day);
  });
}

}  // namespace

std::wstring LogGroup::Text() const {
  if (!rewritten.empty()) return rewritten;
  std::wstring text = parts.words.empty() ? L"(other messages)" : parts.words[0];
  for (std::size_t i = 0; i < parts.values.size(); ++i) {
    text += parts.values[i];
    if (varies[i]) text += L", ...";
    text += parts.words[i + 1];
  }
  return text;
}

bool LogGroup::IsProblem() const {
  if (!IsErrorOrWarning(*this)) return false;
  return parts.message == nullptr || parts.message->weight == Weight::kProblem ||
         parts.message->weight == Weight::kFollows;
}

void LogSummary::Add(const LogEntry& entry) {
  ++entries_;
  MessageParts parts = TakeApart(entry.message);
  const std::wstring level = LevelOf(entry);
  std::wstring key = KeyOf(parts, level, entry.source);
  if (parts.message == nullptr && groups_.size() >= kMaxGroups && !groups_.contains(key)) {
    parts = {};
    key = KeyOf(parts, level, {});
  }
  for (std::wstring& value : parts.values) {
    if (value.size() > kMaxValue) value.replace(kMaxValue, value.npos, L"...");
  }
  LogGroup& group = groups_[key];
  if (group.count == 0) {
    group.varies.assign(parts.values.size(), false);
    group.parts = std::move(parts);
    group.level = level;
    group.source = entry.source;
    group.first = IsoTimeOf(entry);
  } else {
    for (std::size_t i = 0; i < parts.values.size(); ++i) {
      if (parts.values[i] != group.parts.values[i]) group.varies[i] = true;
    }
  }
  ++group.count;
  group.last = IsoTimeOf(entry);
}

std::vector<const LogGroup*> LogSummary::Groups() const {
  std::vector<const LogGroup*> groups;
  for (const auto& [key, group] : groups_) groups.push_back(&group);
  std::ranges::stable_sort(groups, [](const LogGroup* a, const LogGroup* b) {
    return std::tuple(RankOf(*a), b->count, a->first) < std::tuple(RankOf(*b), a->count, b->first);
  });
  return groups;
}

void LogSummary::ChangeTexts(const std::function<void(std::wstring*)>& change) {
  for (auto& [key, group] : groups_) {
    std::wstring text = group.Text();
    change(&text);
    group.rewritten = std::move(text);
  }
}

std::uint64_t LogSummary::CountOf(const std::wstring& level) const {
  std::uint64_t count = 0;
  for (const auto& [key, group] : groups_) {
    if (group.level == level) count += group.count;
  }
  return count;
}

std::vector<const LogGroup*> LogSummary::Causes() const {
  std::vector<const LogGroup*> causes = Groups();
  std::erase_if(causes, [](const LogGroup* group) {
    return !IsErrorOrWarning(*group) || group->parts.message == nullptr;
  });
  const auto follows = [](const LogGroup* group) {
    return group->parts.message->weight == Weight::kFollows;
  };
  if (!std::ranges::all_of(causes, follows)) std::erase_if(causes, follows);
  return causes;
}

std::string SummaryAsText(const LogSummary& summary) {
  constexpr std::size_t kWidth = 86;
  const std::vector<const LogGroup*> groups = summary.Groups();
  const bool isOneDay = IsOneDay(groups);
  Table table({L"COUNT", L"LEVEL", L"FIRST", L"LAST", L"SOURCE", L"MESSAGE"});
  for (const LogGroup* const group : groups) {
    table.Add({std::to_wstring(group->count), group->level, TimeText(group->first, isOneDay),
               TimeText(group->last, isOneDay), group->source, group->Text()});
  }
  std::string text = table.TakeText();
  for (const LogGroup* const group : summary.Causes()) {
    const LogMessage& message = *group->parts.message;
    text += "\n" + WideToUtf8(group->level) + ": " + Printable(group->Text()) + "\n" +
            WideToUtf8(Wrapped(std::wstring(L"cause: ") + message.meaning, L"  ", kWidth) +
                       Wrapped(std::wstring(L"do: ") + message.advice, L"  ", kWidth) + L"  see " +
                       DocumentOf(message) + L"\n");
  }
  return text;
}

std::string SummaryAsJson(const LogSummary& summary) {
  JsonWriter json;
  json.BeginArray();
  for (const LogGroup* const group : summary.Groups()) {
    const LogMessage* const message = group->parts.message;
    json.BeginObject();
    json.Member("count", group->count);
    json.Member("level", group->level);
    json.Member("first", group->first);
    json.Member("last", group->last);
    json.Member("source", group->source);
    json.Member("message", group->Text());
    json.Member("cause", message != nullptr ? message->meaning : L"");
    json.Member("advice", message != nullptr ? message->advice : L"");
    json.Member("document", message != nullptr ? DocumentOf(*message) : std::wstring());
    json.EndObject();
  }
  json.EndArray();
  return json.Text();
}

}  // namespace orv::tool
