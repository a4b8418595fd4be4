#include "platform/processes.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/utf8.h"
#include "platform/files.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/proc_path.h"

namespace orv {
namespace {

/// A process handle: the folder of the process in /proc. It stays bound to this process, and is
/// empty once the process has ended, even if its id is reused. Not needed for the calling process.
struct OpenedProcess {
  int folder;                 ///< a descriptor; negative for the calling process
  std::wstring program = {};  ///< its path; empty when the caller may not see it
};

/// All handles of the calling process.
OpenedProcess ownProcess{-1};

/// Opens the folder of a process in /proc; negative if the process does not exist.
FileDescriptor OpenProcessFolder(DWORD id) {
  const std::string path = "/proc/" + std::to_string(id);
  return FileDescriptor(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// The contents of a process's stat file.
struct ProcessStatus {
  std::string command;  ///< the program's name, cut to 15 bytes
  char state = 0;
  DWORD parentId = 0;
  std::uint64_t startTicks = 0;  ///< clock ticks from the system's start
};

bool HasEnded(const ProcessStatus& status) {
  return status.state == 'Z' || status.state == 'X' || status.state == 'x';
}

/// Reads the stat file from a process's folder. Returns false if the process has ended.
bool ReadStatus(int folder, ProcessStatus* status) {
  const FileDescriptor file(openat(folder, "stat", O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return false;
  char buffer[1024];
  const ssize_t size = read(file.get(), buffer, sizeof(buffer));
  const std::string_view line(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
  // The name is in parentheses and may contain any character.
  const std::size_t open = line.find('(');
  const std::size_t close = line.rfind(')');
  if (open == line.npos || close == line.npos || close + 2 >= line.size()) return false;
  status->command = line.substr(open + 1, close - open - 1);
  constexpr int kState = 3;  // fields count from 1; the state is the first after the name
  constexpr int kParent = 4;
  constexpr int kStartTime = 22;
  std::size_t at = close + 2;
  for (int field = kState; field <= kStartTime; ++field) {
    const std::size_t end = line.find(' ', at);
    if (end == line.npos) return false;
    const char* first = line.data() + at;
    const char* last = line.data() + end;
    if (field == kState) status->state = *first;
    if (field == kParent) std::from_chars(first, last, status->parentId);
    if (field == kStartTime) std::from_chars(first, last, status->startTicks);
    at = end + 1;
  }
  return !HasEnded(*status);
}

/// The program's path; empty if the process belongs to another user.
std::wstring ReadProgram(int folder) {
  char buffer[PATH_MAX];
  const ssize_t size = readlinkat(folder, "exe", buffer, sizeof(buffer));
  return Utf8ToWide(WithoutDeletedMark({buffer, size > 0 ? static_cast<std::size_t>(size) : 0}));
}

/// The origin of start times, in seconds since 1970; 0 if unavailable. All processes have the same
/// one until the system restarts. It is made from the system's boot id. The kernel's boot time is
/// not used, because it changes when the clock is set.
std::uint64_t StartOrigin() {
  static std::atomic<std::uint64_t> s_origin{0};
  if (const std::uint64_t known = s_origin.load(); known != 0) return known;
  constexpr std::uint64_t kFirst = 1'577'836'800;  // 2020-01-01
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::string digits;
  constexpr std::size_t kDigits = 8;  // of the first group
  std::uint32_t number = 0;
  if (!(file >> digits) || digits.size() < kDigits ||
      std::from_chars(digits.data(), digits.data() + kDigits, number, 16).ec != std::errc()) {
    return 0;
  }
  return s_origin = kFirst + number;
}

/// Facts about the calling process. They do not change while it runs, so they are read once; a
/// forked child reads its own.
struct OwnFacts {
  DWORD id = 0;
  std::uint64_t startTicks = 0;
  std::wstring program;                 ///< its path
  std::wstring name;                    ///< and the last part of it
  const OwnFacts* inherited = nullptr;  ///< those of the process that forked this one, if any
};

/// `id` is the calling process's. Empty if the system does not show the process its own folder.
const OwnFacts& GetOwnFacts(DWORD id) {
  // Never freed: read without a lock, also by destructors of other objects.
  static std::atomic<const OwnFacts*> s_known{nullptr};
  const OwnFacts* known = s_known.load(std::memory_order_acquire);
  if (known != nullptr && known->id == id) return *known;
  static const OwnFacts& s_none = *new OwnFacts;
  const FileDescriptor folder = OpenProcessFolder(id);
  ProcessStatus status;
  if (folder.get() < 0 || !ReadStatus(folder.get(), &status)) return s_none;
  auto facts = std::make_unique<OwnFacts>();
  *facts = {id, status.startTicks, ReadProgram(folder.get()), {}, known};
  facts->name = FileNameOf(facts->program);
  // Another thread may have been quicker.
  if (s_known.compare_exchange_strong(known, facts.get())) known = facts.release();
  return *known;
}

/// The id of this process once it is known; 0 in a child that has just been forked.
std::atomic<DWORD> ownId{0};

const OpenedProcess* ProcessOf(HANDLE process) {
  return static_cast<const OpenedProcess*>(process);
}

}  // namespace

DWORD CurrentProcessId() {
  // Asked often, and a system call is slow on virtual machines.
  DWORD id = ownId.load(std::memory_order_relaxed);
  if (id == 0) {
    static const int s_watched = pthread_atfork(nullptr, nullptr, [] { ownId = 0; });
    id = static_cast<DWORD>(getpid());
    if (s_watched == 0) ownId = id;
  }
  return id;
}

std::wstring ExpandVariables(const std::wstring& text) {
  std::wstring expanded;
  std::size_t at = 0;
  for (std::size_t open; (open = text.find(L'%', at)) != text.npos;) {
    const std::size_t close = text.find(L'%', open + 1);
    if (close == text.npos) break;
    const std::wstring name = text.substr(open + 1, close - open - 1);
    const char* const value = std::getenv(WideToUtf8(name).c_str());
    expanded += text.substr(at, open - at);
    expanded += value != nullptr ? FromFileName(value) : L'%' + name + L'%';
    at = close + 1;
  }
  return expanded + text.substr(at);
}

bool FindProcess(DWORD id, ProcessEntry* entry) {
  if (id == CurrentProcessId()) {
    if (const OwnFacts& own = GetOwnFacts(id); !own.program.empty()) {
      entry->id = id;
      entry->parentId = static_cast<DWORD>(getppid());
      entry->name = own.name;
      return true;
    }
  }
  const FileDescriptor folder = OpenProcessFolder(id);
  ProcessStatus status;
  const bool isFound = folder.get() >= 0 && ReadStatus(folder.get(), &status);
  if (isFound) {
    const std::wstring program = ReadProgram(folder.get());
    *entry = {id, status.parentId,
              program.empty() ? Utf8ToWide(status.command) : FileNameOf(program)};
  } else {
    SetLastError(ERROR_NO_MORE_ITEMS);
  }
  return isFound;
}

std::wstring FindProcessName(DWORD id) {
  if (id == CurrentProcessId()) {
    if (const OwnFacts& own = GetOwnFacts(id); !own.program.empty()) return own.name;
  }
  ProcessEntry entry;
  FindProcess(id, &entry);
  return std::move(entry.name);
}

// An orphan's new parent is one of its ancestors, or the first process: it already ran, under its
// own id, when the old parent did. So no id returns with another process.
const bool kParentIdsAreUnique = true;

HANDLE OpenProcessHandle(DWORD id, ProcessAccess access) {
  if (id == CurrentProcessId()) {
    if (!GetOwnFacts(id).program.empty()) return &ownProcess;
  }
  FileDescriptor folder = OpenProcessFolder(id);
  DWORD error = ERROR_INVALID_PARAMETER;
  if (folder.get() >= 0) {
    std::wstring program = ReadProgram(folder.get());
    ProcessStatus status;
    // An ended process has no program any more, which is quicker to check than its status.
    if (program.empty() && !ReadStatus(folder.get(), &status)) {
      error = ERROR_INVALID_PARAMETER;
    } else if (access != ProcessAccess::kQueryLimited && kill(static_cast<pid_t>(id), 0) != 0) {
      // Basic information is available for every process; for more, the caller must be allowed to
      // signal it.
      error = errno == EPERM ? ERROR_ACCESS_DENIED : ERROR_INVALID_PARAMETER;
    } else {
      auto* const opened = new OpenedProcess{-1, std::move(program)};
      opened->folder = folder.Release();  // now owned by the handle
      return opened;
    }
  }
  SetLastError(error);
  return nullptr;
}

void CloseProcessHandle(HANDLE process) {
  if (process == nullptr || process == &ownProcess) return;
  close(ProcessOf(process)->folder);
  delete ProcessOf(process);
}

bool GetProcessPath(HANDLE process, std::wstring* path) {
  *path = process == &ownProcess ? GetOwnFacts(CurrentProcessId()).program
                                 : ProcessOf(process)->program;
  path->resize(std::min<std::size_t>(path->size(), kMaxProcessPath - 1));
  if (path->empty()) SetLastError(ERROR_ACCESS_DENIED);
  return !path->empty();
}

bool GetProcessCreationTime(HANDLE process, std::uint64_t* creationTime) {
  constexpr std::uint64_t kIntervalsPerSecond = 10'000'000;
  constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;
  const OpenedProcess& opened = *ProcessOf(process);
  ProcessStatus status;
  if (process == &ownProcess) {
    status.startTicks = GetOwnFacts(CurrentProcessId()).startTicks;
  } else if (!ReadStatus(opened.folder, &status)) {
    SetLastError(ERROR_INVALID_PARAMETER);  // it has ended in the meantime
    return false;
  }
  const std::uint64_t origin = StartOrigin();
  if (origin == 0) {
    SetLastError(ERROR_GEN_FAILURE);
    return false;
  }
  const auto ticksPerSecond = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
  *creationTime = (kSecondsFrom1601To1970 + origin) * kIntervalsPerSecond +
                  status.startTicks * (kIntervalsPerSecond / ticksPerSecond);
  return true;
}

}  // namespace orv
