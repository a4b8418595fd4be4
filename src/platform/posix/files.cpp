#include "platform/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/utf8.h"
#include "platform/posix/descriptor.h"

namespace orv {
const wchar_t kPathSeparator = L'/';

std::filesystem::path ToPath(const std::wstring& name) { return WideToUtf8(name); }

std::wstring FromPath(const std::filesystem::path& path) { return Utf8ToWide(path.native()); }

std::wstring SystemTempFolder() { return L"/var/tmp"; }

std::wstring UserTempFolder() {
  const char* folder = std::getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? Utf8ToWide(folder) : L"/tmp";
}

bool ExclusiveFile::Open(const std::filesystem::path& path) {
  Close();
  // Pipes and devices are refused: opening one could block, or would consume what is written.
  FileDescriptor file(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666));
  // The size is read while the lock excludes other writers.
  struct stat status {};
  if (file.get() < 0 || flock(file.get(), LOCK_EX | LOCK_NB) != 0 ||
      fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return false;
  }
  end_ = status.st_size;
  handle_ = ToHandle(file.Release());
  return true;
}

bool ExclusiveFile::Write(const void* data, std::size_t size) {
  if (handle_ == nullptr) return false;
  ssize_t written;
  do {
    written = write(ToDescriptor(handle_), data, size);
  } while (written < 0 && errno == EINTR);
  return written >= 0 && static_cast<std::size_t>(written) == size;
}

bool ExclusiveFile::Append(const void* data, std::size_t size) {
  if (handle_ == nullptr) return false;
  const int file = ToDescriptor(handle_);
  ssize_t written;
  do {
    written = pwrite(file, data, size, end_);
  } while (written < 0 && errno == EINTR);
  if (written >= 0 && static_cast<std::size_t>(written) == size) {
    end_ += written;
    return true;
  }
  // A full disk accepts a part of the data. If the part cannot be cut off, it remains.
  [[maybe_unused]] const int cut = ftruncate(file, end_);
  return false;
}

void ExclusiveFile::Close() {
  if (handle_ != nullptr) close(ToDescriptor(handle_));
  handle_ = nullptr;
}

}  // namespace orv
