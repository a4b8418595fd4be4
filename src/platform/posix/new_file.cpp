#include "platform/new_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/files.h"
#include "platform/posix/descriptor.h"

namespace orv {
namespace {

/// The permissions of a newly created file.
mode_t NewFileMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

NewFile::~NewFile() {
  if (handle_ == nullptr) return;
  close(ToDescriptor(handle_));
  unlink(temporaryPath_.c_str());
}

bool NewFile::Open(const std::wstring& path) {
  // If the path cannot be examined, creating the file fails: a symbolic link would be replaced, and
  // permissions lost.
  std::error_code error;
  path_ = std::filesystem::canonical(ToPath(path), error);
  if (error == std::errc::no_such_file_or_directory) {
    path_ = ToPath(path);
  } else if (error) {
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
  constexpr std::string_view kSuffix = ".XXXXXX";
  std::string name = path_.filename().native().substr(0, NAME_MAX - kSuffix.size());
  temporaryPath_ = (path_.parent_path() / name.append(kSuffix)).native();
  const int file = mkostemp(temporaryPath_.data(), O_CLOEXEC);
  if (file < 0) return false;
  handle_ = ToHandle(file);
  isFlushed_ = false;
  return fchmod(file, exists ? status.st_mode & 07777 : NewFileMode()) == 0;
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
