/// The files of the settings store, and changes to them from outside.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/session/session_data.h"
#include "orv/settings/settings.h"
#include "tests/fixtures.h"

namespace {

using orv::RegistryAccess;
using orv::RegistryKey;
using orv::RegistryValue;
using orv::test::SetVariable;
using orv::test::TemporaryFolder;

class RegistryFileTest : public testing::Test {
 protected:
  RegistryFileTest() { SetVariable("ORV_REGISTRY_DIR", folder_.path() / "store"); }
  ~RegistryFileTest() override { SetVariable("ORV_REGISTRY_DIR", {}); }

  static void Write(const std::wstring& text) {
    EXPECT_TRUE(orv::test::SetUserValue(L"Key", L"Value", RegistryValue::FromText(text)));
  }
  static std::wstring Read() { return orv::test::UserText(L"Key", L"Value"); }

  /// Forks, runs the work in the child and expects it to succeed.
  template <typename Work>
  static void InAnotherProcess(Work work) {
    const pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }

  TemporaryFolder folder_;
};

TEST_F(RegistryFileTest, ReadingCreatesNoFile) {
  std::vector<std::wstring> names;
  RegistryKey root;
  EXPECT_EQ(Read(), L"");
  EXPECT_EQ(orv::ReadSetting(L"Test", L"LogLevel"), L"");
  EXPECT_EQ(root.Open(HKEY_LOCAL_MACHINE, L"", RegistryAccess::kRead), ERROR_SUCCESS);
  EXPECT_EQ(orv::ListRegistryKeys(root.get(), &names), ERROR_SUCCESS);
  EXPECT_EQ(orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Key"), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(RegistryFileTest, FollowsTheEnvironmentToAnotherFolder) {
  Write(L"one");
  RegistryKey stays;
  ASSERT_EQ(stays.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kReadWrite), ERROR_SUCCESS);
  SetVariable("ORV_REGISTRY_DIR", folder_.path() / "other");
  EXPECT_EQ(Read(), L"");
  Write(L"two");
  // An open key still belongs to the store in which it was opened.
  ASSERT_EQ(orv::SetRegistryValue(stays.get(), L"Value", RegistryValue::FromText(L"three")),
            ERROR_SUCCESS);
  EXPECT_EQ(Read(), L"two");
  SetVariable("ORV_REGISTRY_DIR", folder_.path() / "store");
  EXPECT_EQ(Read(), L"three");
}

TEST_F(RegistryFileTest, IsInTheUsersDataFolder) {
  const std::string home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
  SetVariable("HOME", folder_.path());
  for (const auto& [data, folder] :
       {std::pair("", ".local/share/orv"), std::pair("data", "data/orv")}) {
    SetVariable("XDG_DATA_HOME", *data != 0 ? (folder_.path() / data).string() : "");
    // The folder is looked up again when this variable changes.
    SetVariable("ORV_REGISTRY_DIR", folder_.path() / "x");
    Read();
    SetVariable("ORV_REGISTRY_DIR", {});
    Write(L"text");
    EXPECT_TRUE(std::filesystem::exists(folder_.path() / folder / "user.sqlite"));
  }
  SetVariable("XDG_DATA_HOME", {});
  SetVariable("HOME", home);
}

TEST_F(RegistryFileTest, NoticesThatItsFileWasReplaced) {
  Write(L"one");
  RegistryKey old;
  ASSERT_EQ(old.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kReadWrite), ERROR_SUCCESS);
  std::filesystem::remove_all(folder_.path() / "store");
  RegistryValue value;
  EXPECT_EQ(orv::GetRegistryValue(old.get(), L"Value", &value), ERROR_KEY_DELETED);
  EXPECT_EQ(Read(), L"");
  Write(L"two");
  EXPECT_EQ(Read(), L"two");
  EXPECT_EQ(orv::GetRegistryValue(old.get(), L"Value", &value), ERROR_KEY_DELETED);
  EXPECT_EQ(orv::SetRegistryValue(old.get(), L"Value", value), ERROR_KEY_DELETED);
}

TEST_F(RegistryFileTest, AFileThatIsNotAStoreIsAnError) {
  std::filesystem::create_directories(folder_.path() / "store");
  orv::test::WriteBytes(folder_.path() / "store/user.sqlite", std::string(8192, 'x'));
  RegistryKey key;
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead), ERROR_BADDB);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, L"Key"), ERROR_BADDB);
  EXPECT_EQ(key.Create(HKEY_LOCAL_MACHINE, orv::kCommonStockItemsPath), ERROR_SUCCESS);
  HKEY hive = nullptr;
  EXPECT_EQ(orv::StockItemsHive(orv::kCommonStockItemsPath, &hive), ERROR_BADDB);
  EXPECT_EQ(hive, HKEY_CURRENT_USER);
  orv::test::LogCapture log;
  EXPECT_EQ(CleanupRegSessionData(L"", L""), 1U);
  EXPECT_EQ(log.TakeText(), L"ERRSessionData Error accessing Session Data. Error code: 1009\n");
  orv::test::WriteBytes(folder_.path() / "store/user.sqlite",
                        "");  // another process has just created it
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead), ERROR_FILE_NOT_FOUND);
  Write(L"text");
  EXPECT_EQ(Read(), L"text");
}

TEST_F(RegistryFileTest, AForkedProcessOpensItsOwnConnection) {
  Write(L"parent");
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kReadWrite), ERROR_SUCCESS);
  InAnotherProcess([&] {
    // The open key is still valid here.
    return orv::SetRegistryValue(key.get(), L"Value", RegistryValue::FromText(L"child")) ==
               ERROR_SUCCESS &&
           Read() == L"child";
  });
  EXPECT_EQ(Read(), L"child");
  Write(L"again");
  EXPECT_EQ(Read(), L"again");
}

TEST_F(RegistryFileTest, ReadsWhatAnotherProcessWroteInTheMeantime) {
  const auto keys = [] {
    std::vector<std::wstring> names;
    orv::ListRegistryKeys(HKEY_CURRENT_USER, &names);
    return names.size();
  };
  Write(L"one");
  for (const bool isWriteAhead : {false, true}) {
    if (isWriteAhead) {
      // With a write-ahead log, writes do not change the file's header.
      InAnotherProcess([&] {
        sqlite3* database = nullptr;
        return sqlite3_open((folder_.path() / "store/user.sqlite").c_str(), &database) ==
                   SQLITE_OK &&
               sqlite3_exec(database, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr) ==
                   SQLITE_OK;
      });
    }
    for (int round = 0; round < 3; ++round) {
      // Everything is read once, then changed by another process.
      EXPECT_EQ(Read(), L"one");
      EXPECT_FALSE(orv::test::HasUserKey(L"Key\\New"));
      EXPECT_EQ(keys(), 1U);
      const auto change = [] {
        Write(L"two");
        RegistryKey made;
        return made.Create(HKEY_CURRENT_USER, L"Key\\New") == ERROR_SUCCESS &&
               made.Create(HKEY_CURRENT_USER, L"Other") == ERROR_SUCCESS;
      };
      InAnotherProcess(change);
      EXPECT_EQ(Read(), L"two");
      EXPECT_TRUE(orv::test::HasUserKey(L"Key\\New"));
      EXPECT_EQ(keys(), 2U);
      InAnotherProcess([] {
        return orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Other") == ERROR_SUCCESS &&
               orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Key\\New") == ERROR_SUCCESS;
      });
      Write(L"one");
    }
  }
}

TEST_F(RegistryFileTest, OneRequestChecksTheFileOnceButSeesItsOwnWrites) {
  Write(L"one");
  const auto writeElsewhere = [](const wchar_t* text) {
    InAnotherProcess([&] {
      Write(text);
      return true;
    });
  };
  {
    const orv::RegistrySnapshot request;
    EXPECT_EQ(Read(), L"one");
    writeElsewhere(L"two");
    const orv::RegistrySnapshot inner;
    EXPECT_EQ(Read(), L"one");
    Write(L"three");
    EXPECT_EQ(Read(), L"three");
    writeElsewhere(L"four");
  }
  EXPECT_EQ(Read(), L"four");
  const orv::RegistrySnapshot next;
  EXPECT_EQ(Read(), L"four");
}

TEST_F(RegistryFileTest, NamesHaveLimits) {
  RegistryKey key;
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, std::wstring(255, L'k')), ERROR_SUCCESS);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, std::wstring(256, L'k')), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, L"\\\\a\\\\b\\"), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"a\\b", RegistryAccess::kRead), ERROR_SUCCESS);
  std::wstring deep;
  for (int i = 0; i < 600; ++i) deep += L"d\\";
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, deep), ERROR_INVALID_PARAMETER);
  // Nothing remains of failed calls.
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"d", RegistryAccess::kRead), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, deep.substr(0, 1000)), ERROR_SUCCESS);
  EXPECT_EQ(orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"d"), ERROR_SUCCESS);
}

}  // namespace
