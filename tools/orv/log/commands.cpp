#include <algorithm>
#include <optional>

#include "platform/console.h"
#include "platform/letter_case.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/log/file.h"

namespace orv::tool {
namespace {

constexpr int kPollMilliseconds = 200;

struct LogOptions {
  std::optional<std::string> file;
  std::optional<std::string> date;
  std::vector<std::string> levels;
  std::vector<std::string> sources;
  std::vector<std::string> processes;
  bool follow = false;
  bool asJson = false;
};

/// Whether a column matches the filter; an empty filter matches everything.
bool IsWanted(const std::wstring& column, const std::vector<std::string>& wanted) {
  return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), [&](const std::string& one) {
           return EqualIgnoringCase(ToWide(one), column);
         });
}

bool IsWanted(const LogEntry& entry, const LogOptions& options) {
  return IsWanted(LevelOf(entry), options.levels) && IsWanted(entry.source, options.sources) &&
         IsWanted(entry.process, options.processes);
}

void WriteJsonEntry(const LogEntry& entry, JsonWriter* json) {
  json->BeginObject();
  json->Member("time", IsoTimeOf(entry));
  json->Member("level", LevelOf(entry));
  json->Member("process", entry.process);
  json->Member("dll", entry.module);
  json->Member("source", entry.source);
  json->Member("message", entry.message);
  json->EndObject();
}

/// The log to show: the named file, or the one of the named day, or of today.
std::wstring LogPath(const LogOptions& options) {
  return options.file ? ToWide(*options.file) : DayLogPath(options.date);
}

void Show(const LogOptions& options) {
  const std::wstring path = LogPath(options);
  std::string bytes;
  if (!ReadLog(path, &bytes)) Fail(kUnreadable, CannotRead(path));
  const std::wstring text = DecodeUtf16(bytes);
  const std::vector<LogEntry> entries = ParseLog(text);
  if (entries.empty() && !bytes.empty()) Fail(kFindings, path + L" contains no log entries");
  Table table(LogTitles());
  JsonWriter json;
  json.BeginArray();
  for (const LogEntry& entry : entries) {
    if (!IsWanted(entry, options)) continue;
    if (options.asJson) {
      WriteJsonEntry(entry, &json);
    } else {
      table.Add(LogRow(entry));
    }
  }
  json.EndArray();
  Print(options.asJson ? json.Text() : table.TakeText());
}

/// Shows the log and new entries until the program is ended. Continues with the next day's log
/// unless a file was named.
[[noreturn]] void Follow(const LogOptions& options) {
  std::wstring path;
  std::uint64_t offset = 0;
  Table table(LogTitles());
  for (;; PauseMilliseconds(kPollMilliseconds)) {
    if (const std::wstring current = LogPath(options); current != path) {
      path = current;
      offset = 0;
    }
    std::string bytes;
    if (!ReadFile(path, &bytes, offset)) continue;  // not written yet, or being written
    std::wstring text = DecodeUtf16(bytes);
    // A line without its line end is still being written; it is read the next time.
    text.resize(text.rfind(L'\n') + 1);
    offset += text.size() * 2;
    for (const LogEntry& entry : ParseLog(text)) {
      if (!IsWanted(entry, options)) continue;
      if (options.asJson) {
        JsonWriter json(JsonWriter::Style::kOneLine);
        WriteJsonEntry(entry, &json);
        Print(json.Text());
      } else {
        table.Add(LogRow(entry));
      }
    }
    if (!table.empty()) Print(table.TakeText());
  }
}

void AddLogShowCommand(CLI::App* group) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* command = group->add_subcommand("show", "Show the entries of a day's log");
  CLI::Option* file = AddInputFile(command, "--file", &options->file, "Show this log file");
  command->add_option("--date", options->date, "Show the log of this day, as 2024-03-05")
      ->type_name("DATE")
      ->default_str("today")
      ->excludes(file);
  CLI::Option* level = command->add_option(
      "--level", options->levels, "Only entries of these levels: error, warning, info, trace");
  AllowWords(level, {"error", "warning", "info", "trace"}, "LEVEL")->delimiter(',');
  command->add_option("--source", options->sources, "Only entries of these sources")
      ->type_name("SOURCE")
      ->delimiter(',');
  command->add_option("--process", options->processes, "Only entries of these processes")
      ->type_name("PROCESS")
      ->delimiter(',');
  command->add_flag("--follow", options->follow, "Keep showing new entries as they are written");
  AddJsonFlag(command, &options->asJson, "Print JSON; with --follow one entry per line");
  command->footer(
      "Examples:\n"
      "  orv log show --level error,warning\n"
      "  orv log show --date 2024-03-05 --source DevMode --json\n"
      "  orv log show --follow");
  command->callback([options] {
    if (options->follow && options->file == "-")
      Fail(kUsage, L"--follow cannot read standard input");
    if (options->follow) Follow(*options);
    Show(*options);
  });
}

}  // namespace

void AddLogCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("log", "The driver's log");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n  orv log show --level error\n  orv log show --file orv_logfile-2024-03-05.log");
  AddLogShowCommand(group);
}

}  // namespace orv::tool
