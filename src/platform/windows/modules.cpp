#include "platform/modules.h"

#include <windows.h>

#include <algorithm>

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
  return LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
}

}  // namespace orv
