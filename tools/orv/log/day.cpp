#include "tools/orv/log/day.h"

#include <cstdio>

#include "logging/log_file.h"
#include "orv/platform/registry.h"
#include "platform/console.h"
#include "tools/orv/common/exit_code.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

LocalTime ParseDate(const std::string& date) {
  LocalTime day{};
  int end = 0;
  if (std::sscanf(date.c_str(), "%4d-%2d-%2d%n", &day.year, &day.month, &day.day, &end) != 3 ||
      static_cast<std::size_t>(end) != date.size() || day.year < 0 || day.month < 1 ||
      day.month > 12 || day.day < 1 || day.day > 31) {
    Fail(kUsage, L"\"" + ToWide(date) + L"\" is no date such as 2024-03-05");
  }
  return day;
}

}  // namespace

std::wstring DayLogPath(const std::optional<std::string>& date) {
  const std::wstring folder = ChooseLogFolder(ReadSetting(kLogSettings, kLogPathSetting));
  if (folder.empty()) Fail(kUnreadable, L"there is no folder for logs");
  return LogFilePath(folder, date ? ParseDate(*date) : GetLocalTimeNow());
}

bool ReadLog(const std::wstring& path, std::string* bytes) {
  constexpr int kAttempts = 20;
  constexpr int kPauseMilliseconds = 10;
  for (int attempt = 1; !ReadFile(path, bytes); ++attempt) {
    if (attempt == kAttempts) return false;
    PauseMilliseconds(kPauseMilliseconds);
  }
  return true;
}

}  // namespace orv::tool
