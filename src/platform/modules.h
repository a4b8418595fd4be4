#pragma once

#include <string>

#include "orv/platform/types.h"

/// Loaded modules: programs and shared libraries. On Linux a module handle is the module's load
/// address.

namespace orv {

/// Buffer size for module paths, in characters including the terminator.
inline constexpr DWORD kMaxModulePath = 1024;

/// The full path of a module's file, or of the process's executable for a null handle; a path that
/// does not fit the buffer is cut to `kMaxModulePath` - 1 characters. Returns false and sets the
/// thread's last error if there is none.
bool GetModulePath(HINSTANCE module, std::wstring* path);

/// The module that contains this library.
HINSTANCE OwnModule();

/// Maps a resource library read-only; none of its code runs. Returns null and sets the thread's
/// last error if it cannot be opened. The handle is closed when the library is unloaded. On Linux
/// it is the address of the file's bytes, and is never closed.
HINSTANCE LoadResourceModule(const std::wstring& path);

}  // namespace orv
