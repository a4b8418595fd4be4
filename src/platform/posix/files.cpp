#include "platform/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/utf8.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/user_folder.h"

namespace orv {
namespace {

constexpr char kSystemLogFolder[] = "/var/log/orv";

/// The user's folder for log files; empty for a user without a home folder.
std::filesystem::path OwnLogFolder() {
  const std::string state = UserFolder("XDG_STATE_HOME", ".local/state");
  return state.empty() ? std::filesystem::path() : std::filesystem::path(state) / "orv";
}

}  // namespace

const wchar_t kPathSeparator = L'/';

namespace {

// A low surrogate without the high one before it does not come from UTF-8.
constexpr wchar_t kByteBase = 0xDC00;

bool IsByte(wchar_t unit) { return unit >= kByteBase + 0x80 && unit <= kByteBase + 0xFF; }
bool IsHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit < 0xDC00; }

}  // namespace

std::filesystem::path ToPath(const std::wstring& name) {
  std::string path;
  const std::wstring_view text = name;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsHighSurrogate(text[i])) {
      ++i;  // the low one belongs to it
    } else if (IsByte(text[i])) {
      AppendUtf8(text.substr(start, i - start), &path);
      path += static_cast<char>(text[i] - kByteBase);
      start = i + 1;
    }
  }
  AppendUtf8(text.substr(start), &path);
  return path;
}

std::wstring FromPath(const std::filesystem::path& path) { return FromFileName(path.native()); }

std::wstring FromFileName(std::string_view name) {
  std::wstring text;
  std::size_t start = 0;
  for (std::size_t i = 0; i < name.size();) {
    const Utf8Character character = DecodeUtf8Character(name.substr(i));
    const std::string_view bytes = name.substr(i, character.length);
    i += character.length;
    if (character.code != kReplacement || bytes == kReplacementUtf8) continue;
    text += Utf8ToWide(name.substr(start, i - bytes.size() - start));
    for (const char byte : bytes) text += static_cast<wchar_t>(kByteBase | (byte & 0xFF));
    start = i;
  }
  return text + Utf8ToWide(name.substr(start));
}

std::wstring FileErrorText() {
  return FileErrorText(std::error_code(errno, std::generic_category()));
}

std::wstring FileErrorText(const std::error_code& error) {
  switch (error.value()) {
    case ENOENT:
      return L"no such file or folder";
    case EACCES:
    case EPERM:
      return L"access is denied";
    case EISDIR:
      return L"it is a folder";
    case ENOSPC:
    case EDQUOT:
      return L"the disk is full";
    default:
      return Utf8ToWide(std::strerror(error.value()));
  }
}

FileVersion VersionOf(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  const auto number = [](const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec);
  };
  return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
          number(status.st_mtim), number(status.st_ctim)};
}

std::vector<std::wstring> LogFolders() {
  std::vector<std::wstring> folders{Utf8ToWide(kSystemLogFolder)};
  if (const auto own = OwnLogFolder(); !own.empty()) folders.push_back(FromPath(own));
  const char* const temporary = std::getenv("TMPDIR");
  const bool isSet = temporary != nullptr && *temporary != '\0';
  folders.push_back(isSet ? FromFileName(temporary) : L"/tmp");
  return folders;
}

std::wstring MissingLogFolder() {
  std::error_code error;
  const std::filesystem::path own = OwnLogFolder();
  const bool isThere = std::filesystem::is_directory(kSystemLogFolder, error) ||
                       std::filesystem::is_directory(own, error);
  return isThere ? std::wstring() : FromPath(own);
}

void CreateLogFolder() {
  const std::filesystem::path own = ToPath(MissingLogFolder());
  std::error_code error;
  if (!own.empty() && std::filesystem::create_directories(own, error)) {
    std::filesystem::permissions(own, std::filesystem::perms::owner_all, error);
  }
}

bool IsDevice(const std::filesystem::path& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  return std::filesystem::exists(status) && !std::filesystem::is_regular_file(status) &&
         !std::filesystem::is_directory(status);
}

bool CanCreateFiles(const std::wstring& folder) {
  return access(ToPath(folder).c_str(), W_OK | X_OK) == 0;
}

bool ExclusiveFile::Open(const std::filesystem::path& path, Trust trust) {
  Close();
  // Pipes and devices are refused: opening one could block, or would consume what is written.
  const int links = trust == kTrusted ? O_NOFOLLOW : 0;
  FileDescriptor file(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | links, 0666));
  // The size is read while the lock excludes other writers.
  struct stat status {};
  if (file.get() < 0 || flock(file.get(), LOCK_EX | LOCK_NB) != 0 ||
      fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return false;
  }
  const bool isOthers = status.st_uid != geteuid() && (status.st_mode & S_IWOTH) != 0;
  if (trust == kTrusted && isOthers) return false;
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
