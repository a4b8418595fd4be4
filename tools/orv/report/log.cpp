#include "orv/text/format.h"
#include "tools/orv/log/file.h"
#include "tools/orv/log/summary.h"
#include "tools/orv/page/options.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

/// The number of entries shown, counted from the end.
constexpr std::size_t kMaxEntries = 200;

std::wstring LevelCounts(std::uint64_t errors, std::uint64_t warnings) {
  return CountText(static_cast<std::int64_t>(errors), L"error") + L", " +
         CountText(static_cast<std::int64_t>(warnings), L"warning");
}

std::wstring EntryCount(const LogSummary& entries) {
  return entries.entries() == 1 ? std::wstring(L"1 entry")
                                : std::to_wstring(entries.entries()) + L" entries";
}

std::wstring TimeOf(const std::wstring& isoTime) { return isoTime.substr(isoTime.find(L'T') + 1); }

void WriteGroupTable(const std::vector<const LogGroup*>& groups, HtmlWriter* html) {
  HtmlTable table(html, L"Errors and warnings",
                  {L"Message", L"Times", L"Level", L"First and last", L"Source"});
  for (const LogGroup* const group : groups) {
    const LogMessage* const message = group->parts.message;
    HtmlCell text = {group->Text()};
    if (message != nullptr) {
      text.note = message->meaning + std::wstring(L" ") + message->advice + L" (" +
                  DocumentOf(*message) + L")";
    }
    table.Row({text,
               {std::to_wstring(group->count)},
               {group->level},
               {TimeOf(group->first), group->count > 1 ? TimeOf(group->last) : L""},
               {group->source}},
              group->IsProblem() ? group->level : L"");
  }
}

/// The errors and warnings of the log, entries with the same message in one row.
void WriteGroups(const LogSummary& summary, HtmlWriter* html) {
  std::vector<const LogGroup*> groups = summary.Groups();
  std::erase_if(groups, [](const LogGroup* group) {
    return group->level != L"error" && group->level != L"warning";
  });
  if (groups.empty()) {
    html->Element("p", L"There are no errors and no warnings.");
    return;
  }
  html->Begin("div", {{"class", L"groups"}});
  WriteGroupTable(groups, html);
  html->End();
}

void WriteEntries(const ReportLog& log, HtmlWriter* html) {
  html->Begin("details");
  html->Element("summary", Format(L"The last %zu of ", log.last.size()) + EntryCount(log.summary));
  if (log.summary.entries() > log.last.size()) {
    html->Element("p",
                  L"Before them there are " + LevelCounts(log.errors, log.warnings) +
                      L". orv log show prints all.",
                  {{"class", L"note"}});
  }
  {
    HtmlTable table(html, log.path, {L"Time", L"Level", L"Source", L"Message"});
    for (const LogEntry& entry : log.last) {
      const std::wstring level = LevelOf(entry);
      const std::wstring place =
          entry.process + (entry.module.empty() ? L"" : L", ") + entry.module;
      table.Row({{entry.time}, {level}, {entry.source, place}, {entry.message}}, level);
    }
  }
  html->End();
}

}  // namespace

void ReportLog::Add(const LogEntry& entry) {
  summary.Add(entry);
  last.push_back(entry);
  if (last.size() <= kMaxEntries) return;
  const std::wstring level = LevelOf(last.front());
  if (level == L"error") ++errors;
  if (level == L"warning") ++warnings;
  last.pop_front();
}

std::wstring ReportLog::Summary() const {
  if (!isThere) return L"none";
  return EntryCount(summary) + L": " +
         LevelCounts(summary.CountOf(L"error"), summary.CountOf(L"warning"));
}

void WriteLogSection(const ReportLog& log, HtmlWriter* html) {
  if (!log.isThere || log.last.empty()) {
    html->Element(
        "p", (log.isThere ? L"There are no entries in " : L"There is no log ") + log.path + L".");
    return;
  }
  WriteGroups(log.summary, html);
  WriteEntries(log, html);
}

}  // namespace orv::tool
