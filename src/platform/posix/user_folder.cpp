#include "platform/posix/user_folder.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace orv {
namespace {

/// An absolute path in an environment variable; empty otherwise. The rules say that a relative path
/// must be ignored.
std::string AbsolutePathIn(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value == '/' ? value : "";
}

}  // namespace

std::string UserFolder(const char* variable, const char* inHome) {
  if (std::string folder = AbsolutePathIn(variable); !folder.empty()) return folder;
  std::string home = AbsolutePathIn("HOME");
  if (home.empty()) {
    std::array<char, 4096> buffer;
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
        found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
      return {};
    }
    home = found->pw_dir;
  }
  return home + '/' + inHome;
}

}  // namespace orv
