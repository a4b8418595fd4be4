/// What depends on the clock on Linux alone: file times, start times of processes and time zones;
/// and the functions that read the clock, in place of those of the C library.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "orv/config/config_parser.h"
#include "orv/platform/registry.h"
#include "orv/session/session_data.h"
#include "platform/clock.h"
#include "tests/faults.h"
#include "tests/fixtures.h"
#include "tests/posix/child_process.h"

namespace {

using orv::test::faults::Fails;
using orv::test::faults::Kind;

constinit std::optional<timespec> setTime;         ///< the system's clock stands still at this time
constinit std::optional<timespec> setChangeTime;   ///< the change time of all files
constinit const char* systemStatistics = nullptr;  ///< a file in place of /proc/stat

template <typename Function>
Function* NextOf(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, struct timespec* time) noexcept {
  static const auto next = NextOf<int(clockid_t, timespec*)>("clock_gettime");
  const bool isSet = setTime && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE);
  if (!isSet) return next(clock, time);
  *time = *setTime;
  return 0;
}

extern "C" int stat(const char* path, struct stat* status) noexcept {
  static const auto next = NextOf<int(const char*, struct stat*)>("stat");
  if (Fails(Kind::kCall)) {
    errno = EACCES;
    return -1;
  }
  const int result = next(path, status);
  if (result == 0 && setChangeTime) status->st_ctim = *setChangeTime;
  return result;
}

extern "C" FILE* fopen64(const char* path, const char* mode) {
  static const auto next = NextOf<FILE*(const char*, const char*)>("fopen64");
  if (Fails(Kind::kCall)) {
    errno = EACCES;
    return nullptr;
  }
  const bool isReplaced = systemStatistics != nullptr && std::strcmp(path, "/proc/stat") == 0;
  return next(isReplaced ? systemStatistics : path, mode);
}

namespace orv::test {

void faults::SetClock(const Time* time) {
  setTime.reset();
  if (time == nullptr) return;
  const auto& [year, month, day, hour, minute, second] = *time;
  std::tm local = ToTm({year, month, day, hour, minute, second, 0});
  setTime = timespec{std::mktime(&local), 0};
}

namespace {

// First, because a process reads the origin of start times once.
TEST(Clock, SettingItKeepsTheSessionsOfRunningProcesses) {
  const ScratchRegistry registry;
  const TemporaryFolder folder;
  // The system computes the time of its start from its clock.
  const auto showStart = [&](const char* seconds) {
    static std::string statistics;
    statistics = (folder.path() / seconds).string();
    WriteBytes(statistics, "cpu 1\nbtime " + std::string(seconds) + "\n");
    systemStatistics = statistics.c_str();
    setTime = timespec{std::atoll(seconds) + 1000, 0};
  };
  int ready[2];
  int release[2];
  ASSERT_EQ(pipe(ready) + pipe(release), 0);
  const pid_t running = fork();
  if (running == 0) {
    showStart("1700000000");
    char byte = 0;
    const bool isSaved = SaveSession(std::to_wstring(OwnProcessId())) &&
                         write(ready[1], "", 1) == 1 && read(release[0], &byte, 1) == 1;
    _exit(isSaved ? 0 : 1);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  EXPECT_TRUE(SucceedsInAChild([&] {
    showStart("1700086400");
    CleanupRegSessionData(L"", L"");
    return HasUserKey(SessionPath(std::to_wstring(running)));
  }));
  EXPECT_EQ(write(release[1], "", 1), 1);
  int status = -1;
  EXPECT_EQ(waitpid(running, &status, 0), running);
  EXPECT_EQ(status, 0);
  for (const int end : {ready[0], ready[1], release[0], release[1]}) close(end);
}

TEST(Clock, SettingItBackHidesNoChangeOfTheSettings) {
  const ScratchRegistry registry;
  const struct Restored {
    ~Restored() {
      setTime.reset();
      setChangeTime.reset();
    }
  } restored;
  const auto write = [](const wchar_t* text) {
    return SetUserValue(L"Key", L"Value", RegistryValue::FromText(text));
  };
  const auto writeElsewhere = [&](const wchar_t* text) {
    EXPECT_TRUE(SucceedsInAChild([&] { return write(text); }));
  };
  ASSERT_TRUE(write(L"one"));
  // The file was written at this time, and is now old enough for the time to be relied on.
  constexpr timespec kWritten{1'700'000'000, 4'000'001};
  setChangeTime = kWritten;
  setTime = timespec{kWritten.tv_sec + 60, 0};
  for (int read = 0; read < 3; ++read) EXPECT_EQ(UserText(L"Key", L"Value"), L"one");
  writeElsewhere(L"hidden");
  if (UserText(L"Key", L"Value") != L"one") GTEST_SKIP() << "this file system is never relied on";
  // Each change is made when the clock shows the same time again.
  for (const time_t seconds : {-60, -86'400, 365 * 86'400, -1'700'000'100, 600'000'000}) {
    const std::wstring text = std::to_wstring(seconds);
    writeElsewhere(text.c_str());
    setTime->tv_sec += seconds;
    EXPECT_EQ(UserText(L"Key", L"Value"), text);
    EXPECT_EQ(UserText(L"Key", L"Value"), text);
  }
}

TEST(Clock, ATimeThatOccursTwiceIsTheSecond) {
  const char* const old = std::getenv("TZ");
  const std::string zone = old != nullptr ? old : "";
  const struct {
    const char* zone;
    const wchar_t* text;
    std::int64_t seconds;
  } cases[] = {
      {"CET-1CEST,M3.5.0,M10.5.0/3", L"2024-10-27T02:30:00", 1'729'992'600},
      {"CET-1CEST,M3.5.0,M10.5.0/3", L"2024-10-27T03:00:00", 1'729'994'400},
      {"CET-1CEST,M3.5.0,M10.5.0/3", L"2024-10-27T01:59:59", 1'729'987'199},
      {"CET-1CEST,M3.5.0,M10.5.0/3", L"2024-03-31T02:30:00", 1'711'848'600},  // is skipped
      {"EST5EDT,M3.2.0,M11.1.0", L"2024-11-03T01:30:00", 1'730'615'400},
      {"UTC0", L"1969-12-31T23:59:58", -2},
      {"UTC0", L"1900-01-01T00:00:00", -2'208'988'800},
      {"UTC0", L"2038-01-19T03:14:08", 2'147'483'648},
      {"UTC0", L"9999-12-31T23:59:59", 253'402'300'799},
  };
  for (const auto& [name, text, seconds] : cases) {
    SetVariable("TZ", name);
    for (const wchar_t* const earlier : {L"2024-07-01T12:00:00", L"2024-12-01T12:00:00"}) {
      CConfigParser::ConvertToDateTime(earlier);
      EXPECT_EQ(CConfigParser::ConvertToDateTime(text), seconds) << name << ' ' << text;
    }
  }
  SetVariable("TZ", zone);
  tzset();
}

}  // namespace
}  // namespace orv::test
