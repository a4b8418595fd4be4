#include "orv/session/session_data.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/processes.h"
#include "session/session_items.h"

namespace {

/// Ids that stand for "not yet known".
constexpr std::uint32_t kUnknownProcess = 'z';
constexpr std::uint32_t kUnknownParent = 'y';

}  // namespace

struct SessionData {
  std::uint32_t processId = kUnknownProcess;
  std::uint32_t parentProcessId = kUnknownParent;
  HANDLE parentHandle = nullptr;
  bool isStartedByHost = false;  ///< the parent is a system host
  bool isSystemParent = false;   ///< the parent or the process itself is one
  std::wstring processName;
  std::uint64_t creationTime = 0;
  bool isDetermined = false;  ///< the parent check has run
};

namespace {

using orv::ProcessAccess;
using orv::ProcessHandle;

constexpr wchar_t kSource[] = L"SessionData";
constexpr wchar_t kSessionKey[] = L"Session";
constexpr wchar_t kNameValue[] = L"ProcessName";
constexpr wchar_t kTimeValue[] = L"CreationTime";

SessionData* theInstance = nullptr;
int theReferences = 0;

SessionData& Instance() {
  if (theInstance == nullptr) theInstance = new SessionData;
  return *theInstance;
}

template <typename... Arguments>
void LogTrace(const wchar_t* format, Arguments... arguments) {
  orv::LogFormat(eLogLevelTrace, nullptr, kSource, format, arguments...);
}
template <typename... Arguments>
void LogError(const wchar_t* format, Arguments... arguments) {
  orv::LogFormat(eLogLevelError, nullptr, kSource, format, arguments...);
}

int LastError() { return static_cast<int>(GetLastError()); }

std::wstring SessionPath() { return std::wstring(orv::kSettingsKey) + L'\\' + kSessionKey; }

void ComputeIds(SessionData* session) {
  if (session->processId != kUnknownProcess || session->parentProcessId != kUnknownParent) return;
  orv::ProcessEntry entry;
  orv::FindProcess(orv::CurrentProcessId(), &entry);
  session->processId = entry.id;
  session->parentProcessId = entry.parentId;
}

void CloseParent(SessionData* session) {
  orv::CloseProcessHandle(std::exchange(session->parentHandle, nullptr));
}

HANDLE OpenForReading(std::uint32_t processId) {
  const HANDLE process = orv::OpenProcessHandle(processId, ProcessAccess::kQueryAndRead);
  return process != nullptr
             ? process
             : orv::OpenProcessHandle(processId, ProcessAccess::kQueryLimitedAndRead);
}

HANDLE OpenParent(SessionData* session) {
  if (session->parentHandle == nullptr) {
    session->parentHandle = OpenForReading(session->parentProcessId);
  }
  return session->parentHandle;
}

/// Names the program of an open process in the log and says whether it is one of the system's hosts
/// for printer settings.
bool IsSystemHost(HANDLE process, const wchar_t* message) {
  std::wstring path;
  if (process == nullptr || !orv::GetProcessPath(process, &path)) return false;
  const std::wstring name = orv::FileNameOf(path);
  LogTrace(message, path.c_str(), name.c_str());
  constexpr std::wstring_view kHosts[] = {L"sihost.exe", L"mmc.exe"};
  return std::ranges::count(kHosts, orv::LowerCase(name)) != 0;
}

bool CheckParent(SessionData* session) {
  if (session->isDetermined) return session->isSystemParent;
  ComputeIds(session);
  session->isStartedByHost =
      IsSystemHost(OpenParent(session), L"UserData is called with parent: %ls (%ls)");
  session->isSystemParent = session->isStartedByHost;
  if (!session->isStartedByHost) {
    CloseParent(session);
    const ProcessHandle self(OpenForReading(session->processId));
    session->isSystemParent = IsSystemHost(self.get(), L"UserData is called by process: %ls (%ls)");
  }
  session->isDetermined = true;
  return session->isSystemParent;
}

std::wstring ProgramName(std::uint32_t processId) {
  orv::ProcessEntry entry;
  orv::FindProcess(processId, &entry);
  return entry.name;
}

void Reload(SessionData* session) {
  session->isDetermined = false;
  session->processId = kUnknownProcess;
  session->parentProcessId = kUnknownParent;
  session->processName.clear();  // an entry without a name is found out anew before it is saved
  CheckParent(session);
  session->creationTime = 0;
  const ProcessHandle self(orv::CurrentProcessId(), ProcessAccess::kQueryLimited);
  if (self.get() != nullptr) orv::GetProcessCreationTime(self.get(), &session->creationTime);
  session->processName = ProgramName(session->processId);
}

bool IsStillValid(std::uint32_t processId, const std::wstring& name, std::uint64_t stored) {
  HANDLE opened = orv::OpenProcessHandle(processId, ProcessAccess::kQuery);
  if (opened == nullptr) {
    opened = orv::OpenProcessHandle(processId, ProcessAccess::kQueryLimited);
  }
  const ProcessHandle process(opened);
  if (opened == nullptr) {
    LogError(L"Unable to open process for process validity check. Error code: %i", LastError());
    return false;
  }
  std::uint64_t created = 0;
  if (!orv::GetProcessCreationTime(opened, &created)) {
    LogError(L"Unable to retrieve process times. Error code: %i", LastError());
    return false;
  }
  const auto low = [](std::uint64_t time) { return static_cast<int>(time & 0xFFFFFFFF); };
  const auto high = [](std::uint64_t time) { return static_cast<int>(time >> 32); };
  if (created != stored) {
    LogError(L"File time not valid anymore. Creation: %i, %i   Stored: %i, %i", low(created),
             high(created), low(stored), high(stored));
    return false;
  }
  const std::wstring current = ProgramName(processId);
  if (current != name) {
    LogError(L"Process not valid anymore. Current name: %ls   Stored name: %ls", current.c_str(),
             name.c_str());
    return false;
  }
  return true;
}

/// Answers a call that needs memory, with 0 when there is none.
template <typename Answer>
std::uint32_t Answered(Answer answer) {
  try {
    return answer();
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

/// Finds everything out anew and checks this process against it.
bool IsOwnEntryValid(SessionData* session) {
  Reload(session);
  return IsStillValid(session->processId, session->processName, session->creationTime);
}

/// Removes the entry at a sub-key of the session key when its process has ended. Sub-keys that are
/// not named by a number belong to printers.
void CleanUpEntry(HKEY sessions, const std::wstring& subKey) {
  if (subKey.find_first_not_of(L"0123456789") != subKey.npos) return;
  // Too large a number is the largest id, which no process has.
  const auto processId = static_cast<std::uint32_t>(
      std::min<unsigned long>(std::wcstoul(subKey.c_str(), nullptr, 10), UINT32_MAX));
  const int shownId = static_cast<int>(processId);
  orv::RegistryKey key;
  if (const LONG error = key.Open(sessions, subKey, orv::RegistryAccess::kReadWrite);
      error != ERROR_SUCCESS) {
    LogError(L"Error reading Session Data for process %i. Error code: %i", shownId,
             static_cast<int>(error));
    return;
  }
  orv::RegistryValue name;
  orv::RegistryValue time;
  LONG error = orv::GetRegistryValue(key.get(), kNameValue, &name);
  if (error == ERROR_SUCCESS) error = orv::GetRegistryValue(key.get(), kTimeValue, &time);
  if (error != ERROR_SUCCESS) {
    LogError(L"Error retrieveing Session Data for process %i. Error code: %i", shownId,
             static_cast<int>(error));
    return;
  }
  std::uint64_t created = 0;
  if (time.data.size() != sizeof(created)) return;
  std::memcpy(&created, time.data.data(), sizeof(created));
  if (!IsStillValid(processId, name.Text(), created)) {
    key.Close();
    orv::DeleteRegistryTree(sessions, subKey);
  }
}

std::uint32_t SaveEntry(HKEY key) {
  SessionData& session = Instance();
  if (session.processName.empty()) Reload(&session);
  if (const LONG error =
          orv::SetRegistryValue(key, kNameValue, orv::RegistryValue::FromText(session.processName));
      error != ERROR_SUCCESS) {
    LogError(L"Error while saving session data process name. Error code: %i",
             static_cast<int>(error));
    return 0;
  }
  orv::RegistryValue time;
  time.type = REG_BINARY;
  time.data.resize(sizeof(session.creationTime));
  std::memcpy(time.data.data(), &session.creationTime, sizeof(session.creationTime));
  if (const LONG error = orv::SetRegistryValue(key, kTimeValue, time); error != ERROR_SUCCESS) {
    LogError(L"Error while saving session data process creation time. Error code: %i",
             static_cast<int>(error));
    return 0;
  }
  return 1;
}

std::uint32_t CleanUpEntries() {
  orv::RegistryKey sessions;
  if (const LONG error =
          sessions.Open(HKEY_CURRENT_USER, SessionPath(), orv::RegistryAccess::kRead);
      error != ERROR_SUCCESS) {
    // Nobody has saved an entry yet: not a fault.
    const eLogLevel level = error == ERROR_FILE_NOT_FOUND ? eLogLevelTrace : eLogLevelError;
    orv::LogFormat(level, nullptr, kSource, L"Error accessing Session Data. Error code: %i",
                   static_cast<int>(error));
    return 1;
  }
  // All names first: deleting while enumerating would step over entries.
  std::vector<std::wstring> names;
  orv::ListRegistryKeys(sessions.get(), &names);
  for (const std::wstring& name : names) CleanUpEntry(sessions.get(), name);
  return 1;
}

}  // namespace

std::uint32_t orv::SessionItemsProcess() {
  SessionData& session = Instance();
  CheckParent(&session);
  return session.isStartedByHost ? session.parentProcessId : session.processId;
}

SessionData* GetSessionDataInstance() {
  SessionData* instance = nullptr;
  Answered([&] {
    instance = &Instance();
    ++theReferences;
    return 1;
  });
  return instance;
}

std::uint32_t ReleaseSessionDataInstance() {
  if (theInstance == nullptr || --theReferences > 0) return 1;
  CloseParent(theInstance);
  delete std::exchange(theInstance, nullptr);
  theReferences = 0;
  return 1;
}

std::uint32_t GetSessionProcessId(std::uint32_t* processId) {
  if (processId == nullptr) return 0;
  return Answered([=] {
    // Kept for compatibility: the test is against the other slot's mark, so that the first call
    // gives "not yet known".
    if (Instance().parentProcessId == kUnknownProcess) ComputeIds(&Instance());
    *processId = Instance().processId;
    return 1;
  });
}

std::uint32_t GetSessionParentProcessId(std::uint32_t* parentProcessId) {
  if (parentProcessId == nullptr) return 0;
  return Answered([=] {
    if (Instance().parentProcessId == kUnknownParent) ComputeIds(&Instance());
    *parentProcessId = Instance().parentProcessId;
    return 1;
  });
}

std::uint32_t GetSessionParendHandle(HANDLE* parentHandle) {
  if (parentHandle == nullptr) return 0;
  return Answered([=] {
    ComputeIds(&Instance());
    *parentHandle = OpenParent(&Instance());
    return 1;
  });
}

std::uint32_t GetSessionIsSystemParent(std::uint32_t* isSystemParent) {
  if (isSystemParent == nullptr) return 0;
  return Answered([=] {
    *isSystemParent = CheckParent(&Instance());
    return 1;
  });
}

std::uint32_t GetSessionReadUDS(std::uint32_t* read, const wchar_t* firstName,
                                const wchar_t* secondName) {
  if (read == nullptr || firstName == nullptr || secondName == nullptr) return 0;
  return Answered([=] {
    SessionData& session = Instance();
    *read = 1;
    if (CheckParent(&session) || !IsOwnEntryValid(&session)) return 1;
    orv::RegistryKey key;
    *read = key.Open(HKEY_CURRENT_USER, SessionPath() + L'\\' + firstName + L'\\' + secondName,
                     orv::RegistryAccess::kRead) == ERROR_SUCCESS;
    return 1;
  });
}

std::uint32_t GetSessionWriteUDS(std::uint32_t* write) {
  if (write == nullptr) return 0;
  return Answered([=] {
    SessionData& session = Instance();
    *write = CheckParent(&session) || !IsOwnEntryValid(&session);
    return 1;
  });
}

std::uint32_t ReloadSessionInfo() {
  return Answered([] {
    Reload(&Instance());
    return 1;
  });
}

std::uint32_t IsSessionProcessStillValid(std::uint32_t* isValid, std::uint32_t processId,
                                         const wchar_t* processName,
                                         const std::uint64_t* creationTime) {
  if (isValid == nullptr || processName == nullptr || creationTime == nullptr) return 0;
  return Answered([=] {
    *isValid = IsStillValid(processId, processName, *creationTime);
    return 1;
  });
}

std::uint32_t SaveSessionRegistryInfo(HKEY key) {
  return key != nullptr ? Answered([=] { return SaveEntry(key); }) : 0;
}

std::uint32_t CleanupRegSessionData(const wchar_t* firstName, const wchar_t* secondName) {
  return firstName != nullptr && secondName != nullptr ? Answered(CleanUpEntries) : 0;
}
