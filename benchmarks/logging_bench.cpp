/// The cost of a suppressed log call and of a written line, compared with the bare system calls
/// that open a file, append to it and close it.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "platform/modules.h"

namespace {

constexpr wchar_t kMessage[] = L"The label's width 104000 is above its maximum 100000";

/// A folder for the log, and a registry store with the setting that names it.
const std::filesystem::path& LogFolder() {
  static const std::filesystem::path folder = [] {
    const std::filesystem::path made =
        std::filesystem::temp_directory_path() / ("orv_bench_" + std::to_string(getpid()));
    std::filesystem::create_directories(made);
    setenv("ORV_REGISTRY_DIR", made.c_str(), 1);
    orv::RegistryKey key;
    key.Create(HKEY_CURRENT_USER, orv::kSettingsKey + std::wstring(L"\\Test"));
    const auto set = [&key](const wchar_t* name, const std::wstring& text) {
      orv::SetRegistryValue(key.get(), name, orv::RegistryValue::FromText(text));
    };
    set(L"LogPath", made.wstring());
    set(L"WriteLogToDebug", L"0");
    std::atexit([] { std::filesystem::remove_all(LogFolder()); });
    return made;
  }();
  return folder;
}

class Logging : public benchmark::Fixture {
 public:
  void SetUp(benchmark::State&) override {
    LogFolder();
    client_.Initialize(orv::OwnModule());
    CLogger::StartLogging(&client_);
  }
  void TearDown(benchmark::State&) override {
    CLogger::StopLogging(&client_);
    CLogger::m_stLogGroups.clear();
  }

 protected:
  CLoggerClient client_;
};

BENCHMARK_F(Logging, SuppressedCall)(benchmark::State& state) {
  for (auto _ : state) CLogger::LOG_TRACE(&client_, kMessage, L"DevMode");
}

BENCHMARK_F(Logging, SuppressedComposedCall)(benchmark::State& state) {
  int width = 104000;
  for (auto _ : state) {
    benchmark::DoNotOptimize(width);
    orv::LogFormat(eLogLevelTrace, &client_, L"DevMode", L"The label's width %d", width);
  }
}

BENCHMARK_F(Logging, SuppressedCallWithGroups)(benchmark::State& state) {
  CLogger::m_stLogGroups = L"#config#session#";
  for (auto _ : state) CLogger::LOG_TRACE(&client_, kMessage, L"DevMode");
}

BENCHMARK_F(Logging, WrittenLine)(benchmark::State& state) {
  for (auto _ : state) CLogger::LOG_ERROR(&client_, kMessage, L"DevMode");
}

const std::string kLine(236, 'x');  // as long as the line above

void BareOpenAppendClose(benchmark::State& state) {
  const std::string path = LogFolder() / "bare";
  for (auto _ : state) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    benchmark::DoNotOptimize(write(file, kLine.data(), kLine.size()));
    close(file);
  }
}
BENCHMARK(BareOpenAppendClose);

/// The same for a file with a header line and exclusive access: checks whether the file exists,
/// then locks it while the line is written.
void BareExclusiveAppend(benchmark::State& state) {
  const std::string path = LogFolder() / "held";
  for (auto _ : state) {
    struct stat status;
    benchmark::DoNotOptimize(stat(path.c_str(), &status));
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    benchmark::DoNotOptimize(flock(file, LOCK_EX | LOCK_NB));
    lseek(file, 0, SEEK_END);
    benchmark::DoNotOptimize(write(file, kLine.data(), kLine.size()));
    close(file);
  }
}
BENCHMARK(BareExclusiveAppend);

}  // namespace

BENCHMARK_MAIN();
