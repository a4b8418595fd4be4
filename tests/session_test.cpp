#include "orv/session/session_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "tests/devmode_names.h"
#include "tests/fixtures.h"

namespace {

using orv::RegistryKey;
using orv::RegistryValue;
using orv::test::LogLine;
using orv::test::RunProgram;
using orv::test::SaveSession;
using orv::test::SessionPath;
using orv::test::SetUserValue;

/// Each test starts without the object.
class Session : public ::testing::Test {
 protected:
  Session() { ReleaseSessionDataInstance(); }
  ~Session() override { ReleaseSessionDataInstance(); }

  std::vector<std::wstring> Entries() {
    RegistryKey key;
    std::vector<std::wstring> names;
    if (key.Open(HKEY_CURRENT_USER, SessionPath({}), orv::RegistryAccess::kRead) == ERROR_SUCCESS) {
      orv::ListRegistryKeys(key.get(), &names);
    }
    return names;
  }

  orv::test::ScratchRegistry registry_;
  orv::test::LogCapture log_;
  const std::uint32_t ownId_ = static_cast<std::uint32_t>(orv::test::OwnProcessId());
  const std::wstring ownKey_ = std::to_wstring(ownId_);
};

TEST_F(Session, NullPointersReturnZero) {
  std::uint32_t answer = 7;
  const std::uint64_t time = 0;
  for (const std::uint32_t result :
       {GetSessionProcessId(nullptr), GetSessionParentProcessId(nullptr),
        GetSessionParendHandle(nullptr), GetSessionIsSystemParent(nullptr),
        GetSessionReadUDS(nullptr, L"a", L"b"), GetSessionReadUDS(&answer, nullptr, L"b"),
        GetSessionReadUDS(&answer, L"a", nullptr), GetSessionWriteUDS(nullptr),
        IsSessionProcessStillValid(nullptr, 1, L"x", &time),
        IsSessionProcessStillValid(&answer, 1, nullptr, &time),
        IsSessionProcessStillValid(&answer, 1, L"x", nullptr), SaveSessionRegistryInfo(nullptr),
        CleanupRegSessionData(nullptr, L"b"), CleanupRegSessionData(L"a", nullptr)}) {
    EXPECT_EQ(result, 0U);
  }
  EXPECT_EQ(answer, 7U);
  EXPECT_TRUE(log_.Take().empty());
}

TEST_F(Session, ProcessIdIsUnknownUntilNeededAndAfterTheLastRelease) {
  SessionData* const instance = GetSessionDataInstance();
  EXPECT_EQ(GetSessionDataInstance(), instance);
  std::uint32_t id = 0;
  ReloadSessionInfo();
  EXPECT_EQ(ReleaseSessionDataInstance(), 1U);
  EXPECT_EQ(GetSessionProcessId(&id), 1U);
  EXPECT_EQ(id, ownId_);
  ReleaseSessionDataInstance();
  GetSessionProcessId(&id);
  EXPECT_EQ(id, 122U);

  std::uint32_t parentId = 0;
  EXPECT_EQ(GetSessionParentProcessId(&parentId), 1U);
  EXPECT_NE(parentId, 121U);
  ReloadSessionInfo();
  ReloadSessionInfo();  // both ids are determined again
  std::uint32_t reloadedId = 0;
  EXPECT_EQ(GetSessionParentProcessId(&reloadedId), 1U);
  EXPECT_EQ(reloadedId, parentId);
  GetSessionProcessId(&id);
  EXPECT_EQ(id, ownId_);
  HANDLE parent = nullptr;
  HANDLE again = nullptr;
  EXPECT_EQ(GetSessionParendHandle(&parent), 1U);
  EXPECT_EQ(GetSessionParendHandle(&again), 1U);
  EXPECT_EQ(parent, again);

  ReleaseSessionDataInstance();
  EXPECT_EQ(GetSessionIsSystemParent(&parentId), 1U);  // needs the ids
  GetSessionProcessId(&id);
  EXPECT_EQ(id, ownId_);
  ReleaseSessionDataInstance();

  // That released an object without references; they count from none again.
  GetSessionDataInstance();
  GetSessionDataInstance();
  ReloadSessionInfo();
  ReleaseSessionDataInstance();
  GetSessionProcessId(&id);
  EXPECT_EQ(id, ownId_);
  EXPECT_EQ(ReleaseSessionDataInstance(), 1U);
  GetSessionProcessId(&id);
  EXPECT_EQ(id, 122U);
}

TEST_F(Session, SavesNameAndCreationTime) {
  EXPECT_TRUE(SaveSession(ownKey_));
  RegistryKey key;
  key.Open(HKEY_CURRENT_USER, SessionPath(ownKey_), orv::RegistryAccess::kRead);
  RegistryValue name;
  RegistryValue time;
  ASSERT_EQ(GetRegistryValue(key.get(), L"ProcessName", &name), ERROR_SUCCESS);
  ASSERT_EQ(GetRegistryValue(key.get(), L"CreationTime", &time), ERROR_SUCCESS);
  EXPECT_EQ(name.type, REG_SZ);
  EXPECT_TRUE(name.Text().starts_with(L"session_test"));
  EXPECT_EQ(name.data.size(), name.Text().size() * 2 + 2);
  EXPECT_EQ(time.type, REG_BINARY);
  ASSERT_EQ(time.data.size(), 8U);
  std::uint64_t created = 0;
  std::memcpy(&created, time.data.data(), 8);
  // Between 2020 and 2200, so in the right unit and from the right epoch.
  EXPECT_GT(created, 132'223'104'000'000'000U);
  EXPECT_LT(created, 189'000'000'000'000'000U);

  std::uint32_t isValid = 0;
  log_.Take();
  EXPECT_EQ(IsSessionProcessStillValid(&isValid, ownId_, name.Text().c_str(), &created), 1U);
  EXPECT_EQ(isValid, 1U);
  EXPECT_TRUE(log_.Take().empty());

  IsSessionProcessStillValid(&isValid, ownId_, L"other.exe", &created);
  EXPECT_EQ(isValid, 0U);
  EXPECT_EQ(log_.Take(), (std::vector<LogLine>{{L"ERR", L"", L"SessionData",
                                                L"Process not valid anymore. Current name: " +
                                                    name.Text() + L"   Stored name: other.exe"}}));
  const std::uint64_t stored = 0x00000002FFFFFFFF;
  const auto half = [](std::uint64_t bits) { return std::to_wstring(static_cast<int>(bits)); };
  IsSessionProcessStillValid(&isValid, ownId_, name.Text().c_str(), &stored);
  EXPECT_EQ(isValid, 0U);
  EXPECT_EQ(log_.TakeMessages(),
            std::vector<std::wstring>{L"File time not valid anymore. Creation: " +
                                      half(created & 0xFFFFFFFF) + L", " + half(created >> 32) +
                                      L"   Stored: -1, 2"});
  IsSessionProcessStillValid(&isValid, 0xFFFFFFF0, L"x", &stored);
  EXPECT_EQ(isValid, 0U);
  EXPECT_EQ(log_.TakeMessages(),
            std::vector<std::wstring>{
                L"Unable to open process for process validity check. Error code: 87"});
}

TEST_F(Session, CleanUpRemovesEndedAndReusedProcesses) {
  EXPECT_EQ(CleanupRegSessionData(L"printer", L"driver"), 1U);
  EXPECT_EQ(log_.TakeText(), L"TRCSessionData Error accessing Session Data. Error code: 2\n");

  const orv::test::ProgramResult ended = RunProgram(ORV_TEST_HELPER, {"save"});
  ASSERT_EQ(ended.exitCode, 0) << ended.messages;
  EXPECT_TRUE(SaveSession(ownKey_));
  // Names that enumerate next to each other: deleting one must not hide the next.
  for (const wchar_t* gone : {L"4000000001", L"4000000002", L"99999999999999999999"}) {
    EXPECT_TRUE(SaveSession(gone));
  }
  // Keys of printers: one looks like an entry, the other is incomplete.
  std::vector<std::wstring> kept = {ownKey_, L"4000000004",  L"4000000005", L"4000000006",
                                    L"-1",   L"4000000001x", L"A4"};
  EXPECT_TRUE(SaveSession(L"-1") && SaveSession(L"4000000001x"));
  RegistryKey().Create(HKEY_CURRENT_USER, SessionPath(L"A4\\driver"));
  // This process's id in other spellings, with the time or name of another program: a reused id.
  const struct {
    std::wstring entry;
    const wchar_t* name;
    RegistryValue value;
  } spoilt[] = {{L"0" + ownKey_, L"CreationTime", {REG_BINARY, std::vector<BYTE>(8, 1)}},
                {L"00" + ownKey_, L"ProcessName", RegistryValue::FromText(L"other.exe")},
                {L"4000000004", L"CreationTime", {REG_BINARY, std::vector<BYTE>(7, 1)}}};  // kept
  for (const auto& [entry, name, value] : spoilt) {
    EXPECT_TRUE(SaveSession(entry) && SetUserValue(SessionPath(entry), name, value));
  }
  // Incomplete entries, which are kept.
  SetUserValue(SessionPath(L"4000000005"), L"ProcessName", RegistryValue::FromText(L"x"));
  SetUserValue(SessionPath(L"4000000006"), L"CreationTime", {REG_BINARY, std::vector<BYTE>(8, 1)});
  ASSERT_EQ(Entries().size(), 13U);

  log_.Take();
  EXPECT_EQ(CleanupRegSessionData(L"printer", L"driver"), 1U);
  EXPECT_TRUE(std::ranges::is_permutation(Entries(), kept));
  std::vector<LogLine> lines = log_.Take();
  EXPECT_EQ(lines.size(), 8U);  // one for each removed and each incomplete entry
  std::erase_if(lines, [](const LogLine& line) { return !line.message.starts_with(L"Error "); });
  const std::wstring error = L"Error retrieveing Session Data for process ";
  EXPECT_EQ(lines, (std::vector<LogLine>{
                       {L"ERR", L"", L"SessionData", error + L"-294967291. Error code: 2"},
                       {L"ERR", L"", L"SessionData", error + L"-294967290. Error code: 2"}}));
}

TEST_F(Session, ReadsTheItemsOfTheseNames) {
  RegistryKey().Create(HKEY_CURRENT_USER, SessionPath(L"printer\\driver"));
  for (const auto& [first, second, expected] :
       {std::tuple(L"printer", L"driver", 1U), {L"driver", L"printer", 0U}}) {
    std::uint32_t reads = 7;
    EXPECT_EQ(GetSessionReadUDS(&reads, first, second), 1U);
    EXPECT_EQ(reads, expected);
  }
  for (const std::wstring& message : log_.TakeMessages()) {
    EXPECT_FALSE(message.starts_with(L"Error accessing")) << message;
  }
}

TEST_F(Session, SystemHostsShareItemsWithWhatTheyStart) {
  const orv::test::TestPrinter printer(L"Label 1", orv::test::kTestDriver);
  const std::wstring items = L"Software\\orv Printer Driver\\UI\\Label 1\\ORV-LX 4.3/300P+\\";
  SetUserValue(items + L"Stocks\\item", L"DisplayName", RegistryValue::FromText(L"stored"));
  const orv::test::TemporaryFolder folder;
  for (const char* name : {"application.exe", "MMC.EXE", "sihost.exe", "xmmc.exe"}) {
    std::filesystem::copy_file(ORV_TEST_HELPER, folder.path() / name);
  }
  orv::test::ExpectTable("session_hosts", [&](const orv::test::Fields& fields) {
    const auto program = [&](const std::wstring& name) {
      return name == L"-" ? "-" : (folder.path() / orv::WideToUtf8(name)).string();
    };
    orv::DeleteRegistryTree(HKEY_CURRENT_USER, items + L"Session");  // process ids are reused
    const auto result =
        RunProgram(program(fields[0]), {"session", orv::WideToUtf8(fields[1]), program(fields[2])});
    return orv::Utf8ToWide(result.output);
  });

  std::uint32_t isSystemParent = 7;
  EXPECT_EQ(GetSessionIsSystemParent(&isSystemParent), 1U);
  EXPECT_EQ(isSystemParent, 0U);
  const std::wstring last = log_.TakeMessages().back();
  EXPECT_TRUE(last.starts_with(L"UserData is called by process: ") &&
              last.find(L"(session_test") != last.npos);
  GetSessionIsSystemParent(&isSystemParent);  // determined once
  EXPECT_TRUE(log_.Take().empty());
}

}  // namespace
