#pragma once

#include <cstdint>
#include <string>

#include "orv/platform/types.h"

/// The processes that run now. Failures leave the thread's last error set.

namespace orv {

/// The longest path of a process's program that is read, in characters.
inline constexpr DWORD kMaxProcessPath = 260;

/// A process as a snapshot of all processes shows it.
struct ProcessEntry {
  DWORD id = 0;
  DWORD parentId = 0;
  std::wstring name;  ///< the program's file name
};

DWORD CurrentProcessId();

/// A text with the variables of this process's environment in the place of their names between
/// percent signs; what is not the name of one stays as it is.
std::wstring ExpandVariables(const std::wstring& text);

/// Looks a process up among those that run; false when it is not there.
bool FindProcess(DWORD id, ProcessEntry* entry);

enum class ProcessAccess {
  kQueryAndRead,         ///< everything that can be asked, and the process's memory
  kQueryLimitedAndRead,  ///< the basic facts, and the process's memory
  kQuery,                ///< everything that can be asked
  kQueryLimited,         ///< the basic facts
  kFull,
};

/// Opens a process that has not ended; null when there is none or it is not for the caller. Close
/// the handle with `CloseProcessHandle`.
HANDLE OpenProcessHandle(DWORD id, ProcessAccess access);
/// Closes an open process; null is ignored.
void CloseProcessHandle(HANDLE process);

/// The path of an open process's program, at most `kMaxProcessPath` characters.
bool GetProcessPath(HANDLE process, std::wstring* path);
/// When an open process was started: 100 ns intervals since 1601-01-01 UTC.
bool GetProcessCreationTime(HANDLE process, std::uint64_t* creationTime);

/// A process that is closed with its owner.
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
