#include <algorithm>
#include <span>

#include "orv/text/format.h"
#include "tools/orv/log/file.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

/// The number of entries shown, counted from the end.
constexpr std::size_t kMaxEntries = 200;

std::wstring CountText(std::size_t count, const wchar_t* one, const wchar_t* more) {
  return Format(L"%zu %ls", count, count == 1 ? one : more);
}

std::wstring LevelCounts(std::span<const LogEntry> entries) {
  const auto count = [&](const wchar_t* level) {
    return static_cast<std::size_t>(std::ranges::count(entries, level, LevelOf));
  };
  return CountText(count(L"error"), L"error", L"errors") + L", " +
         CountText(count(L"warning"), L"warning", L"warnings");
}

}  // namespace

std::wstring ReportLog::Summary() const {
  if (!isThere) return L"none";
  return CountText(entries.size(), L"entry", L"entries") + L": " + LevelCounts(entries);
}

void WriteLogSection(const ReportLog& log, HtmlWriter* html) {
  if (!log.isThere || log.entries.empty()) {
    html->Element(
        "p", (log.isThere ? L"There are no entries in " : L"There is no log ") + log.path + L".");
    return;
  }
  std::span<const LogEntry> shown = log.entries;
  if (shown.size() > kMaxEntries) {
    const std::span<const LogEntry> cut = shown.first(shown.size() - kMaxEntries);
    shown = shown.last(kMaxEntries);
    html->Element("p",
                  Format(L"Only the last %zu of %zu entries are shown; before them there are %ls. "
                         L"orv log show prints all.",
                         shown.size(), log.entries.size(), LevelCounts(cut).c_str()),
                  {{"class", L"note"}});
  }
  HtmlTable table(html, log.path, {L"Time", L"Level", L"Source", L"Message"});
  for (const LogEntry& entry : shown) {
    const std::wstring level = LevelOf(entry);
    const std::wstring place = entry.process + (entry.module.empty() ? L"" : L", ") + entry.module;
    table.Row({{entry.time}, {level}, {entry.source, place}, {entry.message}}, level);
  }
}

}  // namespace orv::tool
