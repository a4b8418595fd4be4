#pragma once

#include <string>
#include <string_view>

#include "orv/config/config.h"

/// Reading configuration files, plain or protected, for the commands. The path "-" is standard
/// input, which takes the plain form.

namespace orv::tool {

/// The bytes of a protected file begin so.
inline constexpr std::string_view kProtectedMarker = "CNF";

/// Reads the text of a file; false, with the reason in `*problem`, when there is none.
bool ReadConfigText(const std::wstring& path, std::wstring* text, std::wstring* problem);

/// The text of a file; ends the command when there is none.
std::wstring LoadConfigText(const std::wstring& path);

/// Reads a configuration as the loader does; false, with the reason in `*problem`, when it does not
/// load.
bool ParseConfig(const std::wstring& path, const std::wstring& text, Config* config,
                 std::wstring* problem);

/// What the loader reads from a file; ends the command when it does not load.
Config LoadConfig(const std::wstring& path);

}  // namespace orv::tool
