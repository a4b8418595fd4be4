#pragma once

#include <cstddef>
#include <string>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// The library's own settings in the registry, below the same key of both hives:
///
///     const std::wstring folder = orv::ReadSetting(L"Test", L"LogPath");

namespace orv {

/// The library's key below either hive.
inline constexpr wchar_t kSettingsKey[] = L"Software\\orv Printer Driver";

/// The maximum size of a setting in bytes.
inline constexpr std::size_t kMaxSettingSize = 1024;

/// Reads a text setting from `subKey` of the library's key: the current user's value, or the
/// machine's if the user has none. Values that are neither `REG_SZ` nor `REG_EXPAND_SZ`, whose
/// variables are replaced, count as missing. A value above the maximum size reads as empty. This
/// one returns a system error code, `ERROR_FILE_NOT_FOUND` if both are missing.
ORV_EXPORT LONG ReadSetting(const std::wstring& subKey, const std::wstring& name,
                            std::wstring* text);

/// The same without an error code: empty if the setting is missing or cannot be read.
ORV_EXPORT std::wstring ReadSetting(const std::wstring& subKey, const std::wstring& name);

}  // namespace orv
