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
  // Each load may map the file again, so every handle is closed. There are as many as threads that
  // ask for the first time at once.
  static std::atomic<HINSTANCE> s_loaded[8];
  const HINSTANCE module = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  if (module == nullptr) return nullptr;
  for (std::atomic<HINSTANCE>& place : s_loaded) {
    HINSTANCE none = nullptr;
    if (place.compare_exchange_strong(none, module)) break;
  }
  AtUnload([] {
    for (std::atomic<HINSTANCE>& place : s_loaded) {
      if (const HINSTANCE loaded = place.exchange(nullptr)) FreeLibrary(loaded);
    }
  });
  return module;
}

}  // namespace orv
