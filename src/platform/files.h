#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

/// Files and folders, beyond what `std::filesystem` offers. Wide names are converted to paths only
/// here: where file names are bytes, the standard library does not accept UTF-16.

namespace orv {

/// The system's separator between a folder and a name.
extern const wchar_t kPathSeparator;

/// Converts a wide name to a path.
std::filesystem::path ToPath(const std::wstring& name);
/// Converts a path to a wide name; bytes that are not UTF-8 become U+FFFD.
std::wstring FromPath(const std::filesystem::path& path);

/// The part of a path after its last separator; the whole path if there is none.
std::wstring FileNameOf(const std::wstring& path);

/// The system's and the user's folder for temporary files, in order of preference. Neither has to
/// exist. Without a trailing separator on Linux; on Windows as the system returns them.
std::wstring SystemTempFolder();
std::wstring UserTempFolder();

/// A file opened without sharing: no one else can open it this way meanwhile. Opening does not
/// wait; it fails if the file is already held.
class ExclusiveFile {
 public:
  ExclusiveFile() = default;
  ExclusiveFile(const ExclusiveFile&) = delete;
  ExclusiveFile& operator=(const ExclusiveFile&) = delete;
  ~ExclusiveFile() { Close(); }

  /// Opens for reading and writing, creating the file if missing; existing content is kept.
  bool Open(const std::filesystem::path& path);
  bool Open(const std::wstring& name) = delete;  // convert with `ToPath`
  /// Writes after the previous `Write`, starting at offset 0, in one system call. Returns false
  /// unless every byte was written.
  bool Write(const void* data, std::size_t size);
  /// Appends at the end of the file in one system call. Unless every byte was written, it returns
  /// false and restores the old size. Do not mix `Append` and `Write` on one open file.
  bool Append(const void* data, std::size_t size);
  void Close();

 private:
  void* handle_ = nullptr;  ///< the system's file, null when closed
  std::int64_t end_ = 0;    ///< where `Append` writes, where the system needs an offset
};

}  // namespace orv
