#include "orv/platform/registry.h"

#include <windows.h>

#include <algorithm>

namespace orv {
namespace {

/// The maximum lengths of names in the registry, in characters without the terminator.
constexpr DWORD kMaxKeyName = 255;
constexpr DWORD kMaxValueName = 16383;

bool PrecedesByName(const std::wstring& left, const std::wstring& right) {
  return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                              static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
}

}  // namespace

LONG RegistryKey::Open(HKEY parent, const std::wstring& path, RegistryAccess access) {
  Close();
  const REGSAM rights = access == RegistryAccess::kRead ? KEY_READ : KEY_READ | KEY_WRITE;
  return RegOpenKeyExW(parent, path.c_str(), 0, rights, &key_);
}

LONG RegistryKey::Create(HKEY parent, const std::wstring& path) {
  Close();
  return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                         KEY_READ | KEY_WRITE, nullptr, &key_, nullptr);
}

void RegistryKey::Close() {
  if (key_ != nullptr) RegCloseKey(key_);
  key_ = nullptr;
}

LONG GetRegistryValue(HKEY key, const std::wstring& name, RegistryValue* value) {
  DWORD size = 0;
  LONG result = RegQueryValueExW(key, name.c_str(), nullptr, &value->type, nullptr, &size);
  // Another process may enlarge the value between the two calls.
  while (result == ERROR_SUCCESS) {
    value->data.resize(size);
    BYTE none = 0;
    BYTE* const data = size != 0 ? value->data.data() : &none;
    result = RegQueryValueExW(key, name.c_str(), nullptr, &value->type, data, &size);
    if (result == ERROR_SUCCESS) {
      value->data.resize(size);
      return result;
    }
    if (result == ERROR_MORE_DATA) result = ERROR_SUCCESS;
  }
  *value = {};
  return result;
}

LONG SetRegistryValue(HKEY key, const std::wstring& name, const RegistryValue& value) {
  return RegSetValueExW(key, name.c_str(), 0, value.type, value.data.data(),
                        static_cast<DWORD>(value.data.size()));
}

LONG DeleteRegistryValue(HKEY key, const std::wstring& name) {
  return RegDeleteValueW(key, name.c_str());
}

LONG DeleteRegistryTree(HKEY parent, const std::wstring& path) {
  return RegDeleteTreeW(parent, path.c_str());
}

RegistrySnapshot::RegistrySnapshot() = default;
RegistrySnapshot::~RegistrySnapshot() = default;

LONG ListRegistryKeys(HKEY key, std::vector<std::wstring>* names) {
  names->clear();
  wchar_t name[kMaxKeyName + 1];
  for (DWORD index = 0;; ++index) {
    DWORD length = kMaxKeyName + 1;
    const LONG result =
        RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
    if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (result != ERROR_SUCCESS) return result;
    names->emplace_back(name, length);
  }
}

LONG ListRegistryValues(HKEY key, std::vector<NamedRegistryValue>* values) {
  values->clear();
  std::wstring name(kMaxValueName + 1, L'\0');
  std::vector<BYTE> data(256);  // enough for most values; grows if needed
  for (DWORD index = 0;;) {
    DWORD length = kMaxValueName + 1;
    DWORD type = 0;
    auto size = static_cast<DWORD>(data.size());
    const LONG result =
        RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &size);
    if (result == ERROR_NO_MORE_ITEMS) break;
    if (result == ERROR_MORE_DATA) {
      data.resize(std::max<std::size_t>(size, data.size() * 2));
      continue;
    }
    if (result != ERROR_SUCCESS) return result;
    values->push_back({name.substr(0, length), {type, {data.data(), data.data() + size}}});
    ++index;
  }
  // The system orders sub-keys by name, and values by creation.
  std::ranges::sort(*values, PrecedesByName, &NamedRegistryValue::name);
  return ERROR_SUCCESS;
}

}  // namespace orv
