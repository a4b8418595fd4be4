#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/clock.h"

/// Where the log lies: for the logger that writes it and for the program that shows it.

namespace orv {

/// The sub-key of the library's settings that holds the logger's.
inline constexpr wchar_t kLogSettings[] = L"Test";
/// The setting that names the wanted folder.
inline constexpr wchar_t kLogPathSetting[] = L"LogPath";

/// The folder for log files: the wanted one, else the system's folder for files that may vanish,
/// else the user's; empty when none of them is a folder.
std::wstring ChooseLogFolder(const std::wstring& wanted);

/// The path of a day's log in a folder.
std::wstring LogFilePath(const std::wstring& folder, const LocalTime& day);

/// The log of a day in the folder chosen of `wanted`; null when there is no folder. The folder is
/// chosen once, kept for the life of the process, and looked for again with every entry as long as
/// there is none. May be called from several threads.
std::shared_ptr<const std::filesystem::path> LogFileOf(const LocalTime& day,
                                                       const std::wstring& wanted);

}  // namespace orv
