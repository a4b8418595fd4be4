#pragma once

#include <optional>
#include <string>

/// The log of a day as a file.

namespace orv::tool {

/// Where the log of a day lies, such as "2024-03-05", or of today; ends the command when the text
/// is no date.
std::wstring DayLogPath(const std::optional<std::string>& date);

/// Reads a log, which a writer holds without sharing for moments; false when it cannot be read.
bool ReadLog(const std::wstring& path, std::string* bytes);

}  // namespace orv::tool
