#include "platform/new_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "platform/files.h"
#include "platform/posix/descriptor.h"

namespace orv {
namespace {

/// The end of a temporary name. Its letters vary.
constexpr std::string_view kSuffix = ".XXXXXX";

/// Creates a file of an unused name and changes the suffix of `path` accordingly. The process's
/// umask applies to the permissions. Returns a descriptor, or -1.
int CreateUnique(std::string* path, mode_t permissions) {
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  constexpr int kAttempts = 100;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::array<std::uint8_t, kSuffix.size() - 1> random{};
    if (getentropy(random.data(), random.size()) != 0) return -1;
    std::ranges::transform(random, path->end() - random.size(),
                           [&](std::uint8_t number) { return kLetters[number % kLetters.size()]; });
    const int file = open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    if (file >= 0 || errno != EEXIST) return file;
  }
  return -1;
}

/// The file that a path leads to through symbolic links, also if that does not exist yet.
std::filesystem::path TargetOf(std::filesystem::path path, std::error_code* error) {
  constexpr int kMaxLinks = 40;  // as many as the system follows
  for (int link = 0; link < kMaxLinks; ++link) {
    std::filesystem::path target = std::filesystem::canonical(path, *error);
    if (!*error) return target;
    std::error_code ignored;
    if (*error != std::errc::no_such_file_or_directory ||
        !std::filesystem::is_symlink(path, ignored)) {
      break;
    }
    target = std::filesystem::read_symlink(path, *error);
    if (*error) return {};
    path = path.parent_path() / target;
  }
  if (*error == std::errc::no_such_file_or_directory) error->clear();
  return path;
}

}  // namespace

std::filesystem::path ReplacedPath(const std::wstring& path) {
  std::error_code error;
  const std::filesystem::path target = TargetOf(ToPath(path), &error);
  return error ? ToPath(path) : target;
}

NewFile::~NewFile() {
  if (handle_ == nullptr) return;
  close(ToDescriptor(handle_));
  unlink(temporaryPath_.c_str());
}

bool NewFile::Open(const std::wstring& path) {
  // If the path cannot be examined, creating the file fails: a symbolic link would be replaced, and
  // permissions lost.
  std::error_code error;
  path_ = TargetOf(ToPath(path), &error);
  if (error) {
    errno = error.value();
    return false;
  }
  struct stat status {};
  const bool exists = stat(path_.c_str(), &status) == 0;
  if (!exists && errno != ENOENT) return false;
  if (exists && !S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
  }

  // The name may have the maximum length, so it is cut to make room for the suffix.
  std::string name = path_.filename().native().substr(0, NAME_MAX - kSuffix.size());
  temporaryPath_ = (path_.parent_path() / name.append(kSuffix)).native();
  // Until it has the permissions of the old one, only the owner may read it.
  const int file = CreateUnique(&temporaryPath_, exists ? 0600 : 0666);
  if (file < 0) return false;
  handle_ = ToHandle(file);
  isFlushed_ = false;
  return !exists || fchmod(file, status.st_mode & 07777) == 0;
}

bool NewFile::Write(std::string_view bytes) {
  isFlushed_ = false;
  while (!bytes.empty()) {
    const ssize_t written = write(ToDescriptor(handle_), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool NewFile::Flush() {
  isFlushed_ = isFlushed_ || fsync(ToDescriptor(handle_)) == 0;
  return isFlushed_;
}

bool NewFile::Commit() {
  bool isDone = Flush();
  int error = errno;
  close(ToDescriptor(handle_));  // what is flushed cannot be lost by a failure here
  handle_ = nullptr;
  if (isDone) {
    isDone = std::rename(temporaryPath_.c_str(), path_.c_str()) == 0;
    error = errno;
  }
  if (isDone) return true;
  unlink(temporaryPath_.c_str());
  errno = error;
  return false;
}

}  // namespace orv
