#pragma once

#include <mutex>
#include <new>
#include <string_view>

#include "orv/platform/export.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"

namespace orv {
struct LocalTime;
}

/// Levels of log entries; the values are bits of the level mask.
enum eLogLevel {
  eLogLevelError = 1,
  eLogLevelWarning = 2,
  eLogLevelInfo = 4,
  eLogLevelTrace = 8,
};

/// The identity of one calling module, which gives its entries their DLL column. Copyable; one
/// object may serve any number of threads once it is initialised.
class ORV_EXPORT CLoggerClient {
 public:
  /// Finds the module's path, name and folder. On failure all three are empty and `HasError`.
  void Initialize(HINSTANCE hInstance);

  /// Nonzero when `Initialize` failed.
  BOOL HasError() const { return !m_stError.empty(); }

  HINSTANCE m_hInstance = nullptr;  ///< the module
  CString m_stModulePath;           ///< the module's file, whole path
  CString m_stModuleName;           ///< its file name
  CString m_stModuleFolder;         ///< the path without name and separator
  CString m_stError;                ///< empty, or why `Initialize` failed
};

/// The diagnostics channel of the library and of the modules that load it: one tab-separated line
/// an entry, to the debugger output, to a daily file, or both, as the registry says when the first
/// client starts logging. Any thread may log; starting and stopping are for one thread at a time.
/// Logging never fails its caller: an entry that there is no memory or no room for is lost. A null
/// client is allowed everywhere.
class ORV_EXPORT CLogger {
 public:
  /// Counts a client in; the first one reads the settings and writes the start lines.
  static void StartLogging(CLoggerClient* client);
  /// Counts a client out; when none is left, the next start reads the settings anew.
  static void StopLogging(CLoggerClient* client);

  /// Writes an entry when its level is in the mask or its source is an active group. `message` is
  /// the finished text, `source` the caller's log group; either may be null.
  static void Log(eLogLevel level, CLoggerClient* client, const wchar_t* message,
                  const wchar_t* source);

  /// `Log` with the level in the name.
  static void LOG_TRACE(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
    Log(eLogLevelTrace, client, message, source);
  }
  static void LOG_INFO(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
    Log(eLogLevelInfo, client, message, source);
  }
  static void LOG_WARNING(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
    Log(eLogLevelWarning, client, message, source);
  }
  static void LOG_ERROR(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
    Log(eLogLevelError, client, message, source);
  }

  /// Whether `Log` would write: ask before composing a message.
  static bool IsEnabled(eLogLevel level, const wchar_t* source) {
    return (m_nLoglevel & level) != 0 ||
           (source != nullptr && !m_stLogGroups.empty() && IsInActiveLoggingGroup(source));
  }

  /// Shortens a path for display to its file name and last folder. Kept for compatibility: the
  /// path's last character is lost, so that "D:\a\b\c.x" gives "b\c.".
  static CString GetFileAndLastFolder(const CString& path);

  static int m_nLoglevel;             ///< mask of enabled levels
  static int m_bWriteLogToDebug;      ///< send entries to the debugger output
  static int m_bWriteLogToFile;       ///< append entries to the daily file
  static CString m_stDesiredLogPath;  ///< the folder that the registry asks for
  static CString m_stLogGroups;       ///< active groups, lower case, as `#name#name#`
  static std::mutex m_csFileLock;     ///< serialises writes to the file
  static int m_nRefCount;             ///< starts not yet matched by stops

 private:
  static BOOL IsInActiveLoggingGroup(const wchar_t* source);
  static void ReadLoggingSettingsFromRegistry();
  static void WriteLogEntry(eLogLevel level, CLoggerClient* client, std::wstring_view message,
                            std::wstring_view source);
  static void WriteToLogFile(std::wstring_view line, const orv::LocalTime& now);
};

namespace orv {

/// Logs a message that is composed, as `Format` does, only when it will be written.
template <typename... Arguments>
void LogFormat(eLogLevel level, CLoggerClient* client, const wchar_t* source, const wchar_t* format,
               Arguments... arguments) {
  if (!CLogger::IsEnabled(level, source)) return;
  try {
    CLogger::Log(level, client, Format(format, arguments...).c_str(), source);
  } catch (const std::bad_alloc&) {
    // The entry is lost, like one that its file has no room for.
  }
}

}  // namespace orv
