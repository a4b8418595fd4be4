#include "tests/library_loader.h"

#include <windows.h>

#include <string>

namespace orv::test {

void* LoadSharedLibrary(const char* path) { return LoadLibraryA(path); }

void* FindSymbol(void* library, const char* name) {
  if (library == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void UnloadSharedLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

void JoinScratchSettings() {
  wchar_t hives[128];
  const DWORD length = GetEnvironmentVariableW(L"ORV_TEST_HIVES", hives, 128);
  if (length == 0) return;
  // Both are opened through the real hive, which the first replacement hides.
  HKEY user = nullptr;
  HKEY machine = nullptr;
  const std::wstring path(hives, length);
  RegOpenKeyExW(HKEY_CURRENT_USER, (path + L"\\user").c_str(), 0, KEY_ALL_ACCESS, &user);
  RegOpenKeyExW(HKEY_CURRENT_USER, (path + L"\\machine").c_str(), 0, KEY_ALL_ACCESS, &machine);
  RegOverridePredefKey(HKEY_CURRENT_USER, user);
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine);
}

}  // namespace orv::test
