#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace orv {

/// An owned file descriptor; negative without a file.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  int get() const { return descriptor_; }
  /// Gives up ownership.
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

/// Tells files apart. Two paths or descriptors with equal identities lead to one file.
struct FileIdentity {
  FileIdentity() = default;
  explicit FileIdentity(const struct stat& file) : device(file.st_dev), inode(file.st_ino) {}
  bool operator==(const FileIdentity&) const = default;

  dev_t device = 0;
  ino_t inode = 0;
};

/// Stores descriptor + 1, so that null means "no file" although descriptor 0 is valid.
inline void* ToHandle(int descriptor) {
  return reinterpret_cast<void*>(std::intptr_t{descriptor} + 1);
}
inline int ToDescriptor(void* handle) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1);
}

}  // namespace orv
