#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A command-line program's arguments and output. Built into the programs that use it, not into the
/// library.

namespace orv {

/// The program's arguments as UTF-8, without its own name. Pass what `main` was given.
std::vector<std::string> CommandLineArguments(int argc, char** argv);

enum class OutputStream { kResults, kMessages };

/// Writes UTF-8 text to standard output or standard error: to a Windows console as wide text, to
/// everything else as these bytes, without translating line ends. False when it cannot be written.
bool WriteOutput(OutputStream stream, std::string_view text);

/// Reads standard input to its end, as bytes without translating line ends. False when it cannot be
/// read.
bool ReadInput(std::string* bytes);

/// Whether a stream goes to a terminal, where somebody watches.
bool IsTerminal(OutputStream stream);

/// Lets the program sleep.
void PauseMilliseconds(int milliseconds);

}  // namespace orv
