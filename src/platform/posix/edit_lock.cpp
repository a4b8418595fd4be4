#include "platform/edit_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "orv/platform/registry.h"
#include "platform/files.h"
#include "platform/posix/descriptor.h"

namespace orv {
namespace {

constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kPause{10};

}  // namespace

// The lock is on the file itself. A writer replaces the file, so a process that has waited opens
// the new one. A file that cannot be opened, or whose file system has no locks, is not locked: if
// there is a fault, reading the file reports it.
EditLock::EditLock(const std::wstring& path) {
  const std::filesystem::path file = ToPath(path);
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    // A pipe must not be opened, because its writer would notice.
    struct stat found {};
    if (stat(file.c_str(), &found) != 0 || !S_ISREG(found.st_mode)) return;
    FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (opened.get() < 0) return;
    const bool isLocked = flock(opened.get(), LOCK_EX | LOCK_NB) == 0;
    if (!isLocked && errno != EWOULDBLOCK && errno != EINTR) return;
    struct stat held {};
    if (isLocked && fstat(opened.get(), &held) == 0 && stat(file.c_str(), &found) == 0 &&
        FileIdentity(held) == FileIdentity(found)) {
      handle_ = ToHandle(opened.Release());
      return;
    }
    if (std::chrono::steady_clock::now() > end) break;
    if (!isLocked) std::this_thread::sleep_for(kPause);
  }
  isBusy_ = true;
}

// SQLite's locks are of another kind. They end when the process closes any descriptor of the file,
// but this thread has none between two calls of the registry.
EditLock::EditLock(HKEY hive) : EditLock(RegistryStoreName(hive)) {}

EditLock::~EditLock() {
  if (handle_ != nullptr) close(ToDescriptor(handle_));
}

}  // namespace orv
