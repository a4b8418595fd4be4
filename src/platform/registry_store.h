#pragma once

#include <string>

#include "orv/platform/types.h"

/// The settings stores as a program that looks for faults sees them. Linked into programs, not into
/// the library.

namespace orv {

struct RegistryStoreFacts {
  LONG error = ERROR_SUCCESS;  ///< of reading all of it; `ERROR_FILE_NOT_FOUND` if it has no file
  bool isWritable = true;      ///< by this user; without a file, whether it can be created
  bool isInterrupted = false;  ///< a writer was killed, and the next reader must undo its write
  bool isFolder = false;       ///< a folder is in the place of the file
  std::wstring owner;          ///< the user who owns the file; empty without one
  std::wstring brokenLink;     ///< a link to nothing that keeps the file from being created
};

/// Reads and verifies a whole store without changing it. On Windows it only opens the hive.
RegistryStoreFacts ExamineRegistryStore(HKEY hive);

/// From now on this process opens stores only for reading: it creates nothing, and an interrupted
/// write is an error instead of being undone. It waits for locked stores for at most half a second.
/// On Windows it has no effect.
void KeepRegistryUnchanged();

}  // namespace orv
