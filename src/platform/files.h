#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

/// Files and folders beyond what `std::filesystem` offers. Wide names become paths here and nowhere
/// else, because the standard library of a system whose names are bytes does not take UTF-16.

namespace orv {

/// The separator that the system writes between a folder and a name.
extern const wchar_t kPathSeparator;

/// The path that a wide name stands for.
std::filesystem::path ToPath(const std::wstring& name);
/// The wide name of a path; bytes that are no UTF-8 become U+FFFD.
std::wstring FromPath(const std::filesystem::path& path);

/// The part of a path behind its last separator; the whole path when there is none.
std::wstring FileNameOf(const std::wstring& path);

/// The folders, in order of preference, for files that may vanish: the system's own, then the
/// user's. Either may be no existing folder. Without a trailing separator on Linux; on Windows as
/// the system gives them.
std::wstring SystemTempFolder();
std::wstring UserTempFolder();

/// A file held without sharing: while it is open, nobody else can open it in this way, and opening
/// fails at once, without waiting, while somebody else holds it.
class ExclusiveFile {
 public:
  ExclusiveFile() = default;
  ExclusiveFile(const ExclusiveFile&) = delete;
  ExclusiveFile& operator=(const ExclusiveFile&) = delete;
  ~ExclusiveFile() { Close(); }

  /// Opens for reading and writing, creating the file if missing; existing content stays.
  bool Open(const std::filesystem::path& path);
  bool Open(const std::wstring& name) = delete;  // `ToPath` makes a path of a name
  /// Writes behind what was written before, from the start on, in one call; false unless every byte
  /// was written.
  bool Write(const void* data, std::size_t size);
  /// Writes behind the end in one call. False, and the file as it was, unless every byte was
  /// written. An open file is either written or appended to.
  bool Append(const void* data, std::size_t size);
  void Close();

 private:
  void* handle_ = nullptr;  ///< the system's file, null when closed
  std::int64_t end_ = 0;    ///< where `Append` writes, on systems that must be told
};

}  // namespace orv
