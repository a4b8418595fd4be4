#include "tools/orv/log/summary.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>
#include <tuple>

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
  const std::wstring time = IsoTimeOf(entry);
  if (firstDay_.empty()) firstDay_ = time.substr(0, time.find(L'T'));
  isOneDay_ = isOneDay_ && time.starts_with(firstDay_);
  std::wstring source = entry.source;
  std::wstring key = KeyOf(parts, level, source);
  if (parts.message == nullptr && groups_.size() >= kMaxGroups && !groups_.contains(key)) {
    parts = {};
    source.clear();  // the other messages are of any source
    key = KeyOf(parts, level, source);
  }
  std::vector<std::size_t> hashes;
  for (std::wstring& value : parts.values) {
    hashes.push_back(std::hash<std::wstring>()(value));
    if (value.size() > kMaxValue) value.replace(kMaxValue, value.npos, L"...");
  }
  LogGroup& group = groups_[key];
  if (group.count == 0) {
    group.varies.assign(parts.values.size(), false);
    group.parts = std::move(parts);
    group.hashes = std::move(hashes);
    group.level = level;
    group.source = std::move(source);
    group.first = time;
  } else {
    for (std::size_t i = 0; i < hashes.size(); ++i) {
      if (hashes[i] != group.hashes[i]) group.varies[i] = true;
    }
  }
  ++group.count;
  group.last = time;
}

std::wstring LogSummary::TimeText(const std::wstring& isoTime) const {
  const std::size_t separator = isoTime.find(L'T');
  return (isOneDay_ ? L"" : isoTime.substr(0, separator) + L' ') + isoTime.substr(separator + 1);
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
  constexpr std::wstring_view kIndent = L"  ";
  constexpr std::size_t kWidest = 88;
  const std::size_t width =
      std::max(std::min(kWidest, OutputWidth()), 2 * kIndent.size()) - kIndent.size();
  Table table({L"COUNT", L"LEVEL", L"FIRST", L"LAST", L"SOURCE", L"MESSAGE"});
  for (const LogGroup* const group : summary.Groups()) {
    table.Add({std::to_wstring(group->count), group->level, summary.TimeText(group->first),
               summary.TimeText(group->last), group->source, group->Text()});
  }
  std::string text = table.TakeText();
  for (const LogGroup* const group : summary.Causes()) {
    const LogMessage& message = *group->parts.message;
    text += "\n" + WideToUtf8(group->level) + ": " + Printable(group->Text()) + "\n" +
            WideToUtf8(Wrapped(std::wstring(L"cause: ") + message.meaning, kIndent, width) +
                       Wrapped(std::wstring(L"do: ") + message.advice, kIndent, width) + L"  see " +
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
