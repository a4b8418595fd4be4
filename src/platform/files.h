#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// Files and folders, beyond what `std::filesystem` offers. Wide names are converted to paths only
/// here: where file names are bytes, the standard library does not accept UTF-16.

namespace orv {

/// The system's separator between a folder and a name.
extern const wchar_t kPathSeparator;

/// Converts a wide name to a path. The opposite of `FromPath` and `FromFileName`.
std::filesystem::path ToPath(const std::wstring& name);
/// Converts a path to a wide name.
std::wstring FromPath(const std::filesystem::path& path);
/// Converts the UTF-8 of a name to wide text. On Linux, where names can be any bytes, a byte 0x80
/// to 0xFF that is not UTF-8 becomes U+DC80 to U+DCFF. On Windows what is not UTF-8 becomes U+FFFD.
std::wstring FromFileName(std::string_view name);

/// The part of a path after its last separator; the whole path if there is none.
std::wstring FileNameOf(const std::wstring& path);

/// Describes the failure of this thread's last file operation, such as "access is denied". Call it
/// right after the failure: other calls change the system's error code.
std::wstring FileErrorText();
/// Describes the failure of a function of `std::filesystem` in the same way.
std::wstring FileErrorText(const std::error_code& error);

/// What changes when a file is written or replaced, also if its time of modification is set back:
/// the numbers that identify it, its size, and its times of modification and of change. Two writes
/// within one tick of the clock can leave the same. All zeros if the file cannot be examined.
using FileVersion = std::array<std::uint64_t, 5>;
FileVersion VersionOf(const std::filesystem::path& path);

/// The folders for log files, in order of preference. Not all of them have to exist. On Windows the
/// system's and the user's folder for temporary files, as the system returns them. On Linux
/// `/var/log/orv`, `orv` in the user's state folder, and the folder for temporary files.
std::vector<std::wstring> LogFolders();
/// The second of them if it is to be created because the first is missing, too; otherwise empty.
/// Always empty on Windows.
std::wstring MissingLogFolder();
/// Creates that folder, for its user alone.
void CreateLogFolder();

/// Whether a path leads to a pipe or a device, which is written but cannot be replaced.
bool IsDevice(const std::filesystem::path& path);

/// Whether this user may create files in a folder. Creates none.
bool CanCreateFiles(const std::wstring& folder);

/// A file opened without sharing: no one else can open it this way meanwhile. Opening does not
/// wait; it fails if the file is already held.
class ExclusiveFile {
 public:
  ExclusiveFile() = default;
  ExclusiveFile(const ExclusiveFile&) = delete;
  ExclusiveFile& operator=(const ExclusiveFile&) = delete;
  ~ExclusiveFile() { Close(); }

  /// Opens for reading and writing, creating the file if missing; existing content is kept.
  bool Open(const std::filesystem::path& path) { return Open(path, kAny); }
  bool Open(const std::wstring& name) = delete;  // convert with `ToPath`
  /// Like `Open`, but on Linux refuses what others can prepare in a folder that everyone may write:
  /// a symbolic link, and another user's file that everyone may write.
  bool OpenTrusted(const std::filesystem::path& path) { return Open(path, kTrusted); }
  /// Writes after the previous `Write`, starting at offset 0, in one system call. Returns false
  /// unless every byte was written.
  bool Write(const void* data, std::size_t size);
  /// Appends at the end of the file in one system call. Unless every byte was written, it returns
  /// false and restores the old size. Do not mix `Append` and `Write` on one open file.
  bool Append(const void* data, std::size_t size);
  void Close();

 private:
  enum Trust { kAny, kTrusted };
  bool Open(const std::filesystem::path& path, Trust trust);

  void* handle_ = nullptr;  ///< the system's file, null when closed
  std::int64_t end_ = 0;    ///< where `Append` writes, where the system needs an offset
};

}  // namespace orv
