#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/clock.h"

/// The location of the log, for the logger that writes it and the program that shows it.

namespace orv {

/// The sub-key of the library's settings that holds the logger's settings.
inline constexpr wchar_t kLogSettings[] = L"Test";
/// The setting that names the folder for log files.
inline constexpr wchar_t kLogPathSetting[] = L"LogPath";

/// The folder for log files: the configured one, else the first of `LogFolders` that exists, which
/// `CreateLogFolder` has created if need be. Empty if none of them is a folder.
std::wstring ChooseLogFolder(const std::wstring& configured);

/// The path of the log file of a day.
std::wstring LogFilePath(const std::wstring& folder, const LocalTime& day);

/// The log file of a day, in the folder that `ChooseLogFolder` selects; null without a folder. The
/// folder is selected once per process; while there is none, every entry tries again. May be called
/// from any thread.
std::shared_ptr<const std::filesystem::path> LogFileOf(const LocalTime& day,
                                                       const std::wstring& configured);

}  // namespace orv
