#include "orv/text/format.h"
#include "tools/orv/common/output.h"
#include "tools/orv/log/file.h"
#include "tools/orv/log/messages.h"
#include "tools/orv/log/summary.h"
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

std::wstring EntryCount(std::uint64_t entries) {
  return CountText(static_cast<std::int64_t>(entries), L"entry", L"entries");
}

void WriteGroupTable(const LogSummary& summary, const std::vector<const LogGroup*>& groups,
                     HtmlWriter* html) {
  HtmlTable table(html, L"Errors and warnings",
                  {L"Message", L"Times", L"Level", L"First and last", L"Source"});
  for (const LogGroup* const group : groups) {
    const LogMessage* const message = group->parts.message;
    HtmlCell text = {group->Text()};
    if (message != nullptr) {
      text.note = message->meaning + std::wstring(L" ") + message->advice + L" (" +
                  DocumentOf(*message) + L")";
    }
    table.Row(
        {text,
         {std::to_wstring(group->count)},
         {group->level},
         {summary.TimeText(group->first), group->count > 1 ? summary.TimeText(group->last) : L""},
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
  WriteGroupTable(summary, groups, html);
  html->End();
}

void WriteEntries(const ReportLog& log, HtmlWriter* html) {
  html->Begin("details");
  const std::uint64_t all = log.summary.entries();
  const bool isPart = all > log.last.size();
  html->Element("summary", isPart ? Format(L"The last %zu of ", log.last.size()) + EntryCount(all)
                           : all == 1 ? L"The only entry"
                                      : L"All " + EntryCount(all));
  if (isPart) {
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
      table.Row({{log.summary.TimeText(IsoTimeOf(entry))},
                 {level},
                 {entry.source, place},
                 {entry.message}},
                level);
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
  if (!problem.empty()) return L"not readable";
  return EntryCount(summary.entries()) + L": " +
         LevelCounts(summary.CountOf(L"error"), summary.CountOf(L"warning"));
}

void WriteLogSection(const ReportLog& log, HtmlWriter* html) {
  if (!log.problem.empty()) {
    html->Element("p", L"The log was not read: " + log.problem, {{"class", L"bad"}});
    return;
  }
  if (!log.isThere || log.last.empty()) {
    html->Element(
        "p", (log.isThere ? L"There are no entries in " : L"There is no log ") + log.path + L".");
    return;
  }
  WriteGroups(log.summary, html);
  WriteEntries(log, html);
}

}  // namespace orv::tool
