#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orv/config/config.h"

/// Reads configuration files, plain or protected. The path "-" is standard input, which must be in
/// plain form.

namespace orv::tool {

/// Reads the text of a file; false, with the reason in `*problem`, on failure.
bool ReadConfigText(const std::wstring& path, std::wstring* text, std::wstring* problem);

/// Reads the text of a file; ends the command on failure.
std::wstring LoadConfigText(const std::wstring& path);

/// Says that a file is not written because the loader would refuse its size.
std::wstring TooLargeToLoad(const std::wstring& name);

/// Whether a file is protected; ends the command on failure.
bool IsProtectedFile(const std::wstring& path);

/// `ProtectBytes` or `UnprotectBytes`.
using ConvertFunction = std::optional<std::string>(std::string_view);
/// Converts a file's bytes to the protected or plain form; ends the command on failure, and if the
/// protected form would be too large to be loaded.
std::string Converted(ConvertFunction* convert, const std::string& bytes, const std::wstring& name);

/// Parses a configuration with the loader; false, with the reason in `*problem`, when it does not
/// load.
bool ParseConfig(const std::wstring& path, const std::wstring& text, Config* config,
                 std::wstring* problem);

/// Loads a configuration file; ends the command when it does not load.
Config LoadConfig(const std::wstring& path);

}  // namespace orv::tool
