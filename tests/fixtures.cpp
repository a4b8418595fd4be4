#include "tests/fixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>

#include "base/utf8.h"
#include "orv/session/session_data.h"
#include "orv/settings/settings.h"
#include "orv/text/format.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "tests/guarded.h"

namespace orv::test {
namespace {

std::mutex capturedLock;
std::vector<std::wstring> captured;

void Capture(const std::wstring& text) {
  const std::lock_guard guard(capturedLock);
  captured.push_back(text);
}

std::wstring TakeColumn(std::wstring* line) {
  const std::size_t end = line->find(L'\t');
  std::wstring column = line->substr(0, end);
  line->erase(0, end == std::wstring::npos ? end : end + 1);
  return column;
}

/// Converts a text to the escaped form of a table, and back.
std::string Escape(std::wstring_view text) {
  std::string line;
  for (const wchar_t unit : text) {
    const std::size_t known = std::wstring_view(L"\\\r\n\t").find(unit);
    if (known != std::wstring_view::npos) {
      line += {'\\', "\\rnt"[known]};
    } else {
      line += unit >= 0x20 && unit < 0x7F ? std::string(1, static_cast<char>(unit))
                                          : WideToUtf8(Format(L"\\u%04X", unit));
    }
  }
  return line;
}
std::wstring Unescape(std::string_view line) {
  std::wstring text;
  for (std::size_t at = 0; at < line.size(); ++at) {
    const char next = line[at] == '\\' ? line[++at] : '\0';
    const std::size_t known = next == '\0' ? 9 : std::string_view("\\rnt").find(next);
    if (next == 'u') {
      text += static_cast<wchar_t>(std::stoul(std::string(line.substr(at + 1, 4)), nullptr, 16));
      at += 4;
    } else {
      text += known < 4 ? L"\\\r\n\t"[known] : static_cast<wchar_t>(line[at]);
    }
  }
  return text;
}

/// Tables of tests/data.
constexpr std::string_view kArrow = " =>";
std::filesystem::path TablePath(const std::string& name) {
  return std::filesystem::path(ORV_TEST_DATA) / (name + ".txt");
}
bool IsRow(std::string_view line) { return !line.empty() && !line.starts_with('#'); }
/// The fields before the arrow.
Fields FieldsOf(std::string_view line) {
  const std::size_t arrow = std::min(line.find(kArrow), line.size());
  Fields fields;
  for (std::size_t at = 0, end = 0; at <= arrow; at = end + 3) {
    end = std::min(line.find(" | ", at), arrow);
    fields.push_back(Unescape(line.substr(at, end - at)));
  }
  return fields;
}

std::vector<std::span<std::uint8_t>> freePages;

}  // namespace

TemporaryFolder::TemporaryFolder() {
  static std::atomic<int> next{0};
  path_ = std::filesystem::temp_directory_path() /
          ("orv_test_" + std::to_string(OwnProcessId()) + "_" + std::to_string(next++));
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::wstring TemporaryFolder::Name(const std::wstring& name) const {
  return FromPath(name.empty() ? path_ : path_ / ToPath(name));
}

void SetSetting(HKEY hive, const std::wstring& subKey, const std::wstring& name,
                const std::wstring& text) {
  RegistryKey key;
  ASSERT_EQ(key.Create(hive, kSettingsKey + (L"\\" + subKey)), ERROR_SUCCESS);
  ASSERT_EQ(SetRegistryValue(key.get(), name, RegistryValue::FromText(text)), ERROR_SUCCESS);
}

bool SetUserValue(const std::wstring& key, const std::wstring& name, const RegistryValue& value) {
  RegistryKey open;
  return open.Create(HKEY_CURRENT_USER, key) == ERROR_SUCCESS &&
         SetRegistryValue(open.get(), name, value) == ERROR_SUCCESS;
}

std::wstring UserText(const std::wstring& key, const std::wstring& name) {
  RegistryKey open;
  RegistryValue value;
  open.Open(HKEY_CURRENT_USER, key, RegistryAccess::kRead);
  GetRegistryValue(open.get(), name, &value);
  return value.Text();
}

bool HasUserKey(const std::wstring& key) {
  return RegistryKey().Open(HKEY_CURRENT_USER, key, RegistryAccess::kRead) == ERROR_SUCCESS;
}

std::wstring SessionPath(const std::wstring& name) {
  return L"Software\\orv Printer Driver\\Session\\" + name;
}

bool SaveSession(const std::wstring& name) {
  RegistryKey key;
  return key.Create(HKEY_CURRENT_USER, SessionPath(name)) == ERROR_SUCCESS &&
         SaveSessionRegistryInfo(key.get()) == 1;
}

DebugCapture::DebugCapture() {
  Take();
  SetDebugOutputSink(Capture);
}

DebugCapture::~DebugCapture() { SetDebugOutputSink(nullptr); }

std::vector<std::wstring> DebugCapture::Take() {
  const std::lock_guard guard(capturedLock);
  return std::exchange(captured, {});
}

LogCapture::LogCapture() {
  CLogger::m_nLoglevel = 15;
  CLogger::m_bWriteLogToDebug = 1;
  CLogger::m_bWriteLogToFile = 0;
}

LogCapture::~LogCapture() {
  CLogger::m_nLoglevel = level_;
  CLogger::m_bWriteLogToDebug = toDebug_;
  CLogger::m_bWriteLogToFile = toFile_;
}

std::vector<LogLine> LogCapture::Take() {
  std::vector<LogLine> lines;
  for (std::wstring& text : output_.Take()) {
    TakeColumn(&text);  // date
    TakeColumn(&text);  // time
    LogLine& line = lines.emplace_back();
    line.tag = TakeColumn(&text);
    TakeColumn(&text);  // process
    line.module = TakeColumn(&text);
    line.source = TakeColumn(&text);
    EXPECT_TRUE(text.ends_with(L"\r\n"));
    line.message = text.substr(0, text.size() - 2);
  }
  return lines;
}

std::wstring LogCapture::TakeText() {
  std::wstring text;
  for (const LogLine& line : Take()) {
    text += line.tag + line.module + line.source + L" " + line.message + L"\n";
  }
  return text;
}

std::vector<std::wstring> LogCapture::TakeMessages() {
  std::vector<std::wstring> messages;
  for (LogLine& line : Take()) messages.push_back(std::move(line.message));
  return messages;
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  EXPECT_FALSE(file.fail()) << path;
}

std::vector<Fields> TableRows(const std::string& name) {
  std::vector<Fields> rows;
  std::istringstream lines(ReadBytes(TablePath(name)));
  for (std::string line; std::getline(lines, line);) {
    if (IsRow(line)) rows.push_back(FieldsOf(line));
  }
  return rows;
}

void ExpectTable(const std::string& name, const std::function<std::wstring(const Fields&)>& make) {
  const std::filesystem::path path = TablePath(name);
  std::istringstream lines(ReadBytes(path));
  const bool isWriting = std::getenv("ORV_GOLDEN_WRITE") != nullptr;
  std::string made;
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    if (IsRow(line)) {
      const std::size_t arrow = line.find(kArrow);
      ASSERT_NE(arrow, line.npos) << path << ": " << line;
      const std::string output = Escape(make(FieldsOf(line)));
      const std::string now =
          line.substr(0, arrow + kArrow.size()) + (output.empty() ? "" : " " + output);
      ++number;
      EXPECT_TRUE(isWriting || now == line) << path << "\n  is  " << now << "\n  not " << line;
      line = now;
    }
    made += line + "\n";
  }
  if (isWriting) WriteBytes(path, made);
  EXPECT_GT(number, 0) << path;
}

void ExpectText(const std::string& name, const std::wstring& text) {
  const std::filesystem::path path = std::filesystem::path(ORV_TEST_DATA) / (name + ".txt");
  if (std::getenv("ORV_GOLDEN_WRITE") != nullptr) WriteBytes(path, WideToUtf8(text));
  EXPECT_EQ(WideToUtf8(text), ReadBytes(path)) << path;
}

const TemporaryFolder& LogFolder() {
  static const TemporaryFolder folder;
  return folder;
}

void ClearLogs() {
  for (const auto& entry : std::filesystem::directory_iterator(LogFolder().path())) {
    std::filesystem::remove(entry);
  }
}

void LogToFileAlone(const std::wstring& level) {
  ClearLogs();
  SetSetting(HKEY_CURRENT_USER, L"Test", L"LogPath", LogFolder().Name());
  SetSetting(HKEY_CURRENT_USER, L"Test", L"LogLevel", level);
  SetSetting(HKEY_CURRENT_USER, L"Test", L"WriteLogToDebug", L"0");
}

std::wstring WithoutTimes(std::wstring text) {
  constexpr std::wstring_view kPattern = L"00.00.0000\t00:00:00.000\t";  // 0 is any digit
  for (std::size_t at = 0; at + kPattern.size() <= text.size(); ++at) {
    if (std::equal(kPattern.begin(), kPattern.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                   [](wchar_t wanted, wchar_t is) {
                     return wanted == L'0' ? is >= L'0' && is <= L'9' : is == wanted;
                   })) {
      text.replace(at, kPattern.size(), L"<time>\t");
    }
  }
  return text;
}

std::wstring ReadLog(const std::filesystem::path& path) {
  const std::string bytes = ReadBytes(path);
  std::wstring text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                        static_cast<unsigned char>(bytes[i + 1]) << 8));
  }
  EXPECT_EQ(bytes, Utf16Bytes(text));  // whole units
  return WithoutTimes(text);
}

std::wstring ReadLogs() {
  std::wstring text;
  for (const auto& entry : std::filesystem::directory_iterator(LogFolder().path())) {
    text += ReadLog(entry.path());
  }
  return text;
}

std::string Utf16Bytes(std::wstring_view text) {
  std::string bytes;
  for (const wchar_t unit : text) {
    bytes.push_back(static_cast<char>(unit));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::span<std::uint8_t> TakeGuarded(std::size_t size) {
  if (freePages.empty() || freePages.back().size() < size) return MapGuarded(size);
  const std::span<std::uint8_t> pages = freePages.back();
  freePages.pop_back();
  return pages;
}

void ReturnGuarded(std::span<std::uint8_t> pages) {
  constexpr std::size_t kMaxKept = 4096;
  pages.size() <= kMaxKept ? freePages.push_back(pages) : UnmapGuarded(pages);
}

}  // namespace orv::test
