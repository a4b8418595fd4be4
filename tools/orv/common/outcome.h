#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include <CLI/CLI.hpp>

/// What a command has done. Commands that act, rather than find something out, note it here as they
/// go on, and all print it alike in the end: as text only what was not known before, with `--json`
/// one object.

namespace orv::tool {

/// Writes a file anew, and notes it; ends the command when that fails.
void SaveFile(const std::wstring& path, std::string bytes);
/// Notes a file that was written otherwise.
void NoteFile(const std::wstring& path);
/// Notes something else that came of the command: the object's member, and the line that people
/// read.
void NoteResult(const char* member, std::variant<std::wstring, std::int64_t> value,
                const std::wstring& line);

/// Gives every command that has no `--json` yet one that prints what was noted.
void AddOutcomeFlags(CLI::App* program);
/// Prints what the command that ran has noted.
void PrintOutcome(const CLI::App* program);

}  // namespace orv::tool
