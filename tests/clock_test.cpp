/// The library while the system's clock is set.

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <string>

#include "base/utf8.h"
#include "orv/logging/logger.h"
#include "orv/text/format.h"
#include "platform/modules.h"
#include "tests/faults.h"
#include "tests/fixtures.h"

namespace orv::test {
namespace {

/// The lines of a log with `mark`, without what is between the time and the message.
std::wstring LinesWith(std::wstring_view mark, const std::wstring& log) {
  std::wstring lines;
  for (std::size_t start = 0; start < log.size();) {
    const std::size_t end = log.find(L"\r\n", start) + 2;
    const std::wstring line = log.substr(start, end - start);
    start = end;
    if (line.find(mark) == line.npos) continue;
    lines += line.substr(0, line.find(L'.', line.find(L':'))) + line.substr(line.rfind(L'\t'));
  }
  return lines;
}

TEST(Clock, TheLogFollowsIt) {
  constexpr faults::Time kTimes[] = {
      {2024, 3, 5, 14, 7, 9},   {2024, 3, 4, 14, 7, 9},   {2024, 3, 5, 14, 7, 8},
      {2025, 3, 5, 14, 7, 9},   {2024, 2, 29, 12, 0, 0},  {2024, 12, 31, 23, 59, 59},
      {2025, 1, 1, 0, 0, 0},    {1969, 12, 31, 12, 0, 0}, {1970, 1, 1, 12, 0, 0},
      {2038, 1, 20, 12, 0, 0},  {2106, 2, 8, 12, 0, 0},   {1601, 1, 2, 12, 0, 0},
      {9999, 12, 30, 12, 0, 0}, {2024, 3, 5, 14, 7, 9}};
  const ScratchRegistry registry;
  LogToFileAlone(L"1");
  CLoggerClient client;
  client.Initialize(OwnModule());
  std::map<std::string, std::wstring> expected;
  for (const faults::Time& time : kTimes) {
    faults::SetClock(&time);
    if (&time == kTimes) CLogger::StartLogging(&client);
    CLogger::LOG_ERROR(&client, L"entry", L"Clock");
    const auto& [year, month, day, hour, minute, second] = time;
    const std::wstring file = Format(L"orv_logfile-%04d-%02d-%02d.log", year, month, day);
    expected[WideToUtf8(file)] += Format(L"%02d.%02d.%04d\t%02d:%02d:%02d\tentry\r\n", day, month,
                                         year, hour, minute, second);
  }
  faults::SetClock(nullptr);
  CLogger::StopLogging(&client);
  std::map<std::string, std::wstring> found;
  for (const auto& entry : std::filesystem::directory_iterator(LogFolder().path())) {
    const std::string bytes = ReadBytes(entry.path());
    std::wstring text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) text += static_cast<wchar_t>(bytes[i]);
    EXPECT_TRUE(text.starts_with(L"Date\t") && text.find(L"Date\t", 1) == text.npos) << entry;
    found[entry.path().filename().string()] = LinesWith(L"entry", text);
  }
  EXPECT_EQ(found, expected);
  ClearLogs();
}

}  // namespace
}  // namespace orv::test
