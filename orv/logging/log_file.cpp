#include "orv/logging/log_file.h"

#include <filesystem>

#include "orv/platform/files.h"
#include "orv/text/format.h"

namespace orv {
namespace {

bool IsFolder(const std::wstring& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_directory(ToPath(path), error);
}

}  // namespace

std::wstring ChooseLogFolder(const std::wstring& wanted) {
  if (IsFolder(wanted)) return wanted;
  if (const std::wstring system = SystemTempFolder(); IsFolder(system)) return system;
  if (const std::wstring user = UserTempFolder(); IsFolder(user)) return user;
  return {};
}

std::wstring LogFilePath(const std::wstring& folder, const LocalTime& day) {
  return folder + kPathSeparator +
         Format(L"orv_logfile-%04d-%02d-%02d.log", day.year, day.month, day.day);
}

}  // namespace orv
