#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// Fixtures that the test programs share: private folders and stores, and captures of the library's
/// output. Every destructor restores what its object changed.

namespace orv::test {

/// An empty folder that is removed with its contents.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder& operator=(TemporaryFolder&&) = delete;
  ~TemporaryFolder();

  const std::filesystem::path& path() const { return path_; }
  /// The wide path of a file or folder in it; of the folder itself for an empty name.
  std::wstring Name(const std::wstring& name = {}) const;

 private:
  std::filesystem::path path_;
};

/// A settings store for the test. While it exists, both hives are empty except for what the test
/// writes (on Windows the machine hive also holds a copy of the spooler's keys), and the real ones
/// are not used. One at a time. Started programs use the same store once they call
/// `JoinScratchRegistry`; on Linux they do without.
class ScratchRegistry {
 public:
  ScratchRegistry();
  ~ScratchRegistry();

 private:
  TemporaryFolder folder_;
};

/// Called by a program that a test started: switches to the test's store.
void JoinScratchRegistry();

/// Sets a text in a sub-key of the library's settings.
void SetSetting(HKEY hive, const std::wstring& subKey, const std::wstring& name,
                const std::wstring& text);
/// Sets a value of a key in the user hive, creating the key. Returns whether it succeeded.
bool SetUserValue(const std::wstring& key, const std::wstring& name, const RegistryValue& value);
/// The text of a value there, empty if missing; and whether a key exists.
std::wstring UserText(const std::wstring& key, const std::wstring& name);
bool HasUserKey(const std::wstring& key);
/// The key of a session's entry; and creating an entry that describes this process.
std::wstring SessionPath(const std::wstring& name);
bool SaveSession(const std::wstring& name);

/// A printer in the spooler; on Windows with its driver, a minimal real one. Needs a
/// `ScratchRegistry`.
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

/// Collects the debugger output. One at a time.
class DebugCapture {
 public:
  DebugCapture();
  DebugCapture& operator=(DebugCapture&&) = delete;
  ~DebugCapture();

  /// The texts since the last call.
  std::vector<std::wstring> Take();
};

/// The columns of a log entry.
struct LogLine {
  std::wstring tag;  ///< such as "ERR"
  std::wstring module;
  std::wstring source;
  std::wstring message;
  bool operator==(const LogLine&) const = default;
};

/// Collects the log entries of all levels, and keeps them out of the log file and the system log.
/// One at a time, and not together with `DebugCapture`.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  /// The entries since the last call of any of these functions.
  std::vector<LogLine> Take();
  /// The same as one text, one entry per line: tag, module and source without separators, a space
  /// and the message.
  std::wstring TakeText();
  /// Only their messages.
  std::vector<std::wstring> TakeMessages();

 private:
  DebugCapture output_;
  int level_ = CLogger::m_nLoglevel;
  int toDebug_ = CLogger::m_bWriteLogToDebug;
  int toFile_ = CLogger::m_bWriteLogToFile;
};

/// The program's folder for log files. A process selects it once, so all its tests share it.
const TemporaryFolder& LogFolder();
void ClearLogs();
/// Changes the settings so that entries of a level go only to a file in that folder; the file does
/// not exist yet.
void LogToFileAlone(const std::wstring& level);
/// A log's text with "<time>" for each date and time.
std::wstring WithoutTimes(std::wstring text);
/// The text of a log file in that form.
std::wstring ReadLog(const std::filesystem::path& path);
/// The texts of all files in the folder for log files.
std::wstring ReadLogs();

/// A file's bytes. If it cannot be read, the test fails and the result is empty.
std::string ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, std::string_view bytes);

/// Checks a function with each line of a table in tests/data, "input => output". The input has
/// fields separated by " | ". Non-ASCII characters are written as \uXXXX; line breaks, tabs and
/// backslashes as \r, \n, \t and \\. Lines that begin with '#' are comments. `ORV_GOLDEN_WRITE=1`
/// rewrites the outputs.
using Fields = std::vector<std::wstring>;
void ExpectTable(const std::string& name, const std::function<std::wstring(const Fields&)>& make);
/// The fields of each row, for a test that needs all rows at once.
std::vector<Fields> TableRows(const std::string& name);
/// Compares a text of several lines with a file there; the same variable rewrites it.
void ExpectText(const std::string& name, const std::wstring& text);

/// Text as UTF-16LE bytes.
std::string Utf16Bytes(std::wstring_view text);

/// How a program ended.
struct ProgramResult {
  int exitCode = -1;     ///< on Linux, minus the number of the signal that ended it
  std::string output;    ///< its standard output
  std::string messages;  ///< its standard error
};

/// Runs a program of the build to its end. Arguments are UTF-8; `input` is its standard input.
ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input = {});

/// Runs work on a thread with a stack of 128 KB, and waits for it.
void RunOnSmallStack(const std::function<void()>& work);

/// The result of `GetModulePath` for a module loaded from a new file with this name.
std::wstring PathOfModuleAt(const std::filesystem::path& file);

/// A text of a resource library, by its number.
std::wstring ReadResourceText(HINSTANCE resources, unsigned number);

/// The id of the process.
unsigned long OwnProcessId();
/// Sets an environment variable of the process; an empty text removes it.
void SetVariable(const char* name, const std::string& text);

}  // namespace orv::test
