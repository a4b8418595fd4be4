#include "tools/orv/log/file.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>

#include "base/utf8.h"
#include "logging/log_file.h"
#include "orv/platform/types.h"
#include "orv/settings/settings.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/error_text.h"
#include "platform/files.h"
#include "tools/orv/common/config_folders.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

/// The bytes from which the encoding of a log without a mark is detected.
constexpr std::size_t kDetectedBytes = 4096;
/// Longer lines and messages are not the driver's; they are cut, so that any file can be read.
constexpr std::size_t kMaxLineBytes = 1 << 20;
constexpr std::size_t kMaxMessage = 1 << 20;
/// The other columns are cut sooner: a table makes each of its rows as wide as the widest one.
constexpr std::size_t kMaxColumn = 1000;

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
  std::wstring column(line->substr(0, std::min(end, kMaxColumn)));
  if (end > kMaxColumn) {
    // A character is not cut in two.
    if (column.back() >= 0xD800 && column.back() < 0xDC00) column.pop_back();
    column += L"...";
  }
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

/// Reads the next bytes of a log, none at its end. The file may be locked by a writer for a moment.
bool ReadPart(const std::wstring& path, std::uint64_t offset, std::string* bytes) {
  constexpr int kAttempts = 20;
  constexpr int kPauseMilliseconds = 10;
  constexpr std::size_t kPartBytes = 1 << 18;
  if (path == kStandardStream) return ReadStandardInput(bytes);
  for (int attempt = 1; !ReadFile(path, bytes, offset, kPartBytes); ++attempt) {
    if (attempt == kAttempts) return false;
    PauseMilliseconds(kPauseMilliseconds);
  }
  return true;
}

/// Reads a date such as "2024-03-05"; false, with any `*day`, if the text is not one.
bool ParseDate(const std::string& date, LocalTime* day) {
  // Reading a number would accept a sign and blanks.
  if (date.find_first_not_of("0123456789-") != date.npos) return false;
  int end = 0;
  const bool isForm =
      std::sscanf(date.c_str(), "%4d-%2d-%2d%n", &day->year, &day->month, &day->day, &end) == 3 &&
      static_cast<std::size_t>(end) == date.size() && day->year >= 0 && day->month >= 0 &&
      day->day >= 0;
  const std::chrono::year_month_day known(std::chrono::year(day->year),
                                          std::chrono::month(static_cast<unsigned>(day->month)),
                                          std::chrono::day(static_cast<unsigned>(day->day)));
  return isForm && known.ok();
}

/// The named day; ends the command if it is not a date.
LocalTime DayOf(const std::string& date) {
  LocalTime day{};
  if (!ParseDate(date, &day)) {
    Fail(kUsage, L"\"" + ToWide(date) + L"\" is not a date such as 2024-03-05");
  }
  return day;
}

}  // namespace

bool IsDate(const std::string& text) {
  LocalTime day{};
  return ParseDate(text, &day);
}

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
  return LogFilePath(folder, date ? DayOf(*date) : GetLocalTimeNow());
}

void LogReader::Feed(std::string_view bytes) {
  rest_ += bytes;
  if (encoding_ == Encoding::kUnknown) DetectEncoding();
  const std::size_t width = encoding_ == Encoding::kUtf8 ? 1 : sizeof(char16_t);
  std::size_t start = 0;
  for (std::size_t end; (end = FindLineEnd(start)) != rest_.npos; start = end + width) {
    UseLine(std::string_view(rest_).substr(start, end - start));
  }
  rest_.erase(0, start);
  if (rest_.size() < kMaxLineBytes) return;
  // What follows continues the message, from a whole unit on.
  const std::size_t whole = rest_.size() / 2 * 2;
  UseLine(std::string_view(rest_).substr(0, whole));
  rest_.erase(0, whole);
}

void LogReader::EndEntry() {
  if (entry_) use_(*entry_);
  entry_.reset();
  emptyLines_ = 0;
}

void LogReader::Finish() {
  if (!rest_.empty()) UseLine(rest_);
  rest_.clear();
  EndEntry();
}

void LogReader::DetectEncoding() {
  constexpr struct {
    std::string_view mark;
    Encoding encoding;
  } kMarks[] = {{"\xFF\xFE", Encoding::kUtf16Le},
                {"\xFE\xFF", Encoding::kUtf16Be},
                {"\xEF\xBB\xBF", Encoding::kUtf8}};
  if (rest_.size() < kMarks[2].mark.size()) return;
  for (const auto& [mark, encoding] : kMarks) {
    if (!rest_.starts_with(mark)) continue;
    encoding_ = encoding;
    rest_.erase(0, mark.size());
    return;
  }
  // Dates, tabs and line ends are ASCII: in UTF-16 one of their two bytes is 0.
  std::size_t zeros[2] = {};
  for (std::size_t i = 0; i < std::min(rest_.size(), kDetectedBytes); ++i) {
    if (rest_[i] == '\0') ++zeros[i % 2];
  }
  encoding_ = zeros[0] + zeros[1] == 0 ? Encoding::kUtf8
              : zeros[1] >= zeros[0]   ? Encoding::kUtf16Le
                                       : Encoding::kUtf16Be;
}

std::size_t LogReader::FindLineEnd(std::size_t start) const {
  if (encoding_ == Encoding::kUtf8) return rest_.find('\n', start);
  const std::string_view end =
      encoding_ == Encoding::kUtf16Be ? std::string_view("\0\n", 2) : std::string_view("\n\0", 2);
  std::size_t at = rest_.find(end, start);
  // Units begin at an even distance; the two bytes may also belong to two units.
  while (at != rest_.npos && (at - start) % 2 != 0) at = rest_.find(end, at + 1);
  return at;
}

void LogReader::UseLine(std::string_view bytes) {
  std::wstring text;
  if (encoding_ == Encoding::kUtf8) {
    text = Utf8ToWide(bytes);
  } else {
    text = DecodeUtf16(bytes);
    if (encoding_ == Encoding::kUtf16Be) {
      for (wchar_t& unit : text) unit = static_cast<wchar_t>((unit & 0xFF) << 8 | unit >> 8);
    }
  }
  if (text.ends_with(L'\r')) text.pop_back();
  if (IsEntryStart(text)) {
    EndEntry();
    entry_ = ParseEntry(text);
  } else if (text.empty()) {
    // A message may contain line ends; one at its end leaves an empty line, which is skipped.
    ++emptyLines_;
  } else if (entry_ && entry_->message.size() < kMaxMessage) {
    entry_->message.append(std::min(emptyLines_, kMaxMessage) + 1, L'\n').append(text);
    emptyLines_ = 0;
    if (entry_->message.size() >= kMaxMessage) entry_->message += L"\n[the message is longer]";
  }
}

std::optional<std::uint64_t> ReadLog(const std::wstring& path, const LogReader::Use& use) {
  LogReader reader(use);
  std::uint64_t offset = 0;
  for (std::string bytes;; reader.Feed(bytes)) {
    if (!ReadPart(path, offset, &bytes)) return std::nullopt;
    if (bytes.empty()) break;
    offset += bytes.size();
  }
  reader.Finish();
  return offset;
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
