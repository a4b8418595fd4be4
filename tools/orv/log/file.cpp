#include "tools/orv/log/file.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>

#include "logging/log_file.h"
#include "orv/settings/settings.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/files.h"
#include "tools/orv/common/config_folders.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

struct Level {
  std::wstring_view tag;
  std::wstring_view name;
};
constexpr Level kLevels[] = {
    {L"ERR", L"error"}, {L"WAR", L"warning"}, {L"INF", L"info"}, {L"TRC", L"trace"}};

const Level* FindLevel(std::wstring_view tag) {
  const auto* const level = std::find_if(std::begin(kLevels), std::end(kLevels),
                                         [tag](const Level& l) { return l.tag == tag; });
  return level != std::end(kLevels) ? level : nullptr;
}

/// Whether a line starts with date and time; 0 in the pattern matches any digit.
bool IsEntryStart(std::wstring_view line) {
  constexpr std::wstring_view kPattern = L"00.00.0000\t00:00:00.000\t";
  return line.size() >= kPattern.size() &&
         std::equal(kPattern.begin(), kPattern.end(), line.begin(),
                    [](wchar_t pattern, wchar_t actual) {
                      return pattern == L'0' ? actual >= L'0' && actual <= L'9' : actual == pattern;
                    });
}

std::wstring TakeColumn(std::wstring_view* line) {
  const std::size_t end = std::min(line->find(L'\t'), line->size());
  std::wstring column(line->substr(0, end));
  line->remove_prefix(std::min(end + 1, line->size()));
  return column;
}

LogEntry ParseEntry(std::wstring_view line) {
  LogEntry entry;
  entry.date = TakeColumn(&line);
  entry.time = TakeColumn(&line);
  // A line without tag has one column fewer.
  if (FindLevel(line.substr(0, line.find(L'\t'))) != nullptr) entry.tag = TakeColumn(&line);
  entry.process = TakeColumn(&line);
  entry.module = TakeColumn(&line);
  entry.source = TakeColumn(&line);
  entry.message = line;
  return entry;
}

LocalTime ParseDate(const std::string& date) {
  LocalTime day{};
  int end = 0;
  const bool isForm =
      std::sscanf(date.c_str(), "%4d-%2d-%2d%n", &day.year, &day.month, &day.day, &end) == 3 &&
      static_cast<std::size_t>(end) == date.size() && day.year >= 0 && day.month >= 0 &&
      day.day >= 0;
  const std::chrono::year_month_day known(std::chrono::year(day.year),
                                          std::chrono::month(static_cast<unsigned>(day.month)),
                                          std::chrono::day(static_cast<unsigned>(day.day)));
  if (!isForm || !known.ok()) {
    Fail(kUsage, L"\"" + ToWide(date) + L"\" is not a date such as 2024-03-05");
  }
  return day;
}

}  // namespace

std::wstring DayLogPath(const std::optional<std::string>& date) {
  std::wstring configured;
  const LONG error = ReadSetting(kLogSettings, kLogPathSetting, &configured);
  if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
    Fail(kUnreadable, L"cannot read the log's folder" +
                          FailingStore({HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, error) + L": " +
                          DescribeError(error));
  }
  const std::wstring folder = ChooseLogFolder(configured);
  if (folder.empty()) {
    Fail(kUnreadable, L"there is no folder for logs: create " + AnyOf(LogFolders()) +
                          L" (orv doctor says more)");
  }
  return LogFilePath(folder, date ? ParseDate(*date) : GetLocalTimeNow());
}

bool ReadLog(const std::wstring& path, std::string* bytes) {
  constexpr int kAttempts = 20;
  constexpr int kPauseMilliseconds = 10;
  for (int attempt = 1; !ReadFile(path, bytes); ++attempt) {
    if (attempt == kAttempts) return false;
    PauseMilliseconds(kPauseMilliseconds);
  }
  return true;
}

std::vector<LogEntry> ParseLog(std::wstring_view text) {
  std::vector<LogEntry> entries;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(L'\n'), text.size());
    std::wstring_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with(L'\r')) line.remove_suffix(1);
    if (IsEntryStart(line)) {
      entries.push_back(ParseEntry(line));
    } else if (!entries.empty() && !line.empty()) {
      // A message may contain line ends; one at its end leaves an empty line, which is skipped.
      entries.back().message.append(L"\n").append(line);
    }
  }
  return entries;
}

std::wstring LevelOf(const LogEntry& entry) {
  const Level* const level = FindLevel(entry.tag);
  return level != nullptr ? std::wstring(level->name) : std::wstring();
}

std::wstring IsoTimeOf(const LogEntry& entry) {
  return entry.date.substr(6, 4) + L"-" + entry.date.substr(3, 2) + L"-" + entry.date.substr(0, 2) +
         L"T" + entry.time;
}

std::vector<std::wstring> LogTitles() {
  return {L"TIME", L"LEVEL", L"PROCESS", L"DLL", L"SOURCE", L"MESSAGE"};
}

std::vector<std::wstring> LogRow(const LogEntry& entry) {
  return {entry.time, LevelOf(entry), entry.process, entry.module, entry.source, entry.message};
}

}  // namespace orv::tool
