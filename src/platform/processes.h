#pragma once

#include <cstdint>
#include <string>

#include "orv/platform/types.h"

/// Running processes. Functions that fail set the thread's last error.

namespace orv {

/// Maximum length of a process's executable path, in characters.
inline constexpr DWORD kMaxProcessPath = 260;

/// A process in a snapshot of all processes.
struct ProcessEntry {
  DWORD id = 0;
  DWORD parentId = 0;
  std::wstring name;  ///< file name of the executable
};

DWORD CurrentProcessId();

/// Replaces %NAME% with the value of this process's environment variable; other text is kept.
std::wstring ExpandVariables(const std::wstring& text);

/// Finds a running process; returns false if no process has this id.
bool FindProcess(DWORD id, ProcessEntry* entry);
/// The file name of a running process's executable; empty if no process has this id.
std::wstring FindProcessName(DWORD id);

/// Whether this process's parent is the same process for as long as `FindProcess` returns the same
/// parent id. Not on Windows: there the id of an ended parent remains, and a new process may get
/// it.
extern const bool kParentIdsAreUnique;

enum class ProcessAccess {
  kQueryAndRead,         ///< all information, and the process's memory
  kQueryLimitedAndRead,  ///< basic information, and the process's memory
  kQuery,                ///< all information
  kQueryLimited,         ///< basic information
  kFull,
};

/// Opens a running process. Returns null if there is none or access is denied. Close the handle
/// with `CloseProcessHandle`.
HANDLE OpenProcessHandle(DWORD id, ProcessAccess access);
/// Closes a process handle; null is ignored.
void CloseProcessHandle(HANDLE process);

/// The path of a process's executable, at most `kMaxProcessPath` characters.
bool GetProcessPath(HANDLE process, std::wstring* path);
/// The start time of a process in 100 ns intervals since 1601-01-01 UTC. On Linux the origin is not
/// 1601: it differs after each start of the system and does not depend on the clock. The value
/// identifies a process, but is not a date.
bool GetProcessCreationTime(HANDLE process, std::uint64_t* creationTime);

/// An owned process handle.
class ProcessHandle {
 public:
  ProcessHandle(DWORD id, ProcessAccess access) : ProcessHandle(OpenProcessHandle(id, access)) {}
  explicit ProcessHandle(HANDLE process) : handle_(process) {}
  ProcessHandle(const ProcessHandle&) = delete;
  ProcessHandle& operator=(const ProcessHandle&) = delete;
  ~ProcessHandle() { CloseProcessHandle(handle_); }

  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace orv
