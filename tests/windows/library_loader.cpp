#include "tests/library_loader.h"

#include <windows.h>

#include <string>
#include <utility>

namespace orv::test {

void* LoadSharedLibrary(const char* path) { return LoadLibraryA(path); }

void* FindSymbol(void* library, const char* name) {
  if (library == nullptr) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void JoinScratchSettings() {
  wchar_t hives[128];
  const DWORD length = GetEnvironmentVariableW(L"ORV_TEST_HIVES", hives, 128);
  if (length == 0) return;
  for (const auto& [root, name] :
       {std::pair(HKEY_CURRENT_USER, L"\\user"), std::pair(HKEY_LOCAL_MACHINE, L"\\machine")}) {
    // Opened through the real hive, which the first replacement takes away.
    static HKEY real = nullptr;
    if (real == nullptr) RegOpenKeyExW(HKEY_CURRENT_USER, nullptr, 0, KEY_READ, &real);
    HKEY key = nullptr;
    if (RegOpenKeyExW(real, (std::wstring(hives, length) + name).c_str(), 0, KEY_ALL_ACCESS,
                      &key) == ERROR_SUCCESS) {
      RegOverridePredefKey(root, key);
      RegCloseKey(key);
    }
  }
}

}  // namespace orv::test
