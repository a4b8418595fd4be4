#include "platform/processes.h"

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>

namespace orv {
namespace {

DWORD RightsOf(ProcessAccess access) {
  switch (access) {
    case ProcessAccess::kQueryAndRead:
      return PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
    case ProcessAccess::kQueryLimitedAndRead:
      return PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ;
    case ProcessAccess::kQuery:
      return PROCESS_QUERY_INFORMATION;
    case ProcessAccess::kQueryLimited:
      return PROCESS_QUERY_LIMITED_INFORMATION;
    case ProcessAccess::kFull:
      return PROCESS_ALL_ACCESS;
  }
  return 0;
}

}  // namespace

DWORD CurrentProcessId() { return GetCurrentProcessId(); }

std::wstring ExpandVariables(const std::wstring& text) {
  std::wstring expanded(text.size() + 1, L'\0');
  DWORD size = 0;  // with the terminator
  // Retries until it fits: another thread may change a variable between two calls.
  while ((size = ExpandEnvironmentStringsW(text.c_str(), expanded.data(),
                                           static_cast<DWORD>(expanded.size()))) >
         expanded.size()) {
    expanded.resize(size);
  }
  if (size == 0) return text;
  expanded.resize(size - 1);
  return expanded;
}

bool FindProcess(DWORD id, ProcessEntry* entry) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return false;
  PROCESSENTRY32W process{};
  process.dwSize = sizeof(process);
  BOOL isFound = Process32FirstW(snapshot, &process);
  while (isFound && process.th32ProcessID != id) isFound = Process32NextW(snapshot, &process);
  CloseHandle(snapshot);
  if (isFound) *entry = {id, process.th32ParentProcessID, process.szExeFile};
  return isFound != FALSE;
}

std::wstring FindProcessName(DWORD id) {
  ProcessEntry entry;
  FindProcess(id, &entry);
  return std::move(entry.name);
}

const bool kParentIdsAreUnique = false;

HANDLE OpenProcessHandle(DWORD id, ProcessAccess access) {
  const HANDLE process = OpenProcess(RightsOf(access), FALSE, id);
  // The system keeps an ended process, and its id, while any handle to it is open.
  DWORD exitCode = STILL_ACTIVE;
  if (process != nullptr && GetExitCodeProcess(process, &exitCode) && exitCode != STILL_ACTIVE) {
    CloseHandle(process);
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return process;
}

void CloseProcessHandle(HANDLE process) {
  if (process != nullptr) CloseHandle(process);
}

bool GetProcessPath(HANDLE process, std::wstring* path) {
  // Unlike `GetModuleFileNameExW` it also reads a 64-bit process from a 32-bit one. It fails if the
  // buffer is too short.
  constexpr DWORD kMaxPath = 32767;
  DWORD length = kMaxPath;
  path->resize(kMaxPath);
  const bool isRead = QueryFullProcessImageNameW(process, 0, path->data(), &length) != FALSE;
  path->resize(isRead ? std::min(length, kMaxProcessPath - 1) : 0);
  return isRead;
}

bool GetProcessCreationTime(HANDLE process, std::uint64_t* creationTime) {
  FILETIME created{};
  FILETIME exited{};
  FILETIME kernel{};
  FILETIME user{};
  if (!GetProcessTimes(process, &created, &exited, &kernel, &user)) return false;
  *creationTime = std::uint64_t{created.dwHighDateTime} << 32 | created.dwLowDateTime;
  return true;
}

}  // namespace orv
