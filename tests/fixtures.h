#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// What the test programs share: places of their own to work in, and ears on what the library says.
/// Every class takes back in its destructor what it changed.

namespace orv::test {

/// An empty folder that is removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder& operator=(TemporaryFolder&&) = delete;
  ~TemporaryFolder();

  const std::filesystem::path& path() const { return path_; }
  /// The wide name of a file or folder in it; of itself for an empty name.
  std::wstring Name(const std::wstring& name = {}) const;

 private:
  std::filesystem::path path_;
};

/// A settings store of its own: as long as it lives, both hives are empty but for what the test
/// writes (on Windows the machine's also holds a copy of the spooler's keys), and the real ones
/// stay untouched. One at a time. Programs that are started meanwhile see the same store once they
/// call `JoinScratchRegistry`, and on Linux by themselves.
class ScratchRegistry {
 public:
  ScratchRegistry();
  ~ScratchRegistry();

 private:
  TemporaryFolder folder_;
};

/// For a program that a test started: uses the test's store.
void JoinScratchRegistry();

/// Sets a text in a sub-key of the library's settings.
void SetSetting(HKEY hive, const std::wstring& subKey, const std::wstring& name,
                const std::wstring& text);
/// Sets a value of a key in the user's hive, which it makes; whether it could.
bool SetUserValue(const std::wstring& key, const std::wstring& name, const RegistryValue& value);
/// A text there, empty when there is none, and whether there is a key.
std::wstring UserText(const std::wstring& key, const std::wstring& name);
bool HasUserKey(const std::wstring& key);
/// The key of a session's entry, and leaving one there that tells of this process.
std::wstring SessionPath(const std::wstring& name);
bool SaveSession(const std::wstring& name);

/// A printer that the spooler knows; on Windows with its driver, a real one that does nothing.
/// Needs a `ScratchRegistry`.
class TestPrinter {
 public:
  TestPrinter(const std::wstring& name, const std::wstring& driver);
  TestPrinter& operator=(TestPrinter&&) = delete;
  ~TestPrinter();

  HANDLE handle() const { return handle_; }

 private:
  std::wstring name_;
  std::wstring driver_;
  HANDLE handle_;
};

/// Collects what is sent to the debugger output. One at a time.
class DebugCapture {
 public:
  DebugCapture();
  DebugCapture& operator=(DebugCapture&&) = delete;
  ~DebugCapture();

  /// What was sent since the last call.
  std::vector<std::wstring> Take();
};

/// One entry of the log in its columns.
struct LogLine {
  std::wstring tag;  ///< such as "ERR"
  std::wstring module;
  std::wstring source;
  std::wstring message;
  bool operator==(const LogLine&) const = default;
};

/// Collects the entries that are logged, of all levels, and keeps them from the log file and the
/// system. One at a time; not together with `DebugCapture`.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  /// The entries since the last call of any of these functions.
  std::vector<LogLine> Take();
  /// The same as one text, a line each: tag, module and source without anything between them, a
  /// blank and the message.
  std::wstring TakeText();
  /// Their messages alone.
  std::vector<std::wstring> TakeMessages();

 private:
  DebugCapture output_;
  int level_ = CLogger::m_nLoglevel;
  int toDebug_ = CLogger::m_bWriteLogToDebug;
  int toFile_ = CLogger::m_bWriteLogToFile;
};

/// The folder of the program's log files, which a process chooses once: all its tests share it.
const TemporaryFolder& LogFolder();
void ClearLogs();
/// Settings that send the entries of a level to a file there and nowhere else; no file is there.
void LogToFileAlone(const std::wstring& level);
/// A log's text with each date and time as "<time>".
std::wstring WithoutTimes(std::wstring text);
/// Such a text from a log file.
std::wstring ReadLog(const std::filesystem::path& path);

/// A file's bytes; a failure of the test and nothing when it cannot be read.
std::string ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, std::string_view bytes);

/// Holds what a function makes of each line of a table of tests/data against what the line says:
/// "input => output", where the input is of fields that " | " parts. Signs that are not ASCII stand
/// as \uXXXX, line breaks, tabs and backslashes as \r, \n, \t and \\. Lines from '#' on are
/// remarks. `ORV_GOLDEN_WRITE=1` writes the outputs anew.
using Fields = std::vector<std::wstring>;
void ExpectTable(const std::string& name, const std::function<std::wstring(const Fields&)>& make);
/// Holds a text of several lines against a file there; the same variable writes it anew.
void ExpectText(const std::string& name, const std::wstring& text);

/// Text as UTF-16LE bytes.
std::string Utf16Bytes(std::wstring_view text);
/// Bytes as lower-case hexadecimal digits.
std::string ToHex(std::string_view bytes);

/// How a program ended.
struct ProgramResult {
  int exitCode = -1;
  std::string output;    ///< what it wrote to standard output, and nothing else
  std::string messages;  ///< to standard error
};

/// Runs a program of the build to its end. Arguments are UTF-8; `input` are the bytes of its
/// standard input.
ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input = {});

/// Does work on a thread whose stack has 128 KB, and waits for it.
void RunOnSmallStack(const std::function<void()>& work);

/// What `GetModulePath` gives for a module that is loaded from a new file of this name.
std::wstring PathOfModuleAt(const std::filesystem::path& file);

/// A text of a library of resources by its number.
std::wstring ReadResourceText(HINSTANCE resources, unsigned number);

/// A number that no other running process has.
unsigned long OwnProcessId();
/// Sets a variable of the process's environment; an empty text removes it.
void SetVariable(const char* name, const std::string& text);

}  // namespace orv::test
