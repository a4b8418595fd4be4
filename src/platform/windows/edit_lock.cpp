#include "platform/edit_lock.h"

#include <windows.h>

#include <algorithm>

#include "orv/platform/registry.h"

namespace orv {
namespace {

constexpr DWORD kPatience = 10000;  // milliseconds

/// The full path of a file without short names; empty if the file does not exist. Does not open the
/// file, because the system cannot replace an open one.
std::wstring FullPath(const std::wstring& path) {
  const auto read = [](auto get) {
    std::wstring text(get(nullptr, 0), L'\0');
    text.resize(
        std::min<std::size_t>(get(text.data(), static_cast<DWORD>(text.size())), text.size()));
    return text;
  };
  const std::wstring full = read([&](wchar_t* text, DWORD size) {
    return GetFullPathNameW(path.c_str(), size, text, nullptr);
  });
  return read(
      [&](wchar_t* text, DWORD size) { return GetLongPathNameW(full.c_str(), text, size); });
}

/// Waits for the mutex of a name. Without one the result is null, as if the file had no lock.
HANDLE WaitForMutex(std::wstring name, bool* isBusy) {
  if (name.empty()) return nullptr;
  // Names of mutexes have no backslashes and a maximum length. Files that share the end of their
  // path also share the mutex, which does no harm.
  constexpr std::size_t kMaxName = 200;
  std::ranges::replace(name, L'\\', L'/');
  CharUpperBuffW(name.data(), static_cast<DWORD>(name.size()));
  name.erase(0, name.size() - std::min(name.size(), kMaxName));
  const HANDLE mutex = CreateMutexExW(nullptr, (L"Local\\orv_edit_" + name).c_str(), 0,
                                      SYNCHRONIZE | MUTEX_MODIFY_STATE);
  if (mutex == nullptr) return nullptr;
  const DWORD waited = WaitForSingleObject(mutex, kPatience);
  // A process that is killed while it owns the mutex leaves the old file or the new one.
  if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED) return mutex;
  *isBusy = waited == WAIT_TIMEOUT;
  CloseHandle(mutex);
  return nullptr;
}

}  // namespace

EditLock::EditLock(const std::wstring& path) : handle_(WaitForMutex(FullPath(path), &isBusy_)) {}

EditLock::EditLock(HKEY hive) : handle_(WaitForMutex(RegistryStoreName(hive), &isBusy_)) {}

EditLock::~EditLock() {
  if (handle_ == nullptr) return;
  ReleaseMutex(handle_);
  CloseHandle(handle_);
}

}  // namespace orv
