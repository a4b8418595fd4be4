#include "orv/settings/settings.h"

#include <utility>

#include "orv/platform/registry.h"
#include "platform/processes.h"

namespace orv {

std::wstring ReadSetting(const std::wstring& subKey, const std::wstring& name) {
  constexpr std::size_t kMaxBytes = 1024;
  std::wstring path = kSettingsKey;
  if (!subKey.empty()) path += L"\\" + subKey;
  for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    RegistryKey key;
    RegistryValue value;
    if (key.Open(hive, path, RegistryAccess::kRead) != ERROR_SUCCESS ||
        GetRegistryValue(key.get(), name, &value) != ERROR_SUCCESS ||
        (value.type != REG_SZ && value.type != REG_EXPAND_SZ)) {
      continue;
    }
    if (value.data.size() > kMaxBytes) return {};
    const bool hasVariables = std::exchange(value.type, REG_SZ) == REG_EXPAND_SZ;
    return hasVariables ? ExpandVariables(value.Text()) : value.Text();
  }
  return {};
}

}  // namespace orv
