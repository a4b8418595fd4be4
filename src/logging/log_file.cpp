#include "logging/log_file.h"

#include "base/product.h"
#include "orv/platform/lock.h"
#include "orv/text/format.h"
#include "platform/files.h"

namespace orv {
namespace {

bool IsFolder(const std::wstring& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_directory(ToPath(path), error);
}

/// Protects the static variables of `LogFileOf`. It is global because a local variable would be
/// constructed under a lock of the compiler's runtime.
Lock pathLock;

}  // namespace

std::wstring ChooseLogFolder(const std::wstring& configured) {
  if (IsFolder(configured)) return configured;
  CreateLogFolder();
  for (const std::wstring& folder : LogFolders()) {
    if (IsFolder(folder)) return folder;
  }
  return {};
}

std::wstring LogFilePath(const std::wstring& folder, const LocalTime& day) {
  return folder + kPathSeparator +
         Format(L"%lslogfile-%04d-%02d-%02d.log", kFamilyPrefix, day.year, day.month, day.day);
}

std::shared_ptr<const std::filesystem::path> LogFileOf(const LocalTime& day,
                                                       const std::wstring& configured) {
  static std::wstring s_stLogFolder;
  static LocalTime dayOfPath;
  static std::shared_ptr<const std::filesystem::path> path;
  const LockGuard guard(pathLock);
  if (s_stLogFolder.empty()) s_stLogFolder = ChooseLogFolder(configured);
  if (s_stLogFolder.empty()) return nullptr;
  // Most entries go to the same file as the previous one, whose path can be reused.
  const bool isSameDay =
      day.day == dayOfPath.day && day.month == dayOfPath.month && day.year == dayOfPath.year;
  if (path == nullptr || !isSameDay) {
    path = std::make_shared<const std::filesystem::path>(ToPath(LogFilePath(s_stLogFolder, day)));
    dayOfPath = day;
  }
  return path;
}

}  // namespace orv
