#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

#include "base/utf8.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/progress.h"
#include "tools/orv/log/file.h"
#include "tools/orv/log/messages.h"
#include "tools/orv/log/summary.h"

namespace orv::tool {
namespace {

constexpr int kPollMilliseconds = 200;
/// `--follow` prints a note after this many failures in a row to read the log.
constexpr int kNotedFailures = 5;
/// `--follow` reads this much at a time.
constexpr std::size_t kFollowedBytes = 1 << 18;

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

/// Prints entries, many at a time, as rows of a table or as JSON.
class EntryPrinter {
 public:
  explicit EntryPrinter(bool asJson) : asJson_(asJson), table_(LogTitles()) { json_.BeginArray(); }

  void Add(const LogEntry& entry) {
    if (asJson_) {
      WriteJsonEntry(entry, &json_);
    } else {
      table_.Add(LogRow(entry));
    }
    // Enough to align the columns, and little enough to keep.
    constexpr std::size_t kMaxUnits = 1 << 18;
    units_ += entry.message.size();
    if (++rows_ == kMaxRows || units_ >= kMaxUnits) Flush();
  }
  void Finish() {
    json_.EndArray();
    Print(asJson_ ? json_.Text() : table_.TakeText());
  }

 private:
  static constexpr int kMaxRows = 1000;

  void Flush() {
    Print(asJson_ ? json_.TakeText() : table_.TakeText());
    rows_ = 0;
    units_ = 0;
  }

  bool asJson_;
  Table table_;
  JsonWriter json_;
  int rows_ = 0;
  std::size_t units_ = 0;
};

/// The end of the message for a day without a log: which day has the newest one.
std::wstring OtherDay(const std::wstring& path) {
  constexpr std::wstring_view kEnd = L"YYYY-MM-DD.log";
  const std::wstring wanted = FileNameOf(path);
  const std::size_t start = wanted.size() - kEnd.size();
  std::wstring newest;
  std::error_code error;
  std::filesystem::directory_iterator entry(ToPath(path).parent_path(), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::wstring name = FileNameOf(FromPath(entry->path()));
    const bool hasLogName = name.size() == wanted.size() && name.ends_with(L".log") &&
                            name.compare(0, start, wanted, 0, start) == 0;
    if (!hasLogName) continue;
    const std::wstring date = name.substr(start, kEnd.find(L'.'));
    if (IsDate(WideToUtf8(date))) newest = std::max(newest, date);
  }
  if (error) return {};
  if (newest.empty()) return L"; nothing has been logged there";
  return L"; the newest log there has --date " + newest;
}

/// Passes the wanted entries of the log to `use`; ends the command if it is not a log.
void ReadWanted(const LogOptions& options, const LogReader::Use& use) {
  const std::wstring path = LogPath(options);
  bool hasEntries = false;
  const std::optional<std::uint64_t> size = ReadLog(path, [&](const LogEntry& entry) {
    hasEntries = true;
    if (IsWanted(entry, options)) use(entry);
  });
  if (!size) {
    const std::wstring problem = CannotRead(path);
    Fail(kUnreadable, options.file || !IsMissing(path) ? problem : problem + OtherDay(path));
  }
  if (!hasEntries && *size > 0) Fail(kFindings, InputName(path) + L" contains no log entries");
}

void Show(const LogOptions& options) {
  EntryPrinter printer(options.asJson);
  ReadWanted(options, [&](const LogEntry& entry) { printer.Add(entry); });
  printer.Finish();
}

void Summarize(const LogOptions& options) {
  LogSummary summary;
  ReadWanted(options, [&](const LogEntry& entry) { summary.Add(entry); });
  Print(options.asJson ? SummaryAsJson(summary) : SummaryAsText(summary));
}

/// A log that `--follow` shows, and how much of it has been shown.
struct FollowedLog {
  std::uint64_t offset = 0;
  LogReader reader;
  int failures = 0;  ///< to read it, in a row
};

/// Starts again if the log has been replaced by a shorter one.
void RestartIfShorter(const std::wstring& path, const LogReader::Use& show, FollowedLog* log) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(ToPath(path), error);
  if (!error && size < log->offset) *log = {0, LogReader(show)};
}

/// Shows the log and new entries until the program is ended. Continues with the next day's log
/// unless a file was named. If the clock is set back, it continues with the earlier day's log,
/// after what it has shown or, of a day before the first one, after what the log had already.
[[noreturn]] void Follow(const LogOptions& options) {
  StopProgress();
  Table table(LogTitles());
  const auto show = [&](const LogEntry& entry) {
    if (!IsWanted(entry, options)) return;
    if (options.asJson) {
      JsonWriter json(JsonWriter::Style::kOneLine);
      WriteJsonEntry(entry, &json);
      Print(json.Text());
    } else {
      table.Add(LogRow(entry));
    }
  };
  std::map<std::wstring, FollowedLog> logs;
  for (;; PauseMilliseconds(kPollMilliseconds)) {
    const std::wstring path = LogPath(options);
    const auto [found, isNew] = logs.try_emplace(path, FollowedLog{0, LogReader(show)});
    FollowedLog& log = found->second;
    if (isNew && logs.size() > 1 && found == logs.begin()) {
      std::error_code ignored;
      const std::uintmax_t size = std::filesystem::file_size(ToPath(path), ignored);
      log.offset = ignored ? 0 : size;
    }
    std::string bytes;
    RestartIfShorter(path, show, &log);
    bool isRead = false;
    while ((isRead = ReadFile(path, &bytes, log.offset, kFollowedBytes)) && !bytes.empty()) {
      log.offset += bytes.size();
      log.reader.Feed(bytes);
      if (!table.empty()) Print(table.TakeText());
    }
    // It may be not written yet, or be written at this moment.
    log.failures = isRead ? 0 : log.failures + 1;
    if (log.failures == kNotedFailures) PrintNote(CannotRead(path) + L"; waiting for it");
    log.reader.EndEntry();
    if (!table.empty()) Print(table.TakeText());
  }
}

/// The options that select a log and its entries.
void AddSelection(CLI::App* command, LogOptions* options) {
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
}

void AddLogShowCommand(CLI::App* group) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* command = group->add_subcommand("show", "Show the entries of a day's log");
  AddSelection(command, options.get());
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

void AddLogSummaryCommand(CLI::App* group) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* command =
      group->add_subcommand("summary", "Group the entries of a day's log, and name likely causes");
  AddSelection(command, options.get());
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Entries with the same message are one group, even if its numbers, paths and names vary: "
      "the\n"
      "first are shown, and \", ...\" after those that do.\n"
      "Examples:\n"
      "  orv log summary\n"
      "  orv log summary --date 2024-03-05 --level error,warning --json");
  command->callback([options] { Summarize(*options); });
}

void AddLogMessagesCommand(CLI::App* group) {
  struct Options {
    bool asJson = false;
    bool asMarkdown = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      group->add_subcommand("messages", "List every message that the library writes to the log");
  AddJsonFlag(command, &options->asJson, "Print JSON, with the meaning of each message");
  command
      ->add_flag("--markdown", options->asMarkdown,
                 "Print all messages, what they mean and what to do, as a Markdown document")
      ->excludes(command->get_option("--json"));
  command->footer("Examples:\n  orv log messages\n  orv log messages --markdown > messages.md");
  command->callback([options] {
    Print(options->asMarkdown ? MessagesAsMarkdown()
          : options->asJson   ? MessagesAsJson()
                              : MessagesAsText());
  });
}

}  // namespace

void AddLogCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("log", "The driver's log");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n  orv log show --level error\n  orv log summary --file "
      "orv_logfile-2024-03-05.log");
  AddLogShowCommand(group);
  AddLogSummaryCommand(group);
  AddLogMessagesCommand(group);
}

}  // namespace orv::tool
