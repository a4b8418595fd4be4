#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/json.h"  // IWYU pragma: export
#include "orv/xml/line_index.h"

/// Output of the orv program. Results go to standard output through `Print`, as aligned text or as
/// JSON; messages go to standard error through `PrintMessage` and `Fail`.

namespace orv::tool {

/// The program's exit codes.
enum ExitCode {
  kDone = 0,
  kFindings = 1,    ///< the command ran and found something wrong
  kUsage = 2,       ///< the command line is wrong
  kUnreadable = 3,  ///< something could not be read or written
};

/// Writes UTF-8 text to standard output: to a Windows console as wide text, otherwise as these
/// bytes, without translating line ends. Ends the command when writing fails.
void Print(std::string_view text);
void Print(std::wstring_view text);

/// Writes the content of a file to standard output; false when it cannot be written. Later calls of
/// `Print` go to standard error, so that nothing is mixed into the content.
bool PrintContent(std::string_view bytes);

/// Converts text to UTF-8 and writes control characters as escapes such as "\t", so that they
/// cannot move the cursor or end the line.
std::string Printable(std::wstring_view text);
/// The same for text of several lines, which keeps its line feeds.
std::string PrintableLines(std::wstring_view lines);

/// The line for a finding in a file: where it is, its label, what is wrong, what is allowed and
/// what to write instead. Only the label, which may have colours, is written as it is.
std::string FindingLine(std::wstring_view file, const TextPosition& at, std::wstring_view label,
                        std::wstring_view text, std::wstring_view allowed,
                        std::wstring_view proposal);

/// Wraps text into lines of at most `width` characters after `indent`; a longer word gets its own
/// line.
std::wstring Wrapped(std::wstring_view text, std::wstring_view indent, std::size_t width);

/// A number of things, such as "1 gap" or "2 gaps"; `more` is the plural if no s makes it.
std::wstring CountText(std::int64_t count, std::wstring_view one, std::wstring_view more = {});

/// A path or name as an argument of a command that a message proposes.
std::wstring Quoted(const std::wstring& name);

enum class Colours { kAuto, kAlways, kNever };
void SetColours(Colours colours);

enum class TextColour { kRed = 31, kYellow = 33 };

/// Colours text, by default when results go to a terminal with colours and NO_COLOR is not set;
/// otherwise returns it unchanged.
std::wstring Painted(std::wstring_view text, TextColour colour);

/// How much goes to standard error besides errors.
enum class Verbosity { kQuiet, kNormal, kVerbose };
void SetVerbosity(Verbosity verbosity);

/// Writes "orv: MESSAGE" and a line end to standard error: why something failed, or what is wrong.
/// Control characters, which names from files can have, are shown as escapes.
void PrintMessage(const std::wstring& message);
/// Writes a message that the user can do without, unless `--quiet` is given.
void PrintNote(const std::wstring& message);
/// Writes what the program uses, if `--verbose` is given.
void PrintDetail(const std::wstring& message);

/// Ends the running command with a message and an exit code (an `ExitCode`), by an exception with
/// both. The program prints the message; other callers put it where their users read it.
[[noreturn]] void Fail(int exitCode, const std::wstring& message);
/// Ends the running command with an exit code and without a message.
[[noreturn]] void Finish(int exitCode);

/// Converts an argument to wide text. Arguments are UTF-8 on both platforms, but file names on
/// Linux can be any bytes (`FromFileName`).
std::wstring ToWide(const std::string& argument);

/// The width of lines on standard output: that of the terminal, or what COLUMNS says; unlimited if
/// it is not a terminal.
std::size_t OutputWidth();

/// Rows of text in aligned columns, two spaces apart. A column is as wide as its widest cell, in
/// code points; the last column is not padded. If the table is too wide, its widest columns become
/// narrower, and their cells continue in lines below. Control characters are shown as escapes.
class Table {
 public:
  /// With column titles; without any the table has no title line.
  explicit Table(std::vector<std::wstring> titles = {}) : titles_(std::move(titles)) {}
  void Add(std::vector<std::wstring> row) { rows_.push_back(std::move(row)); }
  bool empty() const { return rows_.empty(); }
  /// The table as UTF-8, each row with its line end. Removes the titles and rows, and keeps the
  /// column widths as minimum widths for rows added later.
  std::string TakeText(std::size_t width = OutputWidth());

 private:
  using Row = std::vector<std::string>;

  void FitColumns(std::size_t width);
  std::string TextOf(const Row& row) const;

  std::vector<std::wstring> titles_;
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::wstring>> rows_;
};

}  // namespace orv::tool
