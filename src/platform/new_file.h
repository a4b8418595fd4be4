#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orv {

/// A file that takes the place of another only when it is complete. Until then it has a name of its
/// own beside it, and whatever goes wrong leaves the old file as it was. A process that is killed
/// meanwhile leaves that other file behind: `NAME.` and six letters or digits on Linux,
/// `NAME.PROCESS-NUMBER.tmp` on Windows, with the end of a long name cut off. Nothing reads it, and
/// it may be deleted.
class NewFile {
 public:
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  /// Drops what was written unless it was committed.
  ~NewFile();

  /// Begins to write what will be the file `path`.
  bool Open(const std::wstring& path);
  bool IsOpen() const { return handle_ != nullptr; }
  bool Write(std::string_view bytes);
  /// Brings what was written to the disk and puts it in the place of the old file, whose access
  /// rights it takes over on Linux; a symbolic link there stays and its target is replaced.
  bool Commit();

 private:
  void* handle_ = nullptr;  ///< the system's file, null when closed
  // As the system has them: dropping the file must not need memory.
  std::filesystem::path path_;
  std::filesystem::path::string_type temporaryPath_;
};

}  // namespace orv
