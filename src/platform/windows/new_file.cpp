#include "platform/new_file.h"

#include <windows.h>

#include <algorithm>

#include "platform/error_text.h"
#include "platform/files.h"

namespace orv {

std::filesystem::path ReplacedPath(const std::wstring& path) { return ToPath(path); }

NewFile::~NewFile() {
  if (handle_ == nullptr) return;
  CloseHandle(handle_);
  DeleteFileW(temporaryPath_.c_str());
}

bool NewFile::Open(const std::wstring& path) {
  path_ = ToPath(path);
  // The system would only say that access is denied, after everything has been written.
  const DWORD attributes = GetFileAttributesW(path_.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    SetLastError(kErrorIsFolder);
    return false;
  }
  // A unique name in the same folder; a long name is cut to make room for the suffix.
  constexpr std::size_t kMaxName = 200;
  const std::wstring name = path_.filename().native().substr(0, kMaxName);
  for (unsigned attempt = 0; attempt < 100; ++attempt) {
    const std::wstring own = name + L"." + std::to_wstring(GetCurrentProcessId()) + L"-" +
                             std::to_wstring(GetTickCount() + attempt) + L".tmp";
    temporaryPath_ = (path_.parent_path() / own).native();
    const HANDLE file = CreateFileW(temporaryPath_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      handle_ = file;
      isFlushed_ = false;
      return true;
    }
    if (GetLastError() != ERROR_FILE_EXISTS) return false;
  }
  return false;
}

bool NewFile::Write(std::string_view bytes) {
  isFlushed_ = false;
  constexpr std::size_t kMaxWrite = 1u << 30;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min(bytes.size(), kMaxWrite));
    if (!WriteFile(handle_, bytes.data(), size, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

bool NewFile::Flush() {
  isFlushed_ = isFlushed_ || FlushFileBuffers(handle_) != 0;
  return isFlushed_;
}

bool NewFile::Commit() {
  const bool isWritten = Flush();
  DWORD error = GetLastError();
  CloseHandle(handle_);
  handle_ = nullptr;
  if (isWritten) {
    constexpr DWORD kFlags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (MoveFileExW(temporaryPath_.c_str(), path_.c_str(), kFlags)) return true;
    error = GetLastError();
  }
  DeleteFileW(temporaryPath_.c_str());
  SetLastError(error);
  return false;
}

}  // namespace orv
