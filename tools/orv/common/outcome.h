#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include <CLI/CLI.hpp>

#include "orv/platform/types.h"
#include "platform/edit_lock.h"
#include "tools/orv/common/output.h"

/// The outcome of a command that changes something. Commands record it here, and all print it the
/// same way at the end: the result lines as text, or one object with `--json`.

namespace orv::tool {

/// What a command writes: a result, or the file that it is there to change.
enum class Written { kResult, kChangedFile };

/// Writes a file and records it; ends the command when writing fails, or when a result would
/// replace a file that it must not replace (`RequireReplaceable`).
void SaveFile(const std::wstring& path, std::string bytes, Written written = Written::kResult);

/// Keeps other commands that have a guard from changing a file, or the settings below a hive, while
/// this one reads, changes and writes them. Ends the command if another one has not finished after
/// ten seconds. Commands create it before they read what they change. They read other files
/// before, and print long results afterwards, because pipes can stop them.
class EditGuard {
 public:
  /// Guards nothing for standard output.
  explicit EditGuard(const std::wstring& path);
  explicit EditGuard(HKEY hive);

 private:
  void RequireFree(const std::wstring& name) const;

  EditLock lock_;
};

/// Records a file that was written in another way.
void NoteFile(const std::wstring& path);
/// Records another result: a member of the JSON object, and the line for text output.
void NoteResult(const char* member, std::variant<std::wstring, std::int64_t> value,
                const std::wstring& line);
/// Records a result for the JSON object only; `write` writes its value.
void NoteJson(const char* member, std::function<void(JsonWriter*)> write);
/// Records that the command did only a part: it prints its outcome and exits with `kFindings`.
void NoteFindings();

/// Adds `--json` to every command without it; it prints the recorded outcome.
void AddOutcomeFlags(CLI::App* program);
/// Prints the outcome that the command recorded; the exit code.
int PrintOutcome(const CLI::App* program);

}  // namespace orv::tool
