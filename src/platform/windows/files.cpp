#include "platform/files.h"

#include <windows.h>

#include "base/utf8.h"
#include "platform/error_text.h"

namespace orv {
namespace {

/// Others may do anything with the file meanwhile.
constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

}  // namespace

const wchar_t kPathSeparator = L'\\';

std::filesystem::path ToPath(const std::wstring& name) { return name; }

std::wstring FromPath(const std::filesystem::path& path) { return path.wstring(); }

std::wstring FromFileName(std::string_view name) { return Utf8ToWide(name); }

std::wstring FileErrorText() {
  return FileErrorText(std::error_code(static_cast<int>(GetLastError()), std::system_category()));
}

std::wstring FileErrorText(const std::error_code& error) {
  // Some functions report numbers of the C library.
  if (error.category() == std::generic_category()) return Utf8ToWide(error.message());
  switch (error.value()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return L"no such file or folder";
    case kErrorIsFolder:
      return L"it is a folder";
    case ERROR_ACCESS_DENIED:
      return L"access is denied";
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return L"the disk is full";
    default:
      return DescribeError(error.value());
  }
}

FileVersion VersionOf(const std::filesystem::path& path) {
  const HANDLE file = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShared, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return {};
  const auto joined = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
  BY_HANDLE_FILE_INFORMATION facts{};
  FILE_BASIC_INFO times{};
  const bool isKnown = GetFileInformationByHandle(file, &facts) &&
                       GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof(times));
  CloseHandle(file);
  if (!isKnown) return {};
  return {facts.dwVolumeSerialNumber, joined(facts.nFileIndexHigh, facts.nFileIndexLow),
          joined(facts.nFileSizeHigh, facts.nFileSizeLow),
          static_cast<std::uint64_t>(times.LastWriteTime.QuadPart),
          static_cast<std::uint64_t>(times.ChangeTime.QuadPart)};
}

std::vector<std::wstring> LogFolders() {
  std::vector<std::wstring> folders;
  wchar_t folder[1024];
  if (const UINT length = GetWindowsDirectoryW(folder, 260); length > 0 && length < 260) {
    folders.push_back(std::wstring(folder, length) + L"\\temp");
  }
  if (const DWORD length = GetTempPathW(1024, folder); length > 0 && length < 1024) {
    folders.emplace_back(folder, length);
  }
  return folders;
}

std::wstring MissingLogFolder() { return {}; }

void CreateLogFolder() {}

bool IsDevice(const std::filesystem::path& path) {
  // The full path of a reserved name such as NUL is \\.\NUL. Some versions also reserve aux.png,
  // but that is meant as a file, and must not go to a port unnoticed.
  if (path.has_extension()) return false;
  wchar_t full[16];
  const DWORD length = GetFullPathNameW(path.c_str(), 16, full, nullptr);
  if (length == 0 || length >= 16) return false;
  // After that prefix, a path with more separators leads to a file.
  const std::wstring_view name(full, length);
  return name.starts_with(L"\\\\.\\") && name.find(L'\\', 4) == name.npos;
}

bool CanCreateFiles(const std::wstring& folder) {
  // The system checks the access when the folder is opened for it.
  const HANDLE opened = CreateFileW(folder.c_str(), FILE_ADD_FILE, kShared, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return false;
  CloseHandle(opened);
  return true;
}

bool ExclusiveFile::Open(const std::filesystem::path& path, Trust) {
  Close();
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  handle_ = file;
  return true;
}

bool ExclusiveFile::Write(const void* data, std::size_t size) {
  if (handle_ == nullptr || size > MAXDWORD) return false;
  DWORD written = 0;
  return WriteFile(handle_, data, static_cast<DWORD>(size), &written, nullptr) && written == size;
}

bool ExclusiveFile::Append(const void* data, std::size_t size) {
  LARGE_INTEGER end{};
  if (handle_ == nullptr || !SetFilePointerEx(handle_, {}, &end, FILE_END)) return false;
  if (Write(data, size)) return true;
  // A full disk accepts a part of the data. If the part cannot be cut off, it remains.
  if (SetFilePointerEx(handle_, end, nullptr, FILE_BEGIN)) SetEndOfFile(handle_);
  return false;
}

void ExclusiveFile::Close() {
  if (handle_ != nullptr) CloseHandle(handle_);
  handle_ = nullptr;
}

}  // namespace orv
