/// Many threads and processes at once. `ORV_LOAD_PROCESSES`, `ORV_LOAD_THREADS` and
/// `ORV_LOAD_RUNS` set the number of processes, of threads in each, and of runs of each thread.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "base/utf8.h"
#include "logging/log_file.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/devmode/stock_items.h"
#include "platform/files.h"
#include "tests/devmode_fixture.h"
#include "tests/load.h"

namespace {

using Digests = std::set<std::string>;

constexpr int kThreads = 4;

/// A number from the environment, or its default.
int Setting(const char* name, int otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::atoi(text) : otherwise;
}

class Load : public testing::Test {
 protected:
  Load() {
    EXPECT_EQ(CCryptoHelper::AesEncryptFile(module_.folder().Name(orv::test::kTestConfigName),
                                            module_.folder().Name(L"protected.xml"), nullptr),
              0u);
    StockItem item;
    item.guid.Data1 = 1;
    item.DisplayName = L"Stock";
    item.PaperWidth = item.PaperLength = 50000;
    EXPECT_EQ(orv::WriteStockItem(orv::kCommonStockItemsPath, item), ERROR_SUCCESS);
    orv::test::LogToFileAlone(L"1");
  }

  /// The number of the load's entries in the logs, also across midnight. Every line is complete,
  /// and the lines of a thread are in order.
  static int CountWritten() {
    int written = 0;
    std::map<std::pair<unsigned long, int>, int> last;
    for (const auto& entry : std::filesystem::directory_iterator(orv::test::LogFolder().path())) {
      const std::wstring text = orv::test::ReadLog(entry.path());
      EXPECT_TRUE(text.ends_with(L"\r\n"));
      for (std::size_t at = 0, end; (end = text.find(L"\r\n", at)) != text.npos; at = end + 2) {
        const std::wstring line = text.substr(at, end - at);
        EXPECT_EQ(line.find(L"<time>", 1), line.npos)
            << orv::WideToUtf8(line);  // one entry per line
        const std::size_t source = line.find(L"\tload.dll\tLoad\t");
        if (source == line.npos) {
          // The header, the lines of a start, and the session's messages about entries that are
          // incomplete, deleted or without a process.
          EXPECT_TRUE(
              line.starts_with(L"Date\tTime\t") || line.starts_with(L"<time>\tINF\t") ||
              (line.starts_with(L"<time>\tERR\t") && line.find(L"\t\tSessionData\t") != line.npos))
              << orv::WideToUtf8(line);
          continue;
        }
        const std::wstring message = line.substr(source + 15);
        unsigned long process = 0;
        int thread = 0;
        int run = 0;
        std::swscanf(message.c_str(), L"<%lu/%d/%d>", &process, &thread, &run);
        EXPECT_EQ(message, orv::test::LoadMessage(process, thread, run));
        EXPECT_TRUE(line.starts_with(L"<time>\tERR\t")) << orv::WideToUtf8(line);
        const auto [known, isNew] = last.try_emplace({process, thread}, run);
        EXPECT_TRUE(isNew || known->second < run) << orv::WideToUtf8(message);
        known->second = run;
        ++written;
      }
    }
    return written;
  }

  /// Runs processes at once, "silent" or "loud", and adds their results.
  void RunProcesses(int count, int threads, int runs, const char* how, Digests* results) {
    std::mutex lock;
    std::vector<std::thread> processes;
    for (int process = 0; process < count; ++process) {
      processes.emplace_back([&] {
        const orv::test::ProgramResult result = orv::test::RunProgram(
            ORV_TEST_HELPER, {"load", orv::WideToUtf8(module_.folder().Name()),
                              std::to_string(threads), std::to_string(runs), how});
        EXPECT_EQ(result.exitCode, 0) << result.messages;
        std::istringstream said(result.output);
        const std::lock_guard guard(lock);
        for (std::string digest; said >> digest;) results->insert(digest);
      });
    }
    for (std::thread& process : processes) process.join();
  }

  orv::test::ScratchRegistry registry_;
  orv::test::TestPrinter printer_{L"Label 1", orv::test::kTestDriver};
  orv::test::ModuleFolder module_;
};

// One test, because a process and all that it starts share one store.
TEST_F(Load, ThreadsLoseNothingAndProcessesTearNothing) {
  // A process that is alone with the log writes every entry: an entry is lost only while another
  // process holds the file.
  constexpr int kSilentRuns = 8;
  constexpr int kLoneRuns = 25;
  Digests results;
  std::thread silent([&] { RunProcesses(4, kThreads, kSilentRuns, "silent", &results); });
  const Digests own = orv::test::RunLoad(module_.folder().Name(), kThreads, kLoneRuns);
  silent.join();
  EXPECT_EQ(CountWritten(), kThreads * kLoneRuns);
  orv::test::ClearLogs();

  const int processes = Setting("ORV_LOAD_PROCESSES", 16);
  const int threads = Setting("ORV_LOAD_THREADS", kThreads);
  const int runs = Setting("ORV_LOAD_RUNS", 2);
  RunProcesses(processes, threads, runs, "loud", &results);
  results.insert(own.begin(), own.end());
  EXPECT_EQ(results.size(), 1u);
  const int logged = processes * threads * runs;
  const int written = CountWritten();
  EXPECT_GT(written, 0);
  EXPECT_LE(written, logged);
  std::printf("%d processes of %d threads, %d runs each: %d entries, %d written, %d lost\n",
              processes, threads, runs, logged, written, logged - written);
}

}  // namespace
