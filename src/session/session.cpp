#include "session/session.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <utility>
#include <vector>

#include "base/out_of_memory.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/processes.h"
#include "platform/registry_cache.h"
#include "platform/unload.h"

namespace {

using orv::ProcessAccess;
using orv::ProcessHandle;

constexpr wchar_t kSource[] = L"SessionData";
constexpr wchar_t kSessionKey[] = L"Session";
constexpr wchar_t kNameValue[] = L"ProcessName";
constexpr wchar_t kTimeValue[] = L"CreationTime";

SessionData* theSession = nullptr;  // no destructor runs when the process ends

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

HANDLE OpenForReading(std::uint32_t processId) {
  const HANDLE process = orv::OpenProcessHandle(processId, ProcessAccess::kQueryAndRead);
  return process != nullptr
             ? process
             : orv::OpenProcessHandle(processId, ProcessAccess::kQueryLimitedAndRead);
}

/// Reads the path of an open process's program; empty if that fails.
void ReadProgram(HANDLE process, std::wstring* path) {
  if (process == nullptr || !orv::GetProcessPath(process, path)) path->clear();
}

/// Whether a program is one of the system's hosts for printer settings; false if it is not known.
/// It is logged with `message`.
bool IsSystemHost(const std::wstring& path, const wchar_t* message) {
  if (path.empty()) return false;
  // Without a separator, from the start.
  const wchar_t* const name = path.c_str() + (path.rfind(orv::kPathSeparator) + 1);
  LogTrace(message, path.c_str(), name);
  constexpr std::wstring_view kHosts[] = {L"sihost.exe", L"mmc.exe"};
  return std::ranges::any_of(kHosts, [name](std::wstring_view host) {
    return std::wcslen(name) == host.size() && orv::LowerCase(name) == host;
  });
}

/// The entry of a process in the registry, as far as it could be read.
struct Entry {
  std::wstring subKey;
  std::uint32_t processId = 0;
  LONG openError = ERROR_SUCCESS;
  LONG readError = ERROR_SUCCESS;
  std::wstring program;
  std::vector<BYTE> time;
};

/// All entries, kept until something in the registry changes.
struct Entries {
  std::uint64_t version = 0;
  LONG error = ERROR_SUCCESS;
  std::vector<Entry> entries;
};

Entry ReadEntry(HKEY sessions, const std::wstring& subKey) {
  Entry entry;
  entry.subKey = subKey;
  // A number that is too large becomes the largest id, which no process has.
  entry.processId = static_cast<std::uint32_t>(
      std::min<unsigned long>(std::wcstoul(subKey.c_str(), nullptr, 10), UINT32_MAX));
  orv::RegistryKey key;
  entry.openError = key.Open(sessions, subKey, orv::RegistryAccess::kReadWrite);
  if (entry.openError != ERROR_SUCCESS) return entry;
  orv::RegistryValue name;
  orv::RegistryValue time;
  entry.readError = orv::GetRegistryValue(key.get(), kNameValue, &name);
  if (entry.readError == ERROR_SUCCESS) {
    entry.readError = orv::GetRegistryValue(key.get(), kTimeValue, &time);
  }
  entry.program = name.Text();
  entry.time = std::move(time.data);
  return entry;
}

Entries ReadEntries() {
  Entries read;
  read.version = orv::RegistryVersion(HKEY_CURRENT_USER);
  orv::RegistryKey sessions;
  std::vector<std::wstring> names;
  read.error = sessions.Open(HKEY_CURRENT_USER, SessionPath(), orv::RegistryAccess::kRead);
  if (read.error == ERROR_SUCCESS) read.error = orv::ListRegistryKeys(sessions.get(), &names);
  for (const std::wstring& name : names) {
    // Sub-keys whose names are not numbers belong to printers.
    if (name.find_first_not_of(L"0123456789") != name.npos) continue;
    read.entries.push_back(ReadEntry(sessions.get(), name));
  }
  // Only what the registry holds is kept, not a failure to read it.
  const auto isHeld = [](LONG error) {
    return error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND;
  };
  if (!isHeld(read.error) || read.version != orv::RegistryVersion(HKEY_CURRENT_USER) ||
      !std::ranges::all_of(read.entries, [&](const Entry& entry) {
        return isHeld(entry.openError) && isHeld(entry.readError);
      })) {
    read.version = 0;
  }
  return read;
}

/// Removes an entry if its process has ended.
void CleanUpEntry(const Entry& entry) {
  const int shownId = static_cast<int>(entry.processId);
  if (entry.openError != ERROR_SUCCESS) {
    LogError(L"Error reading Session Data for process %i. Error code: %i", shownId,
             static_cast<int>(entry.openError));
    return;
  }
  if (entry.readError != ERROR_SUCCESS) {
    LogError(L"Error retrieveing Session Data for process %i. Error code: %i", shownId,
             static_cast<int>(entry.readError));
    return;
  }
  std::uint64_t created = 0;
  if (entry.time.size() != sizeof(created)) return;
  std::memcpy(&created, entry.time.data(), sizeof(created));
  if (SessionData::IsStillValid(entry.processId, entry.program, created)) return;
  orv::RegistryKey sessions;
  if (sessions.Open(HKEY_CURRENT_USER, SessionPath(), orv::RegistryAccess::kRead) ==
      ERROR_SUCCESS) {
    orv::DeleteRegistryTree(sessions.get(), entry.subKey);
  }
}

}  // namespace

SessionData::~SessionData() { CloseParent(); }

SessionData& SessionData::Shared() {
  if (theSession == nullptr) {
    theSession = new SessionData;
    orv::AtUnload(&DestroyShared);
  }
  return *theSession;
}

void SessionData::DestroyShared() { delete std::exchange(theSession, nullptr); }

bool SessionData::HasShared() { return theSession != nullptr; }

std::uint32_t SessionData::KnownProcessId() { return processId_; }

std::uint32_t SessionData::ParentProcessId() {
  if (parentProcessId_ == kUnknownParent) DetermineIds();
  return parentProcessId_;
}

HANDLE SessionData::ParentHandle() {
  DetermineIds();
  return OpenParent();
}

bool SessionData::HasSystemHost() {
  if (isDetermined_) return hasSystemHost_;
  DetermineIds();
  // The program of the same parent is read only once. If that fails, it is tried again: the parent
  // may become readable.
  if (!orv::kParentIdsAreUnique || parentProgram_.empty() || programParentId_ != parentProcessId_) {
    ReadProgram(OpenParent(), &parentProgram_);
    programParentId_ = parentProcessId_;
  }
  isStartedByHost_ = IsSystemHost(parentProgram_, L"UserData is called with parent: %ls (%ls)");
  hasSystemHost_ = isStartedByHost_;
  if (!isStartedByHost_) {
    CloseParent();
    const ProcessHandle self(OpenForReading(processId_));
    ReadProgram(self.get(), &path_);
    hasSystemHost_ = IsSystemHost(path_, L"UserData is called by process: %ls (%ls)");
  }
  isDetermined_ = true;
  return hasSystemHost_;
}

std::uint32_t SessionData::ItemsProcessId() {
  HasSystemHost();
  return isStartedByHost_ ? parentProcessId_ : processId_;
}

bool SessionData::MustReadSession() { return HasSystemHost() || !IsOwnEntryValid(); }

LONG SessionData::HasItems(const std::wstring& firstName, const std::wstring& secondName,
                           bool* has) {
  orv::RegistryKey key;
  const LONG result =
      key.Open(HKEY_CURRENT_USER, SessionPath() + L'\\' + firstName + L'\\' + secondName,
               orv::RegistryAccess::kRead);
  *has = result == ERROR_SUCCESS;
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

bool SessionData::WritesToSession() { return HasSystemHost() || !IsOwnEntryValid(); }

void SessionData::Reload() {
  isDetermined_ = false;
  processId_ = kUnknownProcess;
  parentProcessId_ = kUnknownParent;
  processName_.clear();  // `SaveEntry` reloads while there is no name
  HasSystemHost();
  creationTime_ = 0;
  const ProcessHandle self(orv::CurrentProcessId(), ProcessAccess::kQueryLimited);
  if (self.get() != nullptr) orv::GetProcessCreationTime(self.get(), &creationTime_);
  processName_ = self_.name;
}

bool SessionData::SaveEntry(HKEY key) {
  if (processName_.empty()) Reload();
  if (const LONG error =
          orv::SetRegistryValue(key, kNameValue, orv::RegistryValue::FromText(processName_));
      error != ERROR_SUCCESS) {
    LogError(L"Error while saving session data process name. Error code: %i",
             static_cast<int>(error));
    return false;
  }
  orv::RegistryValue time;
  time.type = REG_BINARY;
  time.data.resize(sizeof(creationTime_));
  std::memcpy(time.data.data(), &creationTime_, sizeof(creationTime_));
  if (const LONG error = orv::SetRegistryValue(key, kTimeValue, time); error != ERROR_SUCCESS) {
    LogError(L"Error while saving session data process creation time. Error code: %i",
             static_cast<int>(error));
    return false;
  }
  return true;
}

bool SessionData::IsStillValid(std::uint32_t processId, const std::wstring& name,
                               std::uint64_t stored) {
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
  const std::wstring current = orv::FindProcessName(processId);
  if (current != name) {
    LogError(L"Process not valid anymore. Current name: %ls   Stored name: %ls", current.c_str(),
             name.c_str());
    return false;
  }
  return true;
}

bool SessionData::RemoveEndedEntries() {
  return orv::OrOutOfMemory(false, [] {
    static Entries& s_kept = orv::KeptUntilUnload([] { return Entries(); });
    if (s_kept.version == 0 || s_kept.version != orv::RegistryVersion(HKEY_CURRENT_USER)) {
      s_kept = ReadEntries();
    }
    if (s_kept.error != ERROR_SUCCESS) {
      // A missing key means that no entry has been saved yet, which is not an error.
      const eLogLevel level =
          s_kept.error == ERROR_FILE_NOT_FOUND ? eLogLevelTrace : eLogLevelError;
      orv::LogFormat(level, nullptr, kSource, L"Error accessing Session Data. Error code: %i",
                     static_cast<int>(s_kept.error));
      return true;
    }
    for (const Entry& entry : s_kept.entries) CleanUpEntry(entry);
    return true;
  });
}

void SessionData::DetermineIds() {
  if (processId_ != kUnknownProcess || parentProcessId_ != kUnknownParent) return;
  self_.id = self_.parentId = 0;
  self_.name.clear();
  orv::FindProcess(orv::CurrentProcessId(), &self_);
  processId_ = self_.id;
  parentProcessId_ = self_.parentId;
}

HANDLE SessionData::OpenParent() {
  // Where an orphan gets another parent, the handle of the one that has ended is of no use.
  if (openedParentId_ != parentProcessId_) CloseParent();
  if (parentHandle_ == nullptr) parentHandle_ = OpenForReading(parentProcessId_);
  openedParentId_ = parentProcessId_;
  return parentHandle_;
}

void SessionData::CloseParent() { orv::CloseProcessHandle(std::exchange(parentHandle_, nullptr)); }

bool SessionData::IsOwnEntryValid() {
  Reload();
  return IsStillValid(processId_, processName_, creationTime_);
}
