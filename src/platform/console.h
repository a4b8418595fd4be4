#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Arguments and standard streams of a command-line program. Linked into programs, not into the
/// library.

namespace orv {

/// The program's arguments as UTF-8, without its own name. Takes the arguments of `main`.
std::vector<std::string> CommandLineArguments(int argc, char** argv);

enum class OutputStream { kResults, kMessages };

/// Writes UTF-8 text to standard output or standard error, as wide text to a Windows console and as
/// these bytes to anything else. Line ends are not translated. Returns false if writing fails.
bool WriteOutput(OutputStream stream, std::string_view text);

/// Reads the next bytes of standard input, none at its end. Line ends are not translated. Returns
/// false if reading fails.
bool ReadInput(std::string* bytes);

/// Reads a line that the user types, without its end. Returns false at the end of the input.
bool ReadInputLine(std::string* line);

/// Whether a path leads to the pipe or terminal of standard output, such as /dev/stdout on Linux.
bool LeadsToStandardOutput(const std::filesystem::path& path);

/// Whether a stream is a terminal.
bool IsTerminal(OutputStream stream);
bool IsInputTerminal();

/// The width of the terminal that a stream goes to, in characters; nothing if it is not known.
std::optional<int> TerminalWidth(OutputStream stream);

/// Suspends the calling thread.
void PauseMilliseconds(int milliseconds);

}  // namespace orv
