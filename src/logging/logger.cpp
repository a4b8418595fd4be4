#include "orv/logging/logger.h"

#include <algorithm>
#include <cwchar>
#include <exception>
#include <filesystem>
#include <limits>
#include <new>
#include <string>

#include "base/product.h"
#include "logging/log_file.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "platform/clock.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "platform/fork.h"
#include "platform/letter_case.h"
#include "platform/modules.h"
#include "platform/unload.h"

int CLogger::m_nLoglevel = eLogLevelError;
int CLogger::m_bWriteLogToDebug = 1;
int CLogger::m_bWriteLogToFile = 1;
CString CLogger::m_stDesiredLogPath;
CString CLogger::m_stLogGroups;
orv::Lock CLogger::m_csFileLock;
int CLogger::m_nRefCount = 0;

namespace {

[[maybe_unused]] const bool fileLockIsHeld = orv::HoldDuringFork(&CLogger::m_csFileLock);

constexpr std::wstring_view kDebugPrefix = L"orv Printer Driver Log: ";
constexpr std::wstring_view kHeader =
    L"Date\tTime\tMessage Type\tProcess\tDLL\tSource\tMessage\r\n";

std::wstring_view TagOf(eLogLevel level) {
  switch (level) {
    case eLogLevelError:
      return L"ERR\t";
    case eLogLevelWarning:
      return L"WAR\t";
    case eLogLevelInfo:
      return L"INF\t";
    case eLogLevelTrace:
      return L"TRC\t";
  }
  // Kept for compatibility: a combination of levels has no tag, so its line has one column fewer.
  return {};
}

void AppendTimestamp(std::wstring* line, const orv::LocalTime& now) {
  wchar_t text[] = L"00.00.0000\t00:00:00.000\t";
  const struct {
    int number;
    int end;  ///< index of its last digit; years have four digits
  } parts[] = {{now.day, 1},     {now.month, 4},   {now.year, 9},        {now.hour, 12},
               {now.minute, 15}, {now.second, 18}, {now.millisecond, 22}};
  for (auto [number, end] : parts) {
    for (; number > 0; number /= 10) text[end--] = static_cast<wchar_t>(L'0' + number % 10);
  }
  *line += text;
}

/// The file name of the process's executable, determined once.
const std::wstring& ProcessName() {
  static const std::wstring& s_stProcessName = orv::KeptUntilUnload([] {
    std::wstring path;
    orv::GetModulePath(nullptr, &path);
    return orv::FileNameOf(path);
  });
  return s_stProcessName;
}

/// Appends text as little-endian 16-bit units without a byte-order mark, completely or not at all.
bool AppendUnits(orv::ExclusiveFile* file, std::wstring_view text) {
  if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
    return file->Append(text.data(), text.size() * sizeof(wchar_t));
  } else {
    const std::u16string units(text.begin(), text.end());
    return file->Append(units.data(), units.size() * sizeof(char16_t));
  }
}

/// Only exactly "1" turns a switch on; an empty setting means the default.
int ReadSwitch(const wchar_t* name, int byDefault) {
  const std::wstring value = orv::ReadSetting(orv::kLogSettings, name);
  return value.empty() ? byDefault : value == L"1";
}

/// The decimal number at the start of a text; 0 without digits.
int LeadingNumber(const std::wstring& text) {
  const long number = std::wcstol(text.c_str(), nullptr, 10);
  return static_cast<int>(
      std::clamp<long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// Runs a part of the logger's work; without memory the rest is skipped. Not inlined, so suppressed
/// log calls keep a small stack frame.
template <typename Work>
[[gnu::noinline]] void Attempt(Work work) {
  try {
    work();
  } catch (const std::exception&) {
    // Logging never fails its caller.
  }
}

/// Whether the group of an entry's source is active. Only whole names match.
bool IsInActiveLoggingGroup(const wchar_t* source) {
  if (source == nullptr || CLogger::m_stLogGroups.empty()) return false;
  bool isActive = false;
  Attempt([source, &isActive] {
    const std::wstring names = orv::LowerCase(source);
    for (std::size_t start = 0; start < names.size() && !isActive;) {
      const std::size_t end = std::min(names.find(L'#', start), names.size());
      // Both ends of a name are delimited, so only whole names match.
      isActive = end > start &&
                 CLogger::m_stLogGroups.find(L'#' + names.substr(start, end - start) + L'#') !=
                     CString::npos;
      start = end + 1;
    }
  });
  return isActive;
}

void WriteToLogFile(std::wstring_view line, const orv::LocalTime& now) {
  const auto path = orv::LogFileOf(now, CLogger::m_stDesiredLogPath);
  if (path == nullptr) return;
  std::error_code error;
  const bool isNew = !std::filesystem::exists(*path, error);
  const orv::LockGuard guard(CLogger::m_csFileLock);
  orv::ExclusiveFile file;
  // If another process holds the file, the entry is dropped instead of blocking the caller.
  if (!file.OpenTrusted(*path)) return;
  if (isNew && !AppendUnits(&file, kHeader)) return;
  AppendUnits(&file, line);
}

void WriteLogEntry(eLogLevel level, CLoggerClient* client, std::wstring_view message,
                   std::wstring_view source) {
  constexpr std::size_t kColumns = 64;  // at least the size of date, time, tag, tabs and line end
  const std::wstring& process = ProcessName();
  const std::wstring_view module =
      client != nullptr && !client->HasError() ? client->m_stModuleName : std::wstring_view();

  std::wstring entry;
  entry.reserve(kDebugPrefix.size() + kColumns + process.size() + module.size() + source.size() +
                message.size());
  const orv::LocalTime now = orv::GetLocalTimeNow();
  entry += kDebugPrefix;
  AppendTimestamp(&entry, now);
  entry += TagOf(level);
  for (const std::wstring_view column : {std::wstring_view(process), module, source}) {
    entry += column;
    entry += L'\t';
  }
  entry += message;
  entry += L"\r\n";

  if (CLogger::m_bWriteLogToDebug) orv::WriteDebugOutput(entry);
  if (CLogger::m_bWriteLogToFile)
    WriteToLogFile(std::wstring_view(entry).substr(kDebugPrefix.size()), now);
}

void ReadLoggingSettingsFromRegistry() {
  const orv::RegistrySnapshot request;  // all of them wait only once for a locked store
  CLogger::m_stDesiredLogPath = orv::ReadSetting(orv::kLogSettings, orv::kLogPathSetting);
  CLogger::m_bWriteLogToDebug = ReadSwitch(L"WriteLogToDebug", 1);
  CLogger::m_bWriteLogToFile = ReadSwitch(L"WriteLogToFile", 1);
  const std::wstring level = orv::ReadSetting(orv::kLogSettings, L"LogLevel");
  CLogger::m_nLoglevel = level.empty() ? int{eLogLevelError} : LeadingNumber(level);
  const std::wstring groups = orv::ReadSetting(orv::kLogSettings, L"LogGroups");
  CLogger::m_stLogGroups = groups.starts_with(L'#') ? orv::LowerCase(groups) : std::wstring();
}

}  // namespace

BOOL CLoggerClient::HasError() const { return !m_stError.empty(); }

void CLoggerClient::Initialize(HINSTANCE hInstance) {
  m_hInstance = hInstance;
  m_stModulePath.clear();
  m_stModuleName.clear();
  m_stModuleFolder.clear();
  m_stError.clear();

  try {
    if (hInstance == nullptr || hInstance == reinterpret_cast<HINSTANCE>(INVALID_HANDLE_VALUE)) {
      m_stError = L"Unable to determine path to DLL: hInstance is NULL";
      return;
    }
    if (!orv::GetModulePath(hInstance, &m_stModulePath)) {
      m_stError = orv::Format(L"Unable to determine path to DLL. Error code: %d",
                              static_cast<int>(GetLastError()));
      return;
    }
    m_stModuleName = orv::FileNameOf(m_stModulePath);
    if (m_stModulePath.size() > m_stModuleName.size()) {
      m_stModuleFolder.assign(m_stModulePath, 0, m_stModulePath.size() - m_stModuleName.size() - 1);
    }
  } catch (const std::bad_alloc&) {
    m_stModulePath.clear();
    m_stModuleName.clear();
    m_stModuleFolder.clear();
    m_stError = L"?";  // fits without an allocation
  }
}

void CLogger::StartLogging(CLoggerClient* client) {
  if (m_nRefCount++ != 0) return;
  Attempt([client] {
    ReadLoggingSettingsFromRegistry();
    // These lines are written regardless of the level mask. Kept for compatibility: the brackets
    // hold the family prefix, not the process name.
    for (const std::wstring& line :
         {orv::Format(L"Logging start for new process (%ls)", orv::kFamilyPrefix),
          orv::Format(L"   Log Level   : %d", m_nLoglevel),
          orv::Format(L"   Log to Debug: %d", m_bWriteLogToDebug),
          orv::Format(L"   Log to File : %d", m_bWriteLogToFile)}) {
      WriteLogEntry(eLogLevelInfo, client, line, {});
    }
  });
}

void CLogger::StopLogging(CLoggerClient*) { --m_nRefCount; }

void CLogger::Log(eLogLevel level, CLoggerClient* client, const wchar_t* message,
                  const wchar_t* source) {
  if (!IsEnabled(level, source)) return;
  Attempt([=] {
    WriteLogEntry(level, client, message != nullptr ? message : L"",
                  source != nullptr ? source : L"");
  });
}

void CLogger::LOG_TRACE(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
  Log(eLogLevelTrace, client, message, source);
}

void CLogger::LOG_INFO(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
  Log(eLogLevelInfo, client, message, source);
}

void CLogger::LOG_WARNING(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
  Log(eLogLevelWarning, client, message, source);
}

void CLogger::LOG_ERROR(CLoggerClient* client, const wchar_t* message, const wchar_t* source) {
  Log(eLogLevelError, client, message, source);
}

bool CLogger::IsEnabled(eLogLevel level, const wchar_t* source) {
  return (m_nLoglevel & level) != 0 || IsInActiveLoggingGroup(source);
}

CString CLogger::GetFileAndLastFolder(const CString& path) {
  if (path.empty()) return {};
  CString rest(path, 0, path.size() - 1);
  while (std::count(rest.begin(), rest.end(), L'\\') > 1) {
    // A component ends with its backslash; two in a row, as before a server name, count as one.
    std::size_t next = rest.find(L'\\') + 1;
    if (rest[next] == L'\\') ++next;
    rest.erase(0, next);
  }
  return rest;
}
