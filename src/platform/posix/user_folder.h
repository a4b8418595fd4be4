#pragma once

#include <string>

namespace orv {

/// One of the user's folders by the XDG base directory rules: the environment variable, or a folder
/// in the user's home folder. `UserFolder("XDG_DATA_HOME", ".local/share")` is for data. Empty if
/// the user has no home folder.
std::string UserFolder(const char* variable, const char* inHome);

}  // namespace orv
