#include "orv/settings/settings.h"

#include <utility>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "platform/processes.h"

namespace orv {

LONG ReadSetting(const std::wstring& subKey, const std::wstring& name, std::wstring* text) {
  const RegistrySnapshot request;
  text->clear();
  std::wstring path = kSettingsKey;
  if (!subKey.empty()) path += L"\\" + subKey;
  for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    RegistryKey key;
    RegistryValue value;
    LONG result = key.Open(hive, path, RegistryAccess::kRead);
    if (result == ERROR_SUCCESS) result = GetRegistryValue(key.get(), name, &value);
    if (result == ERROR_FILE_NOT_FOUND) continue;
    if (result != ERROR_SUCCESS) return result;
    if (value.type != REG_SZ && value.type != REG_EXPAND_SZ) continue;
    if (value.data.size() > kMaxSettingSize) return ERROR_SUCCESS;
    const bool hasVariables = std::exchange(value.type, REG_SZ) == REG_EXPAND_SZ;
    *text = hasVariables ? ExpandVariables(value.Text()) : value.Text();
    return ERROR_SUCCESS;
  }
  return ERROR_FILE_NOT_FOUND;
}

std::wstring ReadSetting(const std::wstring& subKey, const std::wstring& name) {
  std::wstring text;
  ReadSetting(subKey, name, &text);
  return text;
}

}  // namespace orv
