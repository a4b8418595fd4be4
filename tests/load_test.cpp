/// Many threads and processes at once. `ORV_LOAD_SECONDS` says for how long.

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

using orv::test::LoadTotals;

constexpr int kThreads = 4;

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

  /// How many entries of the load are in the logs, over midnight too. Every line is whole, and the
  /// lines of a thread are in the order in which it wrote them.
  static int CountWritten() {
    int written = 0;
    std::map<std::pair<unsigned long, int>, int> last;
    for (const auto& entry : std::filesystem::directory_iterator(orv::test::LogFolder().path())) {
      const std::wstring text = orv::test::ReadLog(entry.path());
      EXPECT_TRUE(text.ends_with(L"\r\n"));
      for (std::size_t at = 0, end; (end = text.find(L"\r\n", at)) != text.npos; at = end + 2) {
        const std::wstring line = text.substr(at, end - at);
        EXPECT_EQ(line.find(L"<time>", 1), line.npos) << orv::WideToUtf8(line);  // one entry a line
        const std::size_t source = line.find(L"\tload.dll\tLoad\t");
        if (source == line.npos) {
          // The header, the lines of a start, and what the session says of entries that it finds
          // half written, gone or of no process.
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

  /// Lets processes work at once, "silent" or "loud".
  LoadTotals RunProcesses(int count, const std::string& seconds, const char* how) {
    LoadTotals all;
    std::mutex lock;
    std::vector<std::thread> processes;
    for (int process = 0; process < count; ++process) {
      processes.emplace_back([&] {
        const orv::test::ProgramResult result = orv::test::RunProgram(
            ORV_TEST_HELPER, {"load", orv::WideToUtf8(module_.folder().Name()),
                              std::to_string(kThreads), seconds, how});
        EXPECT_EQ(result.exitCode, 0) << result.messages;
        int runs = 0;
        std::istringstream said(result.output);
        said >> runs;
        const std::lock_guard guard(lock);
        for (std::string digest; said >> digest;) all.results.insert(digest);
        all.runs += runs;
      });
    }
    for (std::thread& process : processes) process.join();
    return all;
  }

  orv::test::ScratchRegistry registry_;
  orv::test::TestPrinter printer_{L"Label 1", orv::test::kTestDriver};
  orv::test::ModuleFolder module_;
};

// One test, because one store serves a process and all that it starts.
TEST_F(Load, ThreadsLoseNothingAndProcessesTearNothing) {
  // Whoever is alone with the log has every entry in it, whatever else goes on: only somebody who
  // holds the file makes one lose an entry.
  LoadTotals all;
  std::thread silent([&] { all = RunProcesses(4, "2", "silent"); });
  const LoadTotals alone = orv::test::RunLoad(module_.folder().Name(), kThreads, 1);
  silent.join();
  EXPECT_EQ(CountWritten(), alone.runs);
  orv::test::ClearLogs();

  const char* const given = std::getenv("ORV_LOAD_SECONDS");
  const std::string seconds = given != nullptr ? given : "2";
  LoadTotals loud = RunProcesses(16, seconds, "loud");
  all.results.insert(alone.results.begin(), alone.results.end());
  all.results.merge(loud.results);
  EXPECT_EQ(all.results.size(), 1u);
  const int written = CountWritten();
  EXPECT_GT(written, 0);
  EXPECT_LE(written, loud.runs);
  std::printf("16 processes of %d threads, %s seconds: %d entries, %d written, %d lost\n", kThreads,
              seconds.c_str(), loud.runs, written, loud.runs - written);
}

}  // namespace
