/// The entry point of the DLL.

#include <windows.h>

#include "platform/unload.h"
#include "platform/windows/dll_threads.h"

namespace __gnu_cxx {
/// Of the C++ runtime: frees the memory that it reserves for exceptions.
void __freeres();
}  // namespace __gnu_cxx

/// The entry point of the C runtime, which runs constructors and destructors.
extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, void* reserved);

extern "C" BOOL WINAPI OrvDllStartup(HINSTANCE module, DWORD reason, void* reserved) {
  // At process exit the system releases everything. The other threads ended wherever they were, so
  // objects may be half changed, and destructors must not run.
  const bool isProcessExit = reason == DLL_PROCESS_DETACH && reserved != nullptr;
  if (isProcessExit) return TRUE;
  if (reason == DLL_PROCESS_DETACH) orv::CallUnloadFunctions();
  const BOOL isStarted = DllMainCRTStartup(module, reason, reserved);
  if (reason == DLL_THREAD_DETACH) orv::ReleaseThreadValues();
  if (reason == DLL_PROCESS_DETACH || (reason == DLL_PROCESS_ATTACH && !isStarted)) {
    __gnu_cxx::__freeres();
    orv::ReleaseAllThreadValues();
  }
  return isStarted;
}
