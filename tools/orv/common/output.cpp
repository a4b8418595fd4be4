#include "tools/orv/common/output.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <numeric>

#include <CLI/CLI.hpp>

#include "base/hex.h"
#include "base/utf8.h"
#include "orv/text/format.h"
#include "platform/console.h"
#include "platform/files.h"
#include "tools/orv/common/progress.h"

namespace orv::tool {
namespace {

/// The number of code points, which is that of the bytes that are not continuation bytes.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

constexpr std::size_t kColumnGap = 2;  // between the columns of a table

OutputStream resultStream = OutputStream::kResults;
Colours colourChoice = Colours::kAuto;
Verbosity chosenVerbosity = Verbosity::kNormal;

std::string_view VariableOf(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

/// Removes the part of a text that fits into a line of `width` code points, if possible with a
/// whole number of words, and returns it.
std::string TakeLine(std::string_view* text, std::size_t width) {
  std::size_t end = 0;
  std::size_t blank = 0;
  for (std::size_t points = 0; end < text->size(); ++end) {
    if (((*text)[end] & 0xC0) != 0x80 && points++ == width) break;
    if ((*text)[end] == ' ') blank = end;
  }
  const bool isWhole = end == text->size() || (*text)[end] == ' ';
  const std::size_t length = isWhole || blank == 0 ? end : blank;
  std::string line(text->substr(0, length));
  text->remove_prefix(std::min(text->size(), text->find_first_not_of(' ', length)));
  return line;
}

}  // namespace

std::string Printable(std::wstring_view text) {
  std::wstring printable;
  for (const wchar_t unit : text) {
    switch (unit) {
      case L'\t':
        printable += L"\\t";
        break;
      case L'\r':
        printable += L"\\r";
        break;
      case L'\n':
        printable += L"\\n";
        break;
      default:
        // Some terminals take U+009B for ESC and a bracket.
        if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0)) {
          const auto byte = static_cast<char>(unit);
          printable += L"\\x" + HexOf<std::wstring>({&byte, 1});
        } else {
          printable += unit;
        }
    }
  }
  return WideToUtf8(printable);
}

std::string PrintableLines(std::wstring_view lines) {
  std::string printable;
  for (std::size_t end; (end = lines.find(L'\n')) != lines.npos; lines.remove_prefix(end + 1)) {
    printable += Printable(lines.substr(0, end)) + '\n';
  }
  return printable + Printable(lines);
}

std::string FindingLine(std::wstring_view file, const TextPosition& at, std::wstring_view label,
                        std::wstring_view text, std::wstring_view allowed,
                        std::wstring_view proposal) {
  return Printable(file) + ':' + std::to_string(at.line) + ':' + std::to_string(at.column) + ": " +
         WideToUtf8(label) + ": " + Printable(text) + " | allowed: " + Printable(allowed) +
         " | write: " + Printable(proposal) + '\n';
}

std::wstring Wrapped(std::wstring_view text, std::wstring_view indent, std::size_t width) {
  std::wstring lines;
  while (!text.empty()) {
    std::size_t end = text.size();
    if (end > width) {
      const std::size_t blank = text.rfind(L' ', width);
      end = blank == text.npos ? text.find(L' ') : blank;
    }
    lines.append(indent).append(text.substr(0, end)).append(L"\n");
    text.remove_prefix(std::min(text.size(), end == text.npos ? end : end + 1));
  }
  return lines;
}

std::wstring CountText(std::int64_t count, std::wstring_view one, std::wstring_view more) {
  std::wstring text = std::to_wstring(count) + L' ';
  if (count == 1 || more.empty()) return text.append(one) + (count == 1 ? L"" : L"s");
  return text.append(more);
}

std::wstring Quoted(const std::wstring& name) { return L'"' + name + L'"'; }

void Print(std::string_view text) {
  StopProgress();
  if (WriteOutput(resultStream, text)) return;
  Fail(kUnreadable, L"cannot write standard output: " + FileErrorText());
}

void Print(std::wstring_view text) { Print(WideToUtf8(text)); }

void SetColours(Colours colours) { colourChoice = colours; }

std::wstring Painted(std::wstring_view text, TextColour colour) {
  static const bool isColourful = [] {
    if (colourChoice != Colours::kAuto) return colourChoice == Colours::kAlways;
    const std::string_view terminal = VariableOf("TERM");  // empty on consoles without colours
    return IsTerminal(OutputStream::kResults) && VariableOf("NO_COLOR").empty() &&
           !terminal.empty() && terminal != "dumb";
  }();
  std::wstring painted(text);
  return isColourful ? Format(L"\x1b[%dm%ls\x1b[0m", static_cast<int>(colour), painted.c_str())
                     : painted;
}

bool PrintContent(std::string_view bytes) {
  resultStream = OutputStream::kMessages;
  StopProgress();
  return WriteOutput(OutputStream::kResults, bytes);
}

void SetVerbosity(Verbosity verbosity) {
  chosenVerbosity = verbosity;
  if (verbosity == Verbosity::kQuiet) StopProgress();
}

void PrintMessage(const std::wstring& message) {
  HideProgress();
  WriteOutput(OutputStream::kMessages, "orv: " + PrintableLines(message) + "\n");
}

void PrintNote(const std::wstring& message) {
  if (chosenVerbosity != Verbosity::kQuiet) PrintMessage(message);
}

void PrintDetail(const std::wstring& message) {
  if (chosenVerbosity == Verbosity::kVerbose) PrintMessage(Utf8ToWide(Printable(message)));
}

void Fail(int exitCode, const std::wstring& message) {
  throw CLI::RuntimeError(PrintableLines(message), exitCode);
}

void Finish(int exitCode) { throw CLI::RuntimeError("", exitCode); }

std::wstring ToWide(const std::string& argument) { return FromFileName(argument); }

std::size_t OutputWidth() {
  constexpr std::size_t kUnlimited = std::string::npos;
  constexpr std::size_t kUsual = 80;
  if (!IsTerminal(OutputStream::kResults)) return kUnlimited;
  const std::string_view given = VariableOf("COLUMNS");
  std::size_t width = 0;
  const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), width);
  if (error == std::errc() && end == given.data() + given.size() && width > 0) return width;
  const int columns = TerminalWidth(OutputStream::kResults).value_or(0);
  return columns > 0 ? static_cast<std::size_t>(columns) : kUsual;
}

std::string Table::TakeText(std::size_t width) {
  std::vector<Row> rows;
  const auto addRow = [&rows](const std::vector<std::wstring>& row) {
    Row& cells = rows.emplace_back();
    for (const std::wstring& cell : row) cells.push_back(Printable(cell));
  };
  if (!titles_.empty()) addRow(titles_);
  for (const std::vector<std::wstring>& row : rows_) addRow(row);

  for (const Row& row : rows) {
    widths_.resize(std::max(widths_.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths_[i] = std::max(widths_[i], WidthOf(row[i]));
  }
  FitColumns(width);
  std::string text;
  for (const Row& row : rows) text += TextOf(row);
  titles_.clear();
  rows_.clear();
  return text;
}

/// Narrows the widest columns until the table is at most `width` wide. No column gets narrower than
/// can be read.
void Table::FitColumns(std::size_t width) {
  constexpr std::size_t kNarrowest = 8;
  const std::size_t gaps = widths_.empty() ? 0 : kColumnGap * (widths_.size() - 1);
  while (std::accumulate(widths_.begin(), widths_.end(), gaps) > width) {
    const auto widest = std::ranges::max_element(widths_);
    if (*widest <= kNarrowest) return;
    --*widest;
  }
}

/// A row, in as many lines as its longest cell needs.
std::string Table::TextOf(const Row& row) const {
  std::string text;
  std::vector<std::string_view> rest(row.begin(), row.end());
  do {
    const std::size_t start = text.size();
    for (std::size_t i = 0; i < rest.size(); ++i) {
      const std::string line = TakeLine(&rest[i], widths_[i]);
      text += line;
      if (i + 1 < rest.size()) text.append(widths_[i] - WidthOf(line) + kColumnGap, ' ');
    }
    // The padding before cells that are empty.
    text.erase(std::max(start, text.find_last_not_of(' ') + 1));
    text += '\n';
  } while (std::ranges::any_of(rest, [](std::string_view cell) { return !cell.empty(); }));
  return text;
}

}  // namespace orv::tool
