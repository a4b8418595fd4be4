#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Log files and their entries, which docs/log-format.md describes.

namespace orv::tool {

/// Whether a text is a date such as "2024-03-05".
bool IsDate(const std::string& text);

/// The path of the log of a day such as "2024-03-05", or of today; ends the command when the text
/// is not a date.
std::wstring DayLogPath(const std::optional<std::string>& date);

struct LogEntry {
  std::wstring date;  ///< as in the file: day.month.year
  std::wstring time;
  std::wstring tag;  ///< empty in a line without a tag
  std::wstring process;
  std::wstring module;
  std::wstring source;
  std::wstring message;  ///< lines are separated by line feeds
};

/// Divides the bytes of a log into its entries and holds only one of them, whatever the size of the
/// log. The log is UTF-16LE as the driver writes it, or was saved again as UTF-16BE or UTF-8, with
/// or without a byte-order mark. A line that does not start with date and time belongs to the
/// message before it; everything before the first entry, such as the header, is skipped.
class LogReader {
 public:
  using Use = std::function<void(const LogEntry&)>;

  /// Each entry is passed to `use`, which must not keep the reference.
  explicit LogReader(Use use) : use_(std::move(use)) {}

  /// Reads the next bytes. The last entry is kept, because its message may continue, and so is a
  /// line without its line end.
  void Feed(std::string_view bytes);
  /// Passes on the entry that was kept.
  void EndEntry();
  /// Ends the log. A last line without a line end counts too.
  void Finish();

 private:
  enum class Encoding { kUnknown, kUtf8, kUtf16Le, kUtf16Be };

  void DetectEncoding();
  /// The position of the next line end; npos if there is none yet.
  std::size_t FindLineEnd(std::size_t start) const;
  void UseLine(std::string_view bytes);

  Use use_;
  Encoding encoding_ = Encoding::kUnknown;
  std::string rest_;  ///< a line without its line end
  std::optional<LogEntry> entry_;
  std::size_t emptyLines_ = 0;  ///< after the message so far, which may continue after them
};

/// Reads a log and passes each entry to `use`. Between its parts the file is closed, and while a
/// writer has it open exclusively, reading is tried again. Returns the number of bytes; nothing if
/// the log cannot be read.
std::optional<std::uint64_t> ReadLog(const std::wstring& path, const LogReader::Use& use);

/// "error", "warning", "info", "trace", or empty for an entry without tag.
std::wstring LevelOf(const LogEntry& entry);
/// Date and time as 2024-03-05T14:07:09.042.
std::wstring IsoTimeOf(const LogEntry& entry);

/// The column titles and the cells of an entry for the table of a log.
std::vector<std::wstring> LogTitles();
std::vector<std::wstring> LogRow(const LogEntry& entry);

}  // namespace orv::tool
