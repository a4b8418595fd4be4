#include "platform/console.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "base/utf8.h"

// The C runtime documents this function, but no header declares it.
extern "C" int __cdecl __wgetmainargs(int* count, wchar_t*** arguments, wchar_t*** environment,
                                      int expandsWildcards, int* startup);

namespace orv {
namespace {

HANDLE HandleOf(OutputStream stream) {
  return GetStdHandle(stream == OutputStream::kResults ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

/// The number of code units of a text to write at once: half a character is shown as an error.
std::size_t UnitsToWrite(std::wstring_view text, std::size_t max) {
  if (text.size() <= max) return text.size();
  return IS_HIGH_SURROGATE(text[max - 1]) ? max - 1 : max;
}

}  // namespace

std::vector<std::string> CommandLineArguments(int, char**) {
  // The narrow arguments lose characters that the process's code page lacks. The C runtime splits
  // the command line, because `CommandLineToArgvW` is in shell32.dll, which loads the libraries of
  // windows and fonts.
  int count = 0;
  wchar_t** wide = nullptr;
  wchar_t** environment = nullptr;
  int newMode = 0;
  if (__wgetmainargs(&count, &wide, &environment, 0, &newMode) < 0) throw std::bad_alloc();
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(WideToUtf8(wide[i]));
  return arguments;
}

bool WriteOutput(OutputStream stream, std::string_view text) {
  constexpr DWORD kMaxWrite = 1 << 14;  // the buffer size of old consoles
  const HANDLE output = HandleOf(stream);
  DWORD written = 0;
  if (IsTerminal(stream)) {
    const std::wstring wide = Utf8ToWide(text);
    for (std::size_t at = 0; at < wide.size(); at += written) {
      const auto count =
          static_cast<DWORD>(UnitsToWrite(std::wstring_view(wide).substr(at), kMaxWrite));
      if (!WriteConsoleW(output, wide.data() + at, count, &written, nullptr) || written == 0) {
        return false;
      }
    }
    return true;
  }
  while (!text.empty()) {
    const auto count = static_cast<DWORD>(std::min<std::size_t>(text.size(), kMaxWrite));
    if (!WriteFile(output, text.data(), count, &written, nullptr) || written == 0) return false;
    text.remove_prefix(written);
  }
  return true;
}

bool ReadInput(std::string* bytes) {
  bytes->resize(1 << 14);
  DWORD count = 0;
  const bool isRead = ReadFile(GetStdHandle(STD_INPUT_HANDLE), bytes->data(),
                               static_cast<DWORD>(bytes->size()), &count, nullptr);
  bytes->resize(count);
  return isRead || GetLastError() == ERROR_BROKEN_PIPE;  // the end of a pipe
}

bool ReadInputLine(std::string* line) {
  // A console gives at most one line per read.
  wchar_t buffer[1 << 12];
  DWORD count = 0;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (!ReadConsoleW(input, buffer, static_cast<DWORD>(std::size(buffer)), &count, nullptr) ||
      count == 0) {
    return false;
  }
  *line = WideToUtf8({buffer, count});
  while (line->ends_with('\n') || line->ends_with('\r')) line->pop_back();
  return true;
}

bool LeadsToStandardOutput(const std::filesystem::path&) { return false; }

bool IsTerminal(OutputStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != 0;
}

std::optional<int> TerminalWidth(OutputStream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(HandleOf(stream), &info)) return {};
  return info.srWindow.Right - info.srWindow.Left;  // a full line would break at its end
}

bool IsInputTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

void PauseMilliseconds(int milliseconds) { Sleep(static_cast<DWORD>(milliseconds)); }

}  // namespace orv
