#pragma once

#include <string>

#include "orv/platform/types.h"

/// Loaded modules: programs and shared libraries. On Linux a module handle is the address at which
/// the dynamic linker loaded it.

namespace orv {

/// The longest module path that is read, in characters.
inline constexpr DWORD kMaxModulePath = 1024;

/// The full path of a module's file; of the process's own program for a null handle. False, with
/// the thread's last error set, when there is none.
bool GetModulePath(HINSTANCE module, std::wstring* path);

/// The module that this library is part of.
HINSTANCE OwnModule();

/// Opens a library of resources read-only: nothing in it is run. Null, with the thread's last error
/// set, when it cannot be opened. The handle is never closed. On Linux the handle is the address at
/// which the file's bytes can be read.
HINSTANCE LoadResourceModule(const std::wstring& path);

}  // namespace orv
