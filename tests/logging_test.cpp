#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "logging/log_file.h"
#include "orv/logging/logger.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "tests/fixtures.h"

#if !defined(_WIN32)
#include "tests/posix/child_process.h"
#endif

namespace {

using orv::test::ExpectTable;
using orv::test::Fields;
using orv::test::LogFolder;
using orv::test::TemporaryFolder;
using orv::test::WithoutTimes;

constexpr wchar_t kHeader[] = L"Date\tTime\tMessage Type\tProcess\tDLL\tSource\tMessage\r\n";

std::wstring OwnName() {
  std::wstring path;
  orv::GetModulePath(nullptr, &path);
  return orv::FileNameOf(path);
}

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    Set(L"LogPath", LogFolder().Name());
    orv::test::ClearLogs();
    client_.Initialize(orv::OwnModule());
  }
  ~LoggerTest() override {
    while (CLogger::m_nRefCount > 0) CLogger::StopLogging(&client_);
  }

  static void Set(const std::wstring& name, const std::wstring& text) {
    orv::test::SetSetting(HKEY_CURRENT_USER, L"Test", name, text);
  }
  void Start() { CLogger::StartLogging(&client_); }

  static std::filesystem::path LogFile() {
    return orv::ToPath(orv::LogFilePath(LogFolder().Name(), orv::GetLocalTimeNow()));
  }
  /// The log file's text without times; empty if it does not exist.
  static std::wstring LogText() {
    if (!std::filesystem::exists(LogFile())) return {};
    return orv::test::ReadLog(LogFile());
  }
  /// The four lines that a start writes, without the header.
  static std::wstring Banner(const std::wstring& level) {
    const std::wstring columns = L"<time>\tINF\t" + OwnName() + L"\t" + OwnName() + L"\t\t";
    return columns + L"Logging start for new process (orv_)\r\n" + columns + L"   Log Level   : " +
           level + L"\r\n" + columns + L"   Log to Debug: 1\r\n" + columns +
           L"   Log to File : 1\r\n";
  }

  orv::test::ScratchRegistry registry_;
  orv::test::DebugCapture debug_;
  CLoggerClient client_;
};

TEST_F(LoggerTest, WritesTheFileByteForByte) {
  Set(L"LogLevel", L"15");
  Start();
  const std::wstring columns = L"\t" + OwnName() + L"\t";
  CLogger::LOG_ERROR(&client_, L"one \u20ac\u00e9", L"Config");
  CLogger::LOG_WARNING(nullptr, L"two\ttabs", L"");
  CLogger::LOG_INFO(&client_, nullptr, nullptr);
  CLogger::LOG_TRACE(&client_, L"four\r\n", L"DevMode");
  EXPECT_EQ(LogText(),
            kHeader + Banner(L"15") +                                                       //
                L"<time>\tERR" + columns + OwnName() + L"\tConfig\tone \u20ac\u00e9\r\n" +  //
                L"<time>\tWAR" + columns + L"\t\ttwo\ttabs\r\n" +                           //
                L"<time>\tINF" + columns + OwnName() + L"\t\t\r\n" +                        //
                L"<time>\tTRC" + columns + OwnName() + L"\tDevMode\tfour\r\n\r\n");
  const std::string bytes = orv::test::ReadBytes(LogFile());
  EXPECT_TRUE(bytes.starts_with(std::string("D\0a\0t\0e\0\t\0", 10)));  // no byte-order mark
  EXPECT_NE(bytes.find(std::string("\xAC\x20\xE9\x00\r\0\n\0", 8)), std::string::npos);

  CLogger::StopLogging(&client_);
  orv::test::WriteBytes(LogFile(), "");  // an existing file gets no header
  Start();
  EXPECT_EQ(LogText(), Banner(L"15"));
}

TEST_F(LoggerTest, TheDebuggerLineHasAPrefix) {
  Set(L"WriteLogToFile", L"0");
  Start();
  EXPECT_EQ(debug_.Take().size(), 4u);
  CLoggerClient broken;
  broken.Initialize(nullptr);
  CLoggerClient repaired = broken;
  repaired.Initialize(orv::OwnModule());
  EXPECT_TRUE(broken.HasError() && !repaired.HasError());
  CLogger::LOG_ERROR(&client_, L"message", L"Source");
  CLogger::LOG_ERROR(&broken, L"message", L"Source");
  // A combination of two levels has no tag.
  CLogger::Log(static_cast<eLogLevel>(3), nullptr, L"message", nullptr);
  std::wstring sent;
  for (const std::wstring& line : debug_.Take()) sent += WithoutTimes(line);
  const std::wstring start = L"orv Printer Driver Log: <time>\t";
  EXPECT_EQ(sent, start + L"ERR\t" + OwnName() + L"\t" + OwnName() + L"\tSource\tmessage\r\n" +
                      start + L"ERR\t" + OwnName() + L"\t\tSource\tmessage\r\n" +  //
                      start + OwnName() + L"\t\t\tmessage\r\n");
  EXPECT_EQ(LogText(), L"");
}

TEST_F(LoggerTest, SettingsHaveDefaultsAndQuirks) {
  ExpectTable("log_settings", [this](const Fields& fields) {
    // State from an earlier start must not matter.
    CLogger::m_nLoglevel = CLogger::m_bWriteLogToDebug = CLogger::m_bWriteLogToFile = 99;
    CLogger::m_stLogGroups = L"#old#";
    orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Software");
    Set(L"LogPath", LogFolder().Name());
    Set(fields[0], fields[1]);
    Start();
    CLogger::StopLogging(&client_);
    EXPECT_EQ(CLogger::m_stDesiredLogPath, LogFolder().Name());
    return orv::Format(L"%d %d %d '%ls'", CLogger::m_nLoglevel, CLogger::m_bWriteLogToDebug,
                       CLogger::m_bWriteLogToFile, CLogger::m_stLogGroups.c_str());
  });
}

TEST_F(LoggerTest, LevelsAndGroupsDecideWhatIsWritten) {
  Start();
  ExpectTable("log_groups", [this](const Fields& fields) {
    CLogger::m_nLoglevel = std::stoi(fields[0]);
    CLogger::m_stLogGroups = fields[1];
    debug_.Take();
    const auto level = static_cast<eLogLevel>(std::stoi(fields[2]));
    const wchar_t* const source = fields.size() > 3 ? fields[3].c_str() : nullptr;
    CLogger::Log(level, &client_, L"message", source);
    const bool isWritten = CLogger::IsEnabled(level, source);
    EXPECT_EQ(debug_.Take().size(), isWritten ? 1u : 0u);
    return std::wstring(isWritten ? L"written" : L"not");
  });
}

TEST_F(LoggerTest, StartsAreCounted) {
  Start();
  Start();
  EXPECT_EQ(debug_.Take().size(), 4u);  // one banner
  Set(L"LogLevel", L"2");
  CLogger::StopLogging(&client_);
  EXPECT_EQ(CLogger::m_nRefCount, 1);
  Start();
  EXPECT_EQ(CLogger::m_nLoglevel, 1);
  CLogger::StopLogging(&client_);
  CLogger::StopLogging(nullptr);
  EXPECT_EQ(CLogger::m_nRefCount, 0);
  Start();
  EXPECT_EQ(CLogger::m_nLoglevel, 2);
  EXPECT_EQ(debug_.Take().size(), 4u);
}

TEST_F(LoggerTest, AnEntryIsDroppedWhileAnotherProcessHoldsTheFile) {
  Start();
  orv::ExclusiveFile file;
  ASSERT_TRUE(file.Open(LogFile()));
  CLogger::LOG_ERROR(&client_, L"lost", nullptr);
  file.Close();
  CLogger::LOG_ERROR(&client_, L"kept", nullptr);
  const std::wstring text = LogText();
  EXPECT_EQ(text.find(L"lost"), std::wstring::npos);
  EXPECT_TRUE(text.ends_with(L"\tkept\r\n"));
}

TEST_F(LoggerTest, EntriesAreWrittenUntilTheProcessEnds) {
  EXPECT_EQ(orv::test::RunProgram(ORV_TEST_HELPER, {"log"}).exitCode, 0);
  EXPECT_TRUE(LogText().ends_with(L"\tHelper\tat exit\r\n"));
}

TEST_F(LoggerTest, ThreadsLoseAndTearNothing) {
  Start();
  const std::wstring begin = LogText();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread] {
      for (int i = 0; i < 500; ++i) {
        orv::LogFormat(eLogLevelError, &client_, L"Source", L"<%d/%d>", thread, i);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::wstring text = LogText();
  for (int i = 0; i < 2000; ++i) {
    const std::wstring line = L"<time>\tERR\t" + OwnName() + L"\t" + OwnName() +
                              orv::Format(L"\tSource\t<%d/%d>\r\n", i / 500, i % 500);
    const std::size_t at = text.find(line);
    ASSERT_NE(at, text.npos) << testing::PrintToString(line);
    text.erase(at, line.size());
  }
  EXPECT_EQ(text, begin);
}

#if !defined(_WIN32)
TEST_F(LoggerTest, AForkedProcessLogsWhileTheThreadsOfItsParentDo) {
  Set(L"WriteLogToDebug", L"0");
  Start();
  std::atomic<bool> isEnding{false};
  std::thread thread([&isEnding] {
    while (!isEnding) CLogger::LOG_ERROR(nullptr, L"parent", nullptr);
  });
  constexpr int kChildren = 10;
  int ended = 0;
  while (ended < kChildren && orv::test::SucceedsInAChild([] {
           alarm(60);  // ends a child that waits for ever
           CLogger::LOG_ERROR(nullptr, L"child", nullptr);
           return true;
         })) {
    ++ended;
  }
  isEnding = true;
  thread.join();
  EXPECT_EQ(ended, kChildren);
}
#endif

TEST(LogFile, TheDesiredFolderIsUsedIfItExists) {
  const TemporaryFolder folder;
  orv::test::WriteBytes(folder.path() / "file", "x");
  EXPECT_EQ(orv::ChooseLogFolder(folder.Name()), folder.Name());
  const std::wstring fallback = orv::ChooseLogFolder(L"");
  EXPECT_EQ(std::ranges::count(orv::LogFolders(), fallback), 1);
  EXPECT_EQ(orv::ChooseLogFolder(folder.Name(L"file")), fallback);
  EXPECT_EQ(orv::ChooseLogFolder(folder.Name(L"none")), fallback);
  EXPECT_EQ(orv::LogFilePath(L"folder", {2024, 3, 5, 0, 0, 0, 0}),
            L"folder" + std::wstring(1, orv::kPathSeparator) + L"orv_logfile-2024-03-05.log");
  orv::LocalTime day = {2024, 3, 5, 0, 0, 0, 0};
  orv::LogFileOf(day, LogFolder().Name());  // the process keeps this folder
  for (int* const next : {&day.day, &day.month, &day.year, &day.day}) {
    EXPECT_EQ(*orv::LogFileOf(day, folder.Name()),
              orv::ToPath(orv::LogFilePath(LogFolder().Name(), day)));
    ++*next;
  }
}

#if !defined(_WIN32)
TEST(LogFile, IsInTheUsersOwnFolder) {
  if (std::filesystem::exists("/var/log/orv")) GTEST_SKIP() << "the system has a folder for logs";
  const TemporaryFolder folder;
  orv::test::SetVariable("XDG_STATE_HOME", (folder.path() / "new" / "state").string());
  const std::filesystem::path own = folder.path() / "new" / "state" / "orv";
  EXPECT_EQ(orv::ChooseLogFolder(L""), orv::FromPath(own));
  EXPECT_EQ(std::filesystem::status(own).permissions(), std::filesystem::perms::owner_all);
  orv::test::SetVariable("XDG_STATE_HOME", "/proc/none");
  orv::test::SetVariable("TMPDIR", folder.path().string());
  EXPECT_EQ(orv::ChooseLogFolder(L""), folder.Name());
  orv::test::SetVariable("TMPDIR", {});
  orv::test::SetVariable("XDG_STATE_HOME", {});
}
#endif

TEST(Logger, ShortensPaths) {
  ExpectTable("log_paths", [](const Fields& fields) {
    return CLogger::GetFileAndLastFolder(fields[0].c_str());
  });
}

TEST(LoggerClient, FindsItsModuleOrReportsWhyNot) {
  CLoggerClient client;
  client.Initialize(orv::OwnModule());
  EXPECT_FALSE(client.HasError());
  EXPECT_EQ(client.m_hInstance, orv::OwnModule());
  EXPECT_EQ(client.m_stModuleName, OwnName());
  EXPECT_EQ(client.m_stModuleFolder + orv::kPathSeparator + client.m_stModuleName,
            client.m_stModulePath);

  const CLoggerClient copy = client;
  EXPECT_EQ(copy.m_stModulePath, client.m_stModulePath);
  const wchar_t kNull[] = L"Unable to determine path to DLL: hInstance is NULL";
  const std::pair<HINSTANCE, const wchar_t*> cases[] = {
      {nullptr, kNull},
      {reinterpret_cast<HINSTANCE>(INVALID_HANDLE_VALUE), kNull},
      {reinterpret_cast<HINSTANCE>(std::uintptr_t{0x1230000}),
       L"Unable to determine path to DLL. Error code: 126"}};
  for (const auto& [module, error] : cases) {
    client = copy;
    client.Initialize(module);
    EXPECT_TRUE(client.HasError());
    EXPECT_EQ(client.m_stError, error);
    EXPECT_EQ(client.m_hInstance, module);
    EXPECT_EQ(client.m_stModulePath + client.m_stModuleName + client.m_stModuleFolder, L"");
  }
}

}  // namespace
