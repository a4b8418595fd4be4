#include "orv/platform/registry.h"

namespace orv {

RegistryValue RegistryValue::FromText(const std::wstring& text) {
  RegistryValue value{REG_SZ, {}};
  value.data.reserve((text.size() + 1) * 2);
  for (const wchar_t unit : text) {
    value.data.push_back(static_cast<BYTE>(unit));
    value.data.push_back(static_cast<BYTE>(unit >> 8));
  }
  value.data.insert(value.data.end(), 2, 0);
  return value;
}

RegistryValue RegistryValue::FromNumber(DWORD number) {
  return {REG_DWORD,
          {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8),
           static_cast<BYTE>(number >> 16), static_cast<BYTE>(number >> 24)}};
}

std::wstring RegistryValue::Text() const {
  std::wstring text;
  if (type != REG_SZ) return text;
  for (std::size_t at = 0; at + 1 < data.size(); at += 2) {
    const auto unit = static_cast<wchar_t>(data[at] | data[at + 1] << 8);
    if (unit == L'\0') break;
    text.push_back(unit);
  }
  return text;
}

bool RegistryValue::Number(DWORD* number) const {
  if (type != REG_DWORD || data.size() != 4) return false;
  *number = data[0] | DWORD{data[1]} << 8 | DWORD{data[2]} << 16 | DWORD{data[3]} << 24;
  return true;
}

}  // namespace orv
