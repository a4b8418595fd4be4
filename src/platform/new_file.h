#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orv {

/// The path of the file that `NewFile` replaces or creates: on Linux the one to which symbolic
/// links lead.
std::filesystem::path ReplacedPath(const std::wstring& path);

/// A file that replaces another only when it is complete. Until then it is written under a
/// temporary name in the same folder, so a failure leaves the old file unchanged. A process that is
/// killed leaves the temporary file: `NAME.` and six letters or digits on Linux,
/// `NAME.PROCESS-NUMBER.tmp` on Windows, where long names are truncated. Nothing reads it; it can
/// be deleted.
class NewFile {
 public:
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  /// Deletes the temporary file unless it was committed.
  ~NewFile();

  /// Creates the temporary file that will replace `path`.
  bool Open(const std::wstring& path);
  bool IsOpen() const { return handle_ != nullptr; }
  bool Write(std::string_view bytes);
  /// Flushes to disk, so that afterwards only the replacement can fail. After a failure `Commit`
  /// must not be called: the system reports lost data only once.
  bool Flush();
  /// Flushes if necessary and replaces the old file. On Linux its permissions are kept, and so is a
  /// symbolic link, whose target is replaced or created; on Windows the link itself is replaced.
  /// After a failure of this or another function, `FileErrorText` is the reason.
  bool Commit();

 private:
  void* handle_ = nullptr;  ///< the system's file, null when closed
  bool isFlushed_ = false;
  // In the system's form, so that deleting the file needs no memory.
  std::filesystem::path path_;
  std::filesystem::path::string_type temporaryPath_;
};

}  // namespace orv
