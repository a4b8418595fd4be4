#include "logging/log_file.h"

#include "base/product.h"
#include "orv/platform/lock.h"
#include "orv/text/format.h"
#include "platform/files.h"
#include "platform/fork.h"
#include "platform/unload.h"

namespace orv {
namespace {

bool IsFolder(const std::wstring& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_directory(ToPath(path), error);
}

/// The folder for log files, and the file of one day there.
struct LogPlace {
  std::wstring folder;
  LocalTime day{};
  std::shared_ptr<const std::filesystem::path> file;
};

/// Protects the place that `LogFileOf` keeps. It is global because a local variable would be
/// constructed under a lock of the compiler's runtime.
Lock pathLock;
[[maybe_unused]] const bool pathLockIsHeld = HoldDuringFork(&pathLock);

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
  const LockGuard guard(pathLock);
  // Made under the lock, so that no fork interrupts it.
  static LogPlace& s_place = KeptUntilUnload([] { return LogPlace(); });
  auto& [folder, dayOfFile, file] = s_place;
  if (folder.empty()) folder = ChooseLogFolder(configured);
  if (folder.empty()) return nullptr;
  // Most entries go to the same file as the previous one, whose path can be reused.
  const bool isSameDay =
      day.day == dayOfFile.day && day.month == dayOfFile.month && day.year == dayOfFile.year;
  if (file == nullptr || !isSameDay) {
    file = std::make_shared<const std::filesystem::path>(ToPath(LogFilePath(folder, day)));
    dayOfFile = day;
  }
  return file;
}

}  // namespace orv
