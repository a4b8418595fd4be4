#include "platform/registry_store.h"

#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>

#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "platform/files.h"
#include "platform/posix/hive.h"

namespace orv {
namespace {

struct DatabaseCloser {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};

/// For how long a locked store is waited for. Writers hold it for moments only.
constexpr std::chrono::milliseconds kMaxWait{500};

/// Runs SQLite's check of a file. Opened for reading alone, the file is not recovered.
int Verify(const std::string& path) {
  sqlite3* opened = nullptr;
  const int error = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
  const std::unique_ptr<sqlite3, DatabaseCloser> database(opened);
  if (error != SQLITE_OK) return error;
  sqlite3_extended_result_codes(opened, 1);
  sqlite3_busy_timeout(opened, static_cast<int>(kMaxWait.count()));
  bool isSound = true;
  const auto note = [](void* sound, int, char** texts, char**) {
    *static_cast<bool*>(sound) = texts[0] != nullptr && std::string_view(texts[0]) == "ok";
    return 0;
  };
  const int result = sqlite3_exec(opened, "PRAGMA quick_check(1)", note, &isSound, nullptr);
  return result == SQLITE_OK && !isSound ? SQLITE_CORRUPT : result;
}

/// Whether a file may be written, or, if it does not exist, created: then its first folder that
/// exists decides.
bool CanWrite(std::filesystem::path path) {
  // The journal is created in the file's folder.
  if (access(path.c_str(), F_OK) == 0 && access(path.c_str(), W_OK) != 0) return false;
  do {
    path = path.parent_path();
  } while (access(path.c_str(), F_OK) != 0 && errno == ENOENT && path.has_relative_path());
  return access(path.c_str(), W_OK | X_OK) == 0;
}

/// Whether a path is a symbolic link to something that does not exist.
bool LeadsNowhere(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::is_symlink(path, ignored) && access(path.c_str(), F_OK) != 0 &&
         (errno == ENOENT || errno == ENOTDIR);
}

/// The link because of which a file cannot be created; empty without one. A writer creates the
/// folders of the path, but not those that a link leads to.
std::filesystem::path BrokenLink(const std::filesystem::path& path) {
  std::error_code ignored;
  std::filesystem::path target = path;
  while (LeadsNowhere(target)) {
    target = target.parent_path() / std::filesystem::read_symlink(target, ignored);
  }
  if (target != path && access(target.parent_path().c_str(), F_OK) != 0) return path;
  std::filesystem::path folder = path.parent_path();
  while (folder.has_relative_path() && !LeadsNowhere(folder)) folder = folder.parent_path();
  return folder.has_relative_path() ? folder : std::filesystem::path();
}

std::wstring UserName(uid_t user) {
  std::array<char, 4096> buffer;
  passwd entry{};
  passwd* found = nullptr;
  const bool isKnown =
      getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
  return isKnown ? Utf8ToWide(found->pw_name) : std::to_wstring(user);
}

}  // namespace

RegistryStoreFacts ExamineRegistryStore(HKEY hive) {
  RegistryStoreFacts facts;
  // The registry's own check: the kind of the file, and its tables.
  facts.error = RegistryKey().Open(hive, L"none", RegistryAccess::kRead);
  const std::string path = ToPath(RegistryStoreName(hive)).native();
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    facts.owner = UserName(status.st_uid);
    facts.isFolder = S_ISDIR(status.st_mode);
    if (facts.error == ERROR_FILE_NOT_FOUND) facts.error = ERROR_SUCCESS;
    const int verified = facts.error != ERROR_BUSY ? Verify(path) : SQLITE_BUSY;
    facts.isInterrupted = verified == SQLITE_READONLY_ROLLBACK;
    if (facts.error == ERROR_SUCCESS) facts.error = ErrorOf(verified);
  } else {
    facts.brokenLink = FromPath(BrokenLink(path));
  }
  facts.isWritable = path.starts_with('/') && CanWrite(path);
  return facts;
}

void KeepRegistryUnchanged() {
  Hive::s_mayChange = false;
  Request::s_maxWait = kMaxWait;
}

}  // namespace orv
