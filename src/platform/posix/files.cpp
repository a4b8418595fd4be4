#include "platform/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "base/utf8.h"

namespace orv {
namespace {

/// Stores descriptor + 1, so that null means "no file" although descriptor 0 is valid.
void* ToHandle(int descriptor) { return reinterpret_cast<void*>(std::intptr_t{descriptor} + 1); }
int ToDescriptor(void* handle) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

}  // namespace

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
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
  if (file < 0) return false;
  // The size is read while the lock excludes other writers.
  struct stat status {};
  if (flock(file, LOCK_EX | LOCK_NB) != 0 || fstat(file, &status) != 0 ||
      !S_ISREG(status.st_mode)) {
    close(file);
    return false;
  }
  end_ = status.st_size;
  handle_ = ToHandle(file);
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
