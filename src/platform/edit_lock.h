#pragma once

#include <string>

#include "orv/platform/types.h"

namespace orv {

/// Lets one process at a time read, change and write a file or the user's or machine's settings:
/// without it, the later of two writers undoes the change of the other. Only processes that use
/// this class wait for each other, on Windows those of one session. The system releases the lock of
/// a process that ends. For programs; the library does not contain it.
class EditLock {
 public:
  /// Waits for at most ten seconds. What is not a regular file, or is missing, is not locked.
  explicit EditLock(const std::wstring& path);
  /// The same for the store of a hive.
  explicit EditLock(HKEY hive);
  EditLock(const EditLock&) = delete;
  EditLock& operator=(const EditLock&) = delete;
  ~EditLock();

  /// Whether another process held the lock until the time was over.
  bool IsBusy() const { return isBusy_; }

 private:
  bool isBusy_ = false;
  void* handle_ = nullptr;  ///< the system's file or mutex, null without one
};

}  // namespace orv
