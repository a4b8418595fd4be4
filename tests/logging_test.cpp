#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <thread>

#include "orv/logging/log_file.h"
#include "orv/logging/logger.h"
#include "orv/platform/files.h"
#include "orv/platform/modules.h"
#include "tests/fixtures.h"

namespace {

using orv::test::DebugCapture;
using orv::test::LogCapture;
using orv::test::LogLine;
using orv::test::ScratchRegistry;
using orv::test::SetSetting;
using orv::test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kHeader[] = L"Date\tTime\tMessage Type\tProcess\tDLL\tSource\tMessage\r\n";

/// The process chooses its folder for logs once: all tests share it.
const TemporaryFolder& LogFolder() {
  static const TemporaryFolder folder;
  return folder;
}

std::wstring OwnName() {
  std::wstring path;
  orv::GetModulePath(nullptr, &path);
  return orv::FileNameOf(path);
}

/// Whether a date and a time with their tabs stand at the start of a text.
bool StartsWithTime(std::wstring_view text) {
  constexpr std::wstring_view kPattern = L"00.00.0000\t00:00:00.000\t";  // 0 is any digit
  return text.size() >= kPattern.size() &&
         std::equal(kPattern.begin(), kPattern.end(), text.begin(), [](wchar_t wanted, wchar_t is) {
           return wanted == L'0' ? is >= L'0' && is <= L'9' : is == wanted;
         });
}
constexpr std::size_t kTimeLength = 24;

/// A log's text with each date and time as "<time>\t".
std::wstring WithoutTimes(std::wstring_view text) {
  std::wstring result;
  while (!text.empty()) {
    if (StartsWithTime(text)) {
      result += L"<time>\t";
      text.remove_prefix(kTimeLength);
    } else {
      result += text.front();
      text.remove_prefix(1);
    }
  }
  return result;
}

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    Set(L"LogPath", LogFolder().Name());
    for (const auto& entry : std::filesystem::directory_iterator(LogFolder().path())) {
      std::filesystem::remove(entry);
    }
    client_.Initialize(orv::OwnModule());
  }
  ~LoggerTest() override {
    while (CLogger::m_nRefCount > 0) CLogger::StopLogging(&client_);
  }

  static void Set(const std::wstring& name, const std::wstring& text,
                  HKEY hive = HKEY_CURRENT_USER) {
    SetSetting(hive, L"Test", name, text);
  }
  void Start() { CLogger::StartLogging(&client_); }

  static std::filesystem::path LogFile() {
    return orv::ToPath(orv::LogFilePath(LogFolder().Name(), orv::GetLocalTimeNow()));
  }
  /// The log file's text; empty when there is none. Checks that it is whole 16-bit units.
  static std::wstring LogText() {
    if (!std::filesystem::exists(LogFile())) return {};
    const std::string bytes = orv::test::ReadBytes(LogFile());
    EXPECT_EQ(bytes.size() % 2, 0u);
    std::wstring text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
      text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                          static_cast<unsigned char>(bytes[i + 1]) << 8));
    }
    return text;
  }
  /// The four lines that a start writes, without the header.
  static std::wstring Banner(const std::wstring& level, const std::wstring& toDebug = L"1") {
    const std::wstring columns = L"<time>\tINF\t" + OwnName() + L"\t" + OwnName() + L"\t\t";
    return columns + L"Logging start for new process (orv_)\r\n" + columns + L"   Log Level   : " +
           level + L"\r\n" + columns + L"   Log to Debug: " + toDebug + L"\r\n" + columns +
           L"   Log to File : 1\r\n";
  }

  ScratchRegistry registry_;
  DebugCapture debug_;
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
  EXPECT_EQ(WithoutTimes(LogText()),
            kHeader + Banner(L"15") +                                                       //
                L"<time>\tERR" + columns + OwnName() + L"\tConfig\tone \u20ac\u00e9\r\n" +  //
                L"<time>\tWAR" + columns + L"\t\ttwo\ttabs\r\n" +                           //
                L"<time>\tINF" + columns + OwnName() + L"\t\t\r\n" +                        //
                L"<time>\tTRC" + columns + OwnName() + L"\tDevMode\tfour\r\n\r\n");
  const std::string bytes = orv::test::ReadBytes(LogFile());
  EXPECT_TRUE(bytes.starts_with(std::string("D\0a\0t\0e\0\t\0", 10)));  // no byte-order mark
  EXPECT_NE(bytes.find(std::string("\xAC\x20\xE9\x00\r\0\n\0", 8)), std::string::npos);
}

TEST_F(LoggerTest, AnExistingFileGetsNoHeader) {
  orv::test::WriteBytes(LogFile(), "");
  Start();
  EXPECT_EQ(WithoutTimes(LogText()), Banner(L"1"));
}

TEST_F(LoggerTest, TheDebuggerGetsTheLineWithItsPrefix) {
  Set(L"WriteLogToFile", L"0");
  Start();
  EXPECT_EQ(debug_.Take().size(), 4u);
  CLogger::LOG_ERROR(&client_, L"message", L"Source");
  const std::vector<std::wstring> sent = debug_.Take();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(WithoutTimes(sent[0]), L"orv Printer Driver Log: <time>\tERR\t" + OwnName() + L"\t" +
                                       OwnName() + L"\tSource\tmessage\r\n");
  EXPECT_EQ(LogText(), L"");
}

TEST_F(LoggerTest, SettingsHaveDefaultsAndOddities) {
  struct Expected {
    int level = 1;
    int toDebug = 1;
    int toFile = 1;
    std::wstring groups;
  };
  const struct {
    std::vector<std::pair<const wchar_t*, const wchar_t*>> settings;
    Expected expected;
  } cases[] = {
      {{}, {}},
      {{{L"LogLevel", L"15"}}, {15, 1, 1, L""}},
      {{{L"LogLevel", L"  7up"}}, {7, 1, 1, L""}},
      {{{L"LogLevel", L"abc"}}, {0, 1, 1, L""}},
      {{{L"LogLevel", L""}}, {1, 1, 1, L""}},
      {{{L"LogLevel", L"-1"}}, {-1, 1, 1, L""}},
      {{{L"LogLevel", L"99999999999999999999"}}, {0x7FFFFFFF, 1, 1, L""}},
      {{{L"WriteLogToDebug", L"0"}}, {1, 0, 1, L""}},
      {{{L"WriteLogToDebug", L"true"}}, {1, 0, 1, L""}},
      {{{L"WriteLogToFile", L"01"}}, {1, 1, 0, L""}},
      {{{L"WriteLogToFile", L" 1"}}, {1, 1, 0, L""}},
      {{{L"WriteLogToFile", L""}}, {}},
      {{{L"LogGroups", L"#DevMode#Config#"}}, {1, 1, 1, L"#devmode#config#"}},
      {{{L"LogGroups", L"DevMode#"}}, {}},
      {{{L"LogGroups", L"#\u00c4#"}}, {1, 1, 1, L"#\u00e4#"}},
  };
  for (const auto& test : cases) {
    // What an earlier start left behind must not matter.
    CLogger::m_nLoglevel = 99;
    CLogger::m_bWriteLogToDebug = CLogger::m_bWriteLogToFile = 99;
    CLogger::m_stLogGroups = L"#old#";
    orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Software");
    Set(L"LogPath", LogFolder().Name());
    for (const auto& [name, text] : test.settings) Set(name, text);
    Start();
    CLogger::StopLogging(&client_);
    EXPECT_EQ(CLogger::m_nLoglevel, test.expected.level);
    EXPECT_EQ(CLogger::m_bWriteLogToDebug, test.expected.toDebug);
    EXPECT_EQ(CLogger::m_bWriteLogToFile, test.expected.toFile);
    EXPECT_EQ(CLogger::m_stLogGroups, test.expected.groups);
    EXPECT_EQ(CLogger::m_stDesiredLogPath, LogFolder().Name());
  }
}

TEST_F(LoggerTest, TheUsersSettingsGoBeforeTheMachines) {
  Set(L"LogLevel", L"4", HKEY_LOCAL_MACHINE);
  Set(L"LogGroups", L"#machine#", HKEY_LOCAL_MACHINE);
  Set(L"LogGroups", L"#user#");
  Start();
  EXPECT_EQ(CLogger::m_nLoglevel, 4);
  EXPECT_EQ(CLogger::m_stLogGroups, L"#user#");
}

TEST_F(LoggerTest, LevelsAndGroupsDecideWhatIsWritten) {
  Start();
  const struct {
    int mask;
    const wchar_t* groups;
    int level;
    const wchar_t* source;
    bool isWritten;
  } cases[] = {
      {1, L"", 1, nullptr, true},
      {1, L"", 8, L"DevMode", false},
      {1, L"#devmode#config#", 8, L"DevMode", true},
      {1, L"#devmode#config#", 8, L"CONFIG", true},
      {1, L"#devmode#config#", 8, L"Conf", false},
      {1, L"#devmode#config#", 8, L"DevMode#Config", true},
      {1, L"#devmode#config#", 8, L"Other##Config", true},
      {1, L"#devmode#config#", 8, L"#", false},
      {1, L"#devmode#config#", 8, L"", false},
      {1, L"#devmode#config#", 8, nullptr, false},
      {1, L"#devmode", 8, L"DevMode", false},  // no mark at its end
      {0, L"", 1, nullptr, false},
      {6, L"", 3, nullptr, true},  // one bit of two
      {8, L"", 3, nullptr, false},
      {15, L"", 16, nullptr, false},
  };
  for (const auto& test : cases) {
    CLogger::m_nLoglevel = test.mask;
    CLogger::m_stLogGroups = test.groups;
    debug_.Take();
    const auto level = static_cast<eLogLevel>(test.level);
    CLogger::Log(level, &client_, L"message", test.source);
    EXPECT_EQ(debug_.Take().size(), test.isWritten ? 1u : 0u) << test.groups;
    EXPECT_EQ(CLogger::IsEnabled(level, test.source), test.isWritten);
  }
}

TEST_F(LoggerTest, CombinedLevelsHaveNoTag) {
  Start();
  debug_.Take();
  CLogger::Log(static_cast<eLogLevel>(3), nullptr, L"message", L"Source");
  EXPECT_EQ(WithoutTimes(debug_.Take().at(0)),
            L"orv Printer Driver Log: <time>\t" + OwnName() + L"\t\tSource\tmessage\r\n");
}

TEST_F(LoggerTest, AClientInErrorHasAnEmptyColumn) {
  CLoggerClient broken;
  broken.Initialize(nullptr);
  LogCapture log;
  CLogger::LOG_ERROR(&broken, L"a", L"S");
  CLogger::LOG_ERROR(nullptr, L"b", nullptr);
  orv::LogFormat(eLogLevelInfo, &client_, L"S", L"%d %ls", 7, L"c");
  EXPECT_THAT(log.Take(),
              ElementsAre(LogLine{L"ERR", L"", L"S", L"a"}, LogLine{L"ERR", L"", L"", L"b"},
                          LogLine{L"INF", OwnName(), L"S", L"7 c"}));
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

TEST_F(LoggerTest, AnEntryIsLostWhileSomebodyHoldsTheFile) {
  Start();
  orv::ExclusiveFile file;
  ASSERT_TRUE(file.Open(orv::FromPath(LogFile())));
  CLogger::LOG_ERROR(&client_, L"lost", nullptr);
  file.Close();
  CLogger::LOG_ERROR(&client_, L"kept", nullptr);
  const std::wstring text = LogText();
  EXPECT_EQ(text.find(L"lost"), std::wstring::npos);
  EXPECT_TRUE(text.ends_with(L"\tkept\r\n"));
}

/// Whether a line is one that a helper or a start writes, with nothing missing and nothing more.
bool IsWhole(std::wstring_view line, std::vector<std::wstring>* columns) {
  columns->clear();
  if (!StartsWithTime(line)) return false;
  line.remove_prefix(kTimeLength);
  for (;;) {
    const std::size_t end = line.find(L'\t');
    columns->emplace_back(line.substr(0, end));
    if (end == std::wstring_view::npos) break;
    line.remove_prefix(end + 1);
  }
  if (columns->size() != 5) return false;
  const std::wstring& message = columns->back();
  if (columns->at(0) == L"INF") {
    return columns->at(3).empty() &&
           (message == L"Logging start for new process (orv_)" || message.starts_with(L"   Log "));
  }
  int thread = 0;
  int entry = 0;
  return columns->at(0) == L"ERR" && columns->at(3) == L"Helper" &&
         std::swscanf(message.c_str(), L"<%d/%d>", &thread, &entry) == 2 &&
         message == orv::Format(L"<%d/%d>", thread, entry);
}

/// The messages of a program's errors in a log, all of whose lines must be whole.
std::vector<std::wstring> WholeMessages(const std::wstring& text, const std::wstring& program) {
  std::vector<std::wstring> messages;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find(L"\r\n", start);
    const std::wstring line = text.substr(start, end - start);
    start = end == std::wstring::npos ? text.size() : end + 2;
    if (line + L"\r\n" == kHeader) continue;
    std::vector<std::wstring> columns;
    const bool isWhole = IsWhole(line, &columns);
    EXPECT_TRUE(isWhole) << testing::PrintToString(line);
    if (isWhole && columns[0] == L"ERR" && columns[1] == program) messages.push_back(columns[4]);
  }
  return messages;
}

TEST_F(LoggerTest, ThreadsLoseAndTearNothing) {
  constexpr int kThreads = 4;
  constexpr int kEntries = 100;
  Start();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      for (int i = 0; i < kEntries; ++i) {
        orv::LogFormat(eLogLevelError, &client_, L"Helper", L"<%d/%d>", thread, i);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<std::wstring> messages = WholeMessages(LogText(), OwnName());
  ASSERT_EQ(messages.size(), std::size_t{kThreads} * kEntries);
  // Each thread's entries are in their order.
  for (int thread = 0; thread < kThreads; ++thread) {
    int next = 0;
    for (const std::wstring& message : messages) {
      if (message == orv::Format(L"<%d/%d>", thread, next)) ++next;
    }
    EXPECT_EQ(next, kEntries);
  }
}

TEST_F(LoggerTest, ProcessesTearNothing) {
  // Processes that meet at the file lose entries by the rule of no sharing; lines stay whole.
  Set(L"WriteLogToDebug", L"0");
  std::vector<std::thread> processes;
  for (int process = 0; process < 2; ++process) {
    processes.emplace_back([] {
      EXPECT_EQ(orv::test::RunProgram(ORV_TEST_HELPER, {"log", "4", "100"}).exitCode, 0);
    });
  }
  for (std::thread& process : processes) process.join();
  const std::wstring helper =
      orv::FileNameOf(orv::FromPath(std::filesystem::path(ORV_TEST_HELPER)));
  const std::vector<std::wstring> messages = WholeMessages(LogText(), helper);
  EXPECT_GT(messages.size(), 0u);
  EXPECT_LE(messages.size(), 800u);
}

TEST(LogFile, TheWantedFolderIsTakenWhenItIsOne) {
  const TemporaryFolder folder;
  orv::test::WriteBytes(folder.path() / "file", "x");
  EXPECT_EQ(orv::ChooseLogFolder(folder.Name()), folder.Name());
  const std::wstring fallback = orv::ChooseLogFolder(L"");
  EXPECT_TRUE(fallback == orv::SystemTempFolder() || fallback == orv::UserTempFolder());
  EXPECT_EQ(orv::ChooseLogFolder(folder.Name(L"file")), fallback);
  EXPECT_EQ(orv::ChooseLogFolder(folder.Name(L"none")), fallback);
  EXPECT_EQ(orv::LogFilePath(L"folder", {2024, 3, 5, 0, 0, 0, 0}),
            L"folder" + std::wstring(1, orv::kPathSeparator) + L"orv_logfile-2024-03-05.log");
}

TEST(Logger, ShortensPaths) {
  const struct {
    const wchar_t* path;
    const wchar_t* shortened;
  } cases[] = {
      {L"", L""},
      {L"x", L""},
      {LR"(D:\a\b\c.x)", LR"(b\c.)"},
      {LR"(a\b)", LR"(a\)"},
      {LR"(a\bc)", LR"(a\b)"},
      {LR"(\\server\share\file)", LR"(share\fil)"},
      {LR"(a\b\)", LR"(a\b)"},
      {LR"(\\\\)", LR"(\)"},
      {L"a/b/c.x", L"a/b/c."},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(CLogger::GetFileAndLastFolder(test.path), test.shortened) << test.path;
  }
}

TEST(LoggerClient, KnowsItsModuleOrWhyNot) {
  CLoggerClient client;
  EXPECT_FALSE(client.HasError());
  EXPECT_EQ(client.m_hInstance, nullptr);
  client.Initialize(orv::OwnModule());
  EXPECT_FALSE(client.HasError());
  EXPECT_EQ(client.m_hInstance, orv::OwnModule());
  EXPECT_EQ(client.m_stModuleName, OwnName());
  EXPECT_EQ(client.m_stModuleFolder + orv::kPathSeparator + client.m_stModuleName,
            client.m_stModulePath);

  const CLoggerClient copy = client;
  EXPECT_EQ(copy.m_stModulePath, client.m_stModulePath);
  const struct {
    HINSTANCE module;
    const wchar_t* error;
  } cases[] = {
      {nullptr, L"Unable to determine path to DLL: hInstance is NULL"},
      {reinterpret_cast<HINSTANCE>(INVALID_HANDLE_VALUE),
       L"Unable to determine path to DLL: hInstance is NULL"},
      {reinterpret_cast<HINSTANCE>(std::uintptr_t{0x1230000}),
       L"Unable to determine path to DLL. Error code: 126"},
  };
  for (const auto& test : cases) {
    client = copy;
    client.Initialize(test.module);
    EXPECT_TRUE(client.HasError());
    EXPECT_EQ(client.m_stError, test.error);
    EXPECT_EQ(client.m_hInstance, test.module);
    EXPECT_EQ(client.m_stModulePath + client.m_stModuleName + client.m_stModuleFolder, L"");
  }
}

}  // namespace
