#include "tools/orv/common/output.h"

#include <algorithm>
#include <cstdlib>

#include <CLI/CLI.hpp>

#include "base/hex.h"
#include "base/utf8.h"
#include "orv/text/format.h"
#include "platform/console.h"

namespace orv::tool {
namespace {

/// The number of code points, which is that of the bytes that are not continuation bytes.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

OutputStream resultStream = OutputStream::kResults;

}  // namespace

std::string Printable(std::wstring_view text) {
  std::string printable;
  for (const char byte : WideToUtf8(text)) {
    const auto code = static_cast<unsigned char>(byte);
    switch (byte) {
      case '\t':
        printable += "\\t";
        break;
      case '\r':
        printable += "\\r";
        break;
      case '\n':
        printable += "\\n";
        break;
      default:
        if (code < 0x20 || code == 0x7F) {
          printable += "\\x" + HexOf({&byte, 1});
        } else {
          printable += byte;
        }
    }
  }
  return printable;
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

void Print(std::string_view text) {
  if (!WriteOutput(resultStream, text)) Finish(kUnreadable);
}

void Print(std::wstring_view text) { Print(WideToUtf8(text)); }

std::wstring Painted(std::wstring_view text, Paint paint) {
  static const bool isColourful = [] {
    const auto valueOf = [](const char* name) {
      const char* const value = std::getenv(name);
      return std::string_view(value == nullptr ? "" : value);
    };
    const std::string_view terminal =
        valueOf("TERM");  // unset or empty on consoles without colours
    return IsTerminal(OutputStream::kResults) && valueOf("NO_COLOR").empty() && !terminal.empty() &&
           terminal != "dumb";
  }();
  std::wstring painted(text);
  return isColourful ? Format(L"\x1b[%dm%ls\x1b[0m", static_cast<int>(paint), painted.c_str())
                     : painted;
}

bool PrintContent(std::string_view bytes) {
  resultStream = OutputStream::kMessages;
  return WriteOutput(OutputStream::kResults, bytes);
}

void PrintMessage(const std::wstring& message) {
  WriteOutput(OutputStream::kMessages, "orv: " + WideToUtf8(message) + "\n");
}

void Fail(int exitCode, const std::wstring& message) {
  PrintMessage(message);
  Finish(exitCode);
}

void Finish(int exitCode) { throw CLI::RuntimeError(exitCode); }

std::wstring ToWide(const std::string& argument) { return Utf8ToWide(argument); }

std::string Table::TakeText() {
  std::vector<std::vector<std::string>> rows;
  const auto addRow = [&rows](const std::vector<std::wstring>& row) {
    std::vector<std::string>& cells = rows.emplace_back();
    for (const std::wstring& cell : row) cells.push_back(Printable(cell));
  };
  if (!titles_.empty()) addRow(titles_);
  for (const std::vector<std::wstring>& row : rows_) addRow(row);

  for (const std::vector<std::string>& row : rows) {
    widths_.resize(std::max(widths_.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths_[i] = std::max(widths_[i], WidthOf(row[i]));
  }
  std::string text;
  for (const std::vector<std::string>& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 < row.size()) text.append(widths_[i] - WidthOf(row[i]) + 2, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);  // the padding before cells that are empty
    text += '\n';
  }
  titles_.clear();
  rows_.clear();
  return text;
}

}  // namespace orv::tool
