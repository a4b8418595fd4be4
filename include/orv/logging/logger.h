#pragma once

/// The diagnostics channel that the library and the driver's modules share.
///
/// A module identifies itself once, starts logging, and passes its client with every entry:
///
///     static CLoggerClient client;
///     client.Initialize(moduleHandle);
///     CLogger::StartLogging(&client);
///     CLogger::LOG_WARNING(&client, L"The ribbon is nearly used up", L"Rendering");
///     CLogger::StopLogging(&client);

#include <new>

#include "orv/platform/export.h"
#include "orv/platform/lock.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"

/// Levels of log entries; the values are bits of the level mask.
enum eLogLevel : int {
  eLogLevelError = 1,
  eLogLevelWarning = 2,
  eLogLevelInfo = 4,
  eLogLevelTrace = 8,
};

/// The identity of a calling module; its name is the DLL column of the module's entries. Copyable.
/// After `Initialize`, any number of threads may use the same object.
class ORV_EXPORT CLoggerClient {
 public:
  /// Finds the module's path, name and folder. On failure all three are empty, and `HasError`
  /// returns nonzero. On Linux the handle of a module is the address at which it is loaded, the
  /// `dli_fbase` of `dladdr`; `dlopen` returns a different handle.
  void Initialize(HINSTANCE hInstance);

  /// Nonzero if `Initialize` failed.
  BOOL HasError() const;

  HINSTANCE m_hInstance = nullptr;  ///< the module
  CString m_stModulePath;           ///< full path of the module's file
  CString m_stModuleName;           ///< its file name
  CString m_stModuleFolder;         ///< the path without name and separator
  CString m_stError;                ///< empty, or why `Initialize` failed
};

/// Writes log entries, each one tab-separated line, to the debugger output, to a daily file, or
/// both. The registry settings that decide are read when the first client starts logging. Any
/// thread may log, but not during the first start; `StartLogging` and `StopLogging` must not run
/// concurrently. Logging never fails its caller: an entry is dropped when memory or disk space runs
/// out. A null client is allowed everywhere.
class ORV_EXPORT CLogger {
 public:
  /// Adds a client. The first one reads the settings and writes the start lines.
  static void StartLogging(CLoggerClient* client);

  /// Removes a client. After the last one, the next start reads the settings again. A stop without
  /// a start makes the count negative: starts read no settings until the count has reached 0.
  static void StopLogging(CLoggerClient* client);

  /// Writes an entry if its level is in the mask or its source is an active group. `message` is the
  /// finished text and `source` the caller's log group; either may be null.
  static void Log(eLogLevel level, CLoggerClient* client, const wchar_t* message,
                  const wchar_t* source);

  /// `Log` with the level of the name.
  static void LOG_TRACE(CLoggerClient* client, const wchar_t* message, const wchar_t* source);
  static void LOG_INFO(CLoggerClient* client, const wchar_t* message, const wchar_t* source);
  static void LOG_WARNING(CLoggerClient* client, const wchar_t* message, const wchar_t* source);
  static void LOG_ERROR(CLoggerClient* client, const wchar_t* message, const wchar_t* source);

  /// Returns whether `Log` would write; call it before composing an expensive message.
  static bool IsEnabled(eLogLevel level, const wchar_t* source);

  /// Shortens a path for display to its file name and last folder. Kept for compatibility: the last
  /// character of the path is dropped, so "D:\a\b\c.x" gives "b\c.".
  static CString GetFileAndLastFolder(const CString& path);

  static int m_nLoglevel;             ///< mask of enabled levels
  static int m_bWriteLogToDebug;      ///< send entries to the debugger output
  static int m_bWriteLogToFile;       ///< append entries to the daily file
  static CString m_stDesiredLogPath;  ///< the folder that the registry names
  static CString m_stLogGroups;       ///< active groups, lower case, as `#name#name#`
  static orv::Lock m_csFileLock;      ///< serialises writes to the file
  static int m_nRefCount;             ///< starts not yet matched by stops
};

namespace orv {

/// Logs a message that is composed, as by `Format`, only if it will be written. A level that is off
/// costs two comparisons as long as no log group is active.
template <typename... Arguments>
void LogFormat(eLogLevel level, CLoggerClient* client, const wchar_t* source, const wchar_t* format,
               Arguments... arguments) {
  const bool isLevelOn = (CLogger::m_nLoglevel & level) != 0;
  if (!isLevelOn && (CLogger::m_stLogGroups.empty() || !CLogger::IsEnabled(level, source))) return;
  try {
    CLogger::Log(level, client, Format(format, arguments...).c_str(), source);
  } catch (const std::bad_alloc&) {
    // The entry is dropped, as it is when the disk is full.
  }
}

}  // namespace orv
