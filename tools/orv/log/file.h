#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Log files and their entries, which docs/log-format.md describes.

namespace orv::tool {

/// The path of the log of a day such as "2024-03-05", or of today; ends the command when the text
/// is not a date.
std::wstring DayLogPath(const std::optional<std::string>& date);

/// Reads a log, retrying while a writer has it open exclusively; false when it cannot be read.
bool ReadLog(const std::wstring& path, std::string* bytes);

struct LogEntry {
  std::wstring date;  ///< as in the file: day.month.year
  std::wstring time;
  std::wstring tag;  ///< empty in a line without a tag
  std::wstring process;
  std::wstring module;
  std::wstring source;
  std::wstring message;  ///< lines are separated by line feeds
};

/// Parses the entries of a log. A line that does not start with date and time belongs to the
/// message before it; everything before the first entry, such as the header, is skipped.
std::vector<LogEntry> ParseLog(std::wstring_view text);

/// "error", "warning", "info", "trace", or empty for an entry without tag.
std::wstring LevelOf(const LogEntry& entry);
/// Date and time as 2024-03-05T14:07:09.042.
std::wstring IsoTimeOf(const LogEntry& entry);

/// The column titles and the cells of an entry for the table of a log.
std::vector<std::wstring> LogTitles();
std::vector<std::wstring> LogRow(const LogEntry& entry);

}  // namespace orv::tool
