#include "platform/modules.h"

#include <windows.h>

#include <algorithm>
#include <atomic>

#include "platform/unload.h"

namespace orv {

bool GetModulePath(HINSTANCE module, std::wstring* path) {
  wchar_t buffer[kMaxModulePath];
  const DWORD length = GetModuleFileNameW(module, buffer, kMaxModulePath);
  // A truncated path may fill the buffer, with or without a terminating zero.
  path->assign(buffer, std::min(length, kMaxModulePath - 1));
  return length != 0;
}

HINSTANCE OwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&OwnModule), &module);
  return module;
}

HINSTANCE LoadResourceModule(const std::wstring& path) {
  // The system counts the loads, so each one adds to what unloading has to undo.
  static std::atomic<int> s_loads{0};
  static std::atomic<HINSTANCE> s_module{nullptr};
  const HINSTANCE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (module != nullptr) {
    s_module = module;
    ++s_loads;
    AtUnload([] {
      for (; s_loads > 0; --s_loads) FreeLibrary(s_module);
    });
  }
  return module;
}

}  // namespace orv
