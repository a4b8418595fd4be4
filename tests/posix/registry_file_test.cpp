/// The files of the settings store, and changes to them from outside.

#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

#include "base/utf8.h"
#include "orv/c_api.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "orv/settings/settings.h"
#include "platform/files.h"
#include "platform/posix/hive.h"
#include "platform/posix/user_folder.h"
#include "platform/processes.h"
#include "tests/fixtures.h"
#include "tests/posix/child_process.h"

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

  /// Puts another file in the place of one, of which this process has read nothing.
  void Replace(const std::filesystem::path& file, const std::string& bytes) {
    orv::test::WriteBytes(folder_.path() / "copy", bytes);
    std::filesystem::rename(folder_.path() / "copy", file);
  }

  static std::ptrdiff_t OpenFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }

  /// Forks, runs the work in the child and expects it to succeed.
  template <typename Work>
  static void InAnotherProcess(Work work) {
    EXPECT_TRUE(orv::test::SucceedsInAChild(work));
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

TEST_F(RegistryFileTest, NamesItsFileWhateverBytesThePathHas) {
  const std::filesystem::path folder = folder_.path() / "caf\xE9";
  SetVariable("ORV_REGISTRY_DIR", folder);
  Write(L"text");
  EXPECT_EQ(orv::ToPath(orv::RegistryStoreName(HKEY_CURRENT_USER)), folder / "user.sqlite");
  EXPECT_EQ(orv::ToPath(orv::ExpandVariables(L"%ORV_REGISTRY_DIR%/x")), folder / "x");
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
  SetVariable("XDG_DATA_HOME", "relative");  // is ignored
  EXPECT_EQ(orv::UserFolder("XDG_DATA_HOME", "x"), folder_.path() / "x");
  SetVariable("HOME", "relative");
  EXPECT_EQ(orv::UserFolder("XDG_DATA_HOME", "x"), std::string(getpwuid(getuid())->pw_dir) + "/x");
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
  const std::ptrdiff_t before = OpenFiles();
  std::filesystem::remove_all(folder_.path() / "store");
  Write(L"three");
  EXPECT_EQ(OpenFiles(), before);
}

/// Runs work each time that SQLite has opened a file, at most so many times.
class AfterOpening {
 public:
  explicit AfterOpening(std::function<void()> work, int times = 1) {
    s_work = std::move(work);
    s_times = times;
    s_system = sqlite3_vfs_find(nullptr);
    s_replacing = *s_system;
    s_replacing.zName = "replacing";
    s_replacing.xOpen = [](sqlite3_vfs*, const char* name, sqlite3_file* file, int flags,
                           int* used) {
      const int result = s_system->xOpen(s_system, name, file, flags, used);
      if (s_times-- > 0) s_work();
      return result;
    };
    sqlite3_vfs_register(&s_replacing, 1);
  }
  AfterOpening(const AfterOpening&) = delete;
  AfterOpening& operator=(const AfterOpening&) = delete;
  ~AfterOpening() { sqlite3_vfs_unregister(&s_replacing); }

 private:
  static inline std::function<void()> s_work;
  static inline int s_times = 0;
  static inline sqlite3_vfs* s_system = nullptr;
  static inline sqlite3_vfs s_replacing;  // connections use it until they are closed
};

TEST_F(RegistryFileTest, NoticesThatItsFileWasReplacedWhileItWasOpened) {
  const std::filesystem::path file = folder_.path() / "store" / "user.sqlite";
  Write(L"one");
  const std::string one = orv::test::ReadBytes(file);
  Write(L"two");
  const std::string two = orv::test::ReadBytes(file);
  const std::ptrdiff_t before = OpenFiles();
  Replace(file, one);
  const AfterOpening opening([&] { Replace(file, two); });
  EXPECT_EQ(Read(), L"two");
  EXPECT_EQ(Read(), L"two");
  EXPECT_EQ(OpenFiles(), before);
  // A key that was opened in the other file is not one of this file.
  RegistryKey old;
  ASSERT_EQ(old.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead), ERROR_SUCCESS);
  Replace(file, one);
  RegistryValue value;
  EXPECT_EQ(orv::GetRegistryValue(old.get(), L"Value", &value), ERROR_KEY_DELETED);
}

TEST_F(RegistryFileTest, AFileThatIsReplacedAgainAndAgainIsBusy) {
  const std::filesystem::path file = folder_.path() / "store" / "user.sqlite";
  Write(L"one");
  const std::string bytes = orv::test::ReadBytes(file);
  const std::ptrdiff_t before = OpenFiles();
  Replace(file, bytes);
  {
    const AfterOpening opening([&] { Replace(file, bytes); }, 10'000);
    EXPECT_EQ(RegistryKey().Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead), ERROR_BUSY);
  }
  EXPECT_EQ(Read(), L"one");
  EXPECT_EQ(OpenFiles(), before);
}

/// Every function of the library that reads the store, with the hive that it needs. Each returns
/// the error that it reports, or `ERROR_SUCCESS` if it claims to have read the store.
struct Reader {
  const char* name;
  const char* file;
  LONG (*read)();
};

constexpr wchar_t kPrinter[] = L"Label 1";
constexpr char kUserFile[] = "user.sqlite";
constexpr char kMachineFile[] = "machine.sqlite";

/// The printer's name in the C interface.
constexpr std::uint16_t kPrinterInC[] = {'L', 'a', 'b', 'e', 'l', ' ', '1'};

/// What functions of the C interface return that ask the spooler for the printer, or look for a
/// common item.
std::vector<std::int32_t> ResultsInC() {
  constexpr auto kSize = static_cast<std::uint32_t>(std::size(kPrinterInC));
  constexpr std::uint8_t kGuid[16] = {1};
  std::uint32_t count = 0;
  void* printer = nullptr;
  orv_config* config = nullptr;
  return {orv_stock_remove(nullptr, 0, kGuid),
          orv_stock_list(kPrinterInC, kSize, nullptr, nullptr, 0, &count),
          orv_printer_open(kPrinterInC, kSize, &printer),
          orv_config_load_printer(kPrinterInC, kSize, nullptr, &config, nullptr, 0, nullptr)};
}

LONG ErrorOfList(HANDLE printer) {
  const orv::StockList list = orv::LoadStockItems(printer, kPrinter, nullptr);
  EXPECT_TRUE(!list.failure || (list.items.empty() && list.failure->store.ends_with(L".sqlite")));
  return list.failure ? list.failure->error : static_cast<LONG>(list.openError.value_or(0));
}

constexpr Reader kReaders[] = {
    {"open a key", kUserFile,
     [] { return RegistryKey().Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead); }},
    {"list keys", kUserFile,
     [] {
       std::vector<std::wstring> names;
       return orv::ListRegistryKeys(HKEY_CURRENT_USER, &names);
     }},
    {"list values", kUserFile,
     [] {
       std::vector<orv::NamedRegistryValue> values;
       return orv::ListRegistryValues(HKEY_CURRENT_USER, &values);
     }},
    {"read keys", kUserFile,
     [] {
       std::vector<orv::RegistrySubKey> subKeys;
       return orv::ReadRegistryKeys(HKEY_CURRENT_USER, &subKeys);
     }},
    {"delete a tree", kUserFile,
     [] { return orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Key\\None"); }},
    {"read a setting", kUserFile,
     [] {
       std::wstring text;
       return orv::ReadSetting(L"Test", L"None", &text);
     }},
    {"read a setting of the machine", kMachineFile,
     [] {
       std::wstring text;
       return orv::ReadSetting(L"Test", L"None", &text);
     }},
    {"find the hive of common items", kUserFile,
     [] {
       HKEY hive = nullptr;
       return orv::StockItemsHive(orv::kCommonStockItemsPath, &hive);
     }},
    {"read items", kUserFile,
     [] {
       std::vector<StockItem> items;
       return orv::ReadStockItems(L"Key", &items);
     }},
    {"read common items of the machine", kMachineFile,
     [] {
       std::vector<StockItem> items;
       return orv::ReadStockItems(orv::kCommonStockItemsPath, &items);
     }},
    {"load items", kUserFile, [] { return ErrorOfList(nullptr); }},
    {"store an item", kUserFile,
     [] {
       StockItem item;
       item.guid.Data1 = 1;
       return orv::WriteStockItem(L"Key", item);
     }},
    {"delete an item", kUserFile,
     [] {
       return orv::DeleteStockItem(L"Key", {1, 0, 0, {}});
     }},
    {"open a printer", kMachineFile,
     [] {
       const HANDLE printer = orv::OpenPrinterHandle(kPrinter);
       orv::ClosePrinterHandle(printer);
       return printer != nullptr ? ERROR_SUCCESS : static_cast<LONG>(GetLastError());
     }},
    {"open a printer of the user", kUserFile,
     [] {
       const HANDLE printer = orv::OpenPrinterHandle(kPrinter);
       orv::ClosePrinterHandle(printer);
       return printer != nullptr ? ERROR_SUCCESS : static_cast<LONG>(GetLastError());
     }},
    {"list printers", kMachineFile,
     [] {
       std::vector<orv::PrinterFacts> printers;
       return orv::ListSpoolerPrinters(&printers);
     }},
    {"list printers of the user", kUserFile,
     [] {
       std::vector<orv::PrinterFacts> printers;
       return orv::ListSpoolerPrinters(&printers);
     }},
    {"add a printer", kMachineFile, [] { return orv::AddSpoolerPrinter(L"New", L"driver"); }},
    {"remove a printer", kMachineFile, [] { return orv::RemoveSpoolerPrinter(L"None"); }},
};

/// A way in which a store cannot be read, and the error for it.
struct Damage {
  const char* name;
  LONG error;
  void (*damage)(const std::filesystem::path& file);
};

constexpr Damage kDamages[] = {
    {"text over its header", ERROR_BADDB,
     [](const std::filesystem::path& file) {
       orv::test::WriteBytes(file, "text" + orv::test::ReadBytes(file).substr(4));
     }},
    {"cut off", ERROR_BADDB,
     [](const std::filesystem::path& file) { std::filesystem::resize_file(file, 4096); }},
    {"another database", ERROR_BADDB,
     [](const std::filesystem::path& file) {
       std::filesystem::remove(file);
       sqlite3* database = nullptr;
       EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
       EXPECT_EQ(sqlite3_exec(database, "CREATE TABLE a(b)", nullptr, nullptr, nullptr), SQLITE_OK);
       sqlite3_close(database);
     }},
    {"a folder", ERROR_ACCESS_DENIED,
     [](const std::filesystem::path& file) {
       std::filesystem::remove(file);
       std::filesystem::create_directory(file);
     }},
    {"a link to itself", ERROR_REGISTRY_IO_FAILED,
     [](const std::filesystem::path& file) {
       std::filesystem::remove(file);
       std::filesystem::create_symlink(file, file);
     }},
};

TEST_F(RegistryFileTest, AnUnreadableStoreIsNeverAnEmptyOne) {
  std::filesystem::create_directories(folder_.path() / "store");
  const auto fill = [] {
    Write(L"text");
    EXPECT_EQ(orv::AddSpoolerPrinter(kPrinter, L"driver"), ERROR_SUCCESS);
  };
  for (const Damage& damage : kDamages) {
    for (const char* const name : {kUserFile, kMachineFile}) {
      const std::filesystem::path file = folder_.path() / "store" / name;
      std::filesystem::remove_all(folder_.path() / "store");
      fill();
      Replace(file, orv::test::ReadBytes(file));
      damage.damage(file);
      // A file that is cut off can be opened.
      if (std::string_view(damage.name) != "cut off") {
        EXPECT_EQ(orv::RegistryVersion(name == kUserFile ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE),
                  0U)
            << damage.name;
      }
      for (const Reader& reader : kReaders) {
        SCOPED_TRACE(std::string(reader.name) + ", " + damage.name);
        if (reader.file != name) continue;
        EXPECT_EQ(reader.read(), damage.error);
      }
      EXPECT_EQ(ResultsInC(), std::vector<std::int32_t>(4, ORV_ERROR_UNREADABLE)) << damage.name;
      std::filesystem::remove_all(folder_.path() / "store");
      EXPECT_EQ(ResultsInC(), std::vector<std::int32_t>(4, ORV_ERROR_NOT_FOUND));
      for (const Reader& reader : kReaders) {
        EXPECT_NE(reader.read(), damage.error) << reader.name << " has kept the failure";
      }
    }
  }
}

TEST_F(RegistryFileTest, AChangeAfterALongRestIsSeen) {
  const std::filesystem::path file = folder_.path() / "store" / kUserFile;
  const struct {
    const char* change;
    std::function<void()> make;
    std::wstring seen;
    LONG error;
  } cases[] = {
      {"written by another process",
       [] {
         InAnotherProcess([] {
           Write(L"two");
           return !HasFailure();
         });
       },
       L"two", ERROR_SUCCESS},
      {"touched", [&] { std::filesystem::permissions(file, std::filesystem::perms(0600)); }, L"one",
       ERROR_SUCCESS},
      {"overwritten", [&] { orv::test::WriteBytes(file, std::string(8192, 'x')); }, L"",
       ERROR_BADDB},
      {"removed", [&] { std::filesystem::remove(file); }, L"", ERROR_FILE_NOT_FOUND},
  };
  for (const auto& [change, make, seen, error] : cases) {
    SCOPED_TRACE(change);
    std::filesystem::remove_all(folder_.path() / "store");
    Write(L"one");
    EXPECT_EQ(Read(), L"one");
    usleep(150'000);
    for (int time = 0; time < 3; ++time) EXPECT_EQ(Read(), L"one");
    make();
    EXPECT_EQ(RegistryKey().Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead), error);
    EXPECT_EQ(Read(), seen);
  }
}

TEST_F(RegistryFileTest, AFileThatAnotherProcessHasJustCreatedIsEmpty) {
  std::filesystem::create_directories(folder_.path() / "store");
  orv::test::WriteBytes(folder_.path() / "store/user.sqlite", "");
  EXPECT_EQ(RegistryKey().Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kRead),
            ERROR_FILE_NOT_FOUND);
  Write(L"text");
  EXPECT_EQ(Read(), L"text");
}

TEST_F(RegistryFileTest, AMergeSaysThatTheItemsCannotBeRead) {
  Write(L"text");
  EXPECT_EQ(orv::AddSpoolerPrinter(kPrinter, L"driver"), ERROR_SUCCESS);
  const HANDLE printer = orv::OpenPrinterHandle(kPrinter);
  StockItem common;
  common.guid.Data1 = 1;
  EXPECT_EQ(orv::WriteStockItem(orv::kCommonStockItemsPath, common), ERROR_SUCCESS);
  // Without the printer's own items, the common ones would have wrong numbers.
  const std::pair<const char*, std::wstring> cases[] = {
      {kMachineFile,
       L"ERR printer Label 1 could not be opened. Error code: 1009\n"
       L"ERR Stock items could not be read from the print spooler"},
      {kUserFile, L"ERR Stock items could not be read from " +
                      orv::Utf8ToWide((folder_.path() / "store/user.sqlite").string())}};
  for (const auto& [file, error] : cases) {
    const std::string sound = orv::test::ReadBytes(folder_.path() / "store" / file);
    Replace(folder_.path() / "store" / file, std::string(8192, 'x'));
    DEVMODEW in{};
    DEVMODEW out{};
    tagOEMDEV record{};
    in.dmPaperSize = orv::kFirstStockPaperSize;
    in.dmPaperWidth = in.dmPaperLength = 500;
    orv::test::LogCapture log;
    ApplyStockItem(&in, &out, &record, printer, kPrinter, nullptr);
    std::wstring lines;
    for (const orv::test::LogLine& line : log.Take()) {
      if (line.source == L"DevMode") lines += line.tag + L' ' + line.message + L'\n';
    }
    EXPECT_EQ(lines, L"INF Loading printer settings from registry\n" + error +
                         L": the settings store is damaged (system error 1009)\n"
                         L"INF Drevik.ApplyStockItem: Applying values for paper size 257\n"
                         L"ERR Drevik.ApplyStockItem:   Stock items could not be read. Using width "
                         L"and length from OEMDevMode settings: 50000 x 50000\n");
    EXPECT_EQ(out.dmPaperSize, 257);
    EXPECT_EQ(out.dmPaperWidth, 500);
    // A program that has only the printer's name gets the reason, too.
    orv_config* config = nullptr;
    std::array<std::uint16_t, 150> reason{};
    std::uint32_t length = 0;
    EXPECT_EQ(orv_config_load_printer(kPrinterInC, std::size(kPrinterInC), nullptr, &config,
                                      reason.data(), reason.size(), &length),
              ORV_ERROR_UNREADABLE);
    const std::wstring damaged = L": the settings store is damaged (system error 1009)";
    EXPECT_EQ(
        std::wstring(reason.begin(), reason.begin() + length),
        L"the configuration cannot be read: the spooler does not describe the printer" + damaged);
    const std::vector<std::wstring> messages = log.TakeMessages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(), L"The spooler does not describe the printer" + damaged);
    Replace(folder_.path() / "store" / file, sound);
  }
  orv::ClosePrinterHandle(printer);
}

/// Another process that holds a file's lock, because SQLite's locks of one process are shared. No
/// call waits for it long.
class LockHolder {
 public:
  explicit LockHolder(const std::filesystem::path& file, const char* lock = "BEGIN EXCLUSIVE") {
    EXPECT_EQ(pipe(ready_) + pipe(release_), 0);
    child_ = fork();
    char byte = 0;
    if (child_ == 0) {
      sqlite3* other = nullptr;
      const bool isHeld = sqlite3_open(file.c_str(), &other) == SQLITE_OK &&
                          sqlite3_exec(other, lock, nullptr, nullptr, nullptr) == SQLITE_OK &&
                          write(ready_[1], "", 1) == 1 && read(release_[0], &byte, 1) == 1;
      _exit(isHeld ? 0 : 1);
    }
    EXPECT_EQ(read(ready_[0], &byte, 1), 1);
    orv::Request::s_maxWait = std::chrono::milliseconds(20);
  }
  void Release() {
    EXPECT_EQ(write(release_[1], "", 1), 1);
    int status = -1;
    EXPECT_EQ(waitpid(child_, &status, 0), child_);
    EXPECT_EQ(status, 0);
    orv::Request::s_maxWait = orv::Request::kMaxWait;
    for (const int end : {ready_[0], ready_[1], release_[0], release_[1]}) close(end);
  }

 private:
  int ready_[2];
  int release_[2];
  pid_t child_;
};

TEST_F(RegistryFileTest, ALockedFileTakesTheTimeOfARequestOnce) {
  Write(L"one");
  LockHolder holder(folder_.path() / "store/user.sqlite");
  {
    const orv::RegistrySnapshot request;
    RegistryValue value;
    std::vector<StockItem> items;
    EXPECT_EQ(orv::GetRegistryValue(HKEY_CURRENT_USER, L"Value", &value), ERROR_BUSY);
    const auto waited = orv::Request::OfThread().waited;
    EXPECT_GE(waited, orv::Request::s_maxWait);
    for (const Reader& reader : kReaders) {
      if (reader.file == kMachineFile) continue;
      EXPECT_EQ(reader.read(), ERROR_BUSY) << reader.name;
    }
    EXPECT_EQ(orv::Request::OfThread().waited, waited) << "it has waited again";
    holder.Release();
    EXPECT_EQ(orv::ReadStockItems(L"Key", &items), ERROR_BUSY) << "half of a request has failed";
  }
  EXPECT_EQ(Read(), L"one");
}

TEST_F(RegistryFileTest, SessionsThatAreLockedAreReadAgain) {
  Write(L"one");
  EXPECT_EQ(Read(), L"one");
  orv::test::LogCapture log;
  LockHolder holder(folder_.path() / "store/user.sqlite");
  EXPECT_EQ(CleanupRegSessionData(kPrinter, L"driver"), 1u);
  holder.Release();
  EXPECT_EQ(CleanupRegSessionData(kPrinter, L"driver"), 1u);
  EXPECT_EQ(log.TakeText(),
            L"ERRSessionData Error accessing Session Data. Error code: 170\n"
            L"TRCSessionData Error accessing Session Data. Error code: 2\n");
}

TEST_F(RegistryFileTest, AWriteThatFailsKeepsTheOldItems) {
  StockItem items[2];
  for (StockItem& item : items) item.guid.Data1 = &item == items ? 1 : 2;
  items[0].DisplayName = items[1].DisplayName = L"old";
  ASSERT_EQ(orv::ImportStockItems(L"Key", items, nullptr), ERROR_SUCCESS);
  items[0].DisplayName = items[1].DisplayName = L"new";
  const std::filesystem::path file = folder_.path() / "store/user.sqlite";
  const auto expectOld = [] {
    std::vector<StockItem> read;
    EXPECT_EQ(orv::ReadStockItems(L"Key", &read), ERROR_SUCCESS);
    ASSERT_EQ(read.size(), 2U);
    EXPECT_EQ(read[0].DisplayName + read[1].DisplayName, L"oldold");
  };
  // No room for the journal: files cannot grow.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{100, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_NE(orv::ImportStockItems(L"Key", items, nullptr), ERROR_SUCCESS);
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  expectOld();
  // One item is refused: none is stored.
  items[1].PaperWidth = orv::kMaxStockSize + 1;
  EXPECT_EQ(orv::ImportStockItems(L"Key", items, nullptr), ERROR_INVALID_PARAMETER);
  items[1].PaperWidth = 0;
  expectOld();
  // A file of a later format, which may only be read.
  std::string bytes = orv::test::ReadBytes(file);
  bytes[18] = 3;
  Replace(file, bytes);
  EXPECT_EQ(orv::ImportStockItems(L"Key", items, nullptr), ERROR_ACCESS_DENIED);
  expectOld();
}

TEST_F(RegistryFileTest, ChangesThatFailLeaveBothHivesAsTheyWere) {
  using Kind = orv::RegistryChange::Kind;
  const RegistryValue value = RegistryValue::FromText(L"new");
  std::size_t failed = 9;
  const orv::RegistryChange deletion{Kind::kDeleteKey, HKEY_LOCAL_MACHINE, L"Key", L"", {}};
  EXPECT_EQ(orv::ChangeRegistry({&deletion, 1}, &failed), ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));  // nothing to delete, and no file
  Write(L"old");
  std::vector<orv::RegistryChange> changes = {
      {Kind::kSetValue, HKEY_CURRENT_USER, L"Key", L"Value", value},
      deletion,
      {Kind::kSetValue, HKEY_LOCAL_MACHINE, L"Key", L"Value", value},
      {Kind::kMakeKey, HKEY_CURRENT_USER, std::wstring(256, L'k'), L"", {}},
  };
  const auto expectOld = [&](LONG error, std::size_t at) {
    EXPECT_EQ(orv::ChangeRegistry(changes, &failed), error);
    EXPECT_EQ(failed, at);
    EXPECT_EQ(Read(), L"old");
    RegistryKey key;
    EXPECT_NE(key.Open(HKEY_LOCAL_MACHINE, L"Key", RegistryAccess::kRead), ERROR_SUCCESS);
  };
  expectOld(ERROR_INVALID_PARAMETER, 3);
  changes.pop_back();
  // The machine's hive cannot be written: its first change is the one that fails.
  const std::filesystem::path machine = folder_.path() / "store/machine.sqlite";
  orv::test::WriteBytes(machine, std::string(4096, 'x'));
  expectOld(ERROR_BADDB, 1);
  Replace(machine, std::string(4096, 'x'));  // replaced before it is opened again
  EXPECT_EQ(orv::ChangeRegistry({&deletion, 1}, &failed), ERROR_BADDB);
  // Without changes of the machine's hive its state does not matter.
  EXPECT_EQ(orv::ChangeRegistry({changes.data(), 1}, &failed), ERROR_SUCCESS);
  std::filesystem::remove(machine);
  Write(L"old");
  // The second lock, a reader's, prevents only the commit.
  for (const char* const lock : {"BEGIN EXCLUSIVE", "BEGIN; SELECT * FROM sqlite_master"}) {
    LockHolder holder(folder_.path() / "store/user.sqlite", lock);
    EXPECT_EQ(orv::ChangeRegistry(changes, &failed), ERROR_BUSY);
    EXPECT_EQ(failed, 0u);
    holder.Release();
    EXPECT_EQ(Read(), L"old");
  }
}

TEST_F(RegistryFileTest, ChangesAreMadeInTheirOrder) {
  using Kind = orv::RegistryChange::Kind;
  const RegistryValue value = RegistryValue::FromText(L"new");
  Write(L"old");
  std::wstring deep;
  for (int i = 0; i < 512; ++i) deep += L"d\\";
  const orv::RegistryChange changes[] = {
      {Kind::kSetValue, HKEY_CURRENT_USER, L"", L"Other", value},
      {Kind::kDeleteKey, HKEY_CURRENT_USER, L"", L"", {}},  // empties the hive
      {Kind::kSetValue, HKEY_CURRENT_USER, L"Key", L"Other", value},
      {Kind::kDeleteKey, HKEY_CURRENT_USER, L"Key", L"", {}},
      {Kind::kSetValue, HKEY_CURRENT_USER, L"Key", L"Value", value},
      {Kind::kMakeKey, HKEY_CURRENT_USER, deep, L"", {}},
      {Kind::kMakeKey, HKEY_LOCAL_MACHINE, L"Key", L"", {}},
  };
  std::size_t failed = 9;
  EXPECT_EQ(orv::ChangeRegistry(changes, &failed), ERROR_SUCCESS);
  EXPECT_EQ(Read(), L"new");
  EXPECT_EQ(orv::test::UserText(L"Key", L"Other"), L"");
  EXPECT_EQ(orv::test::UserText(L"", L"Other"), L"");
  RegistryKey key;
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, deep, RegistryAccess::kRead), ERROR_SUCCESS);
  EXPECT_EQ(key.Open(HKEY_LOCAL_MACHINE, L"Key", RegistryAccess::kRead), ERROR_SUCCESS);
}

TEST_F(RegistryFileTest, AForkedProcessOpensItsOwnConnection) {
  Write(L"parent");
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, L"Key", RegistryAccess::kReadWrite), ERROR_SUCCESS);
  EXPECT_EQ(orv::CurrentProcessId(), static_cast<DWORD>(getpid()));
  InAnotherProcess([&] {
    // The open key is still valid here.
    return orv::CurrentProcessId() == static_cast<DWORD>(getpid()) &&
           orv::SetRegistryValue(key.get(), L"Value", RegistryValue::FromText(L"child")) ==
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

TEST_F(RegistryFileTest, KeptItemsFollowEveryChange) {
  const auto put = [](DWORD number) {
    StockItem item;
    item.guid.Data1 = item.Darkness = number;
    return orv::WriteStockItem(orv::kCommonStockItemsPath, item) == ERROR_SUCCESS;
  };
  const auto change = [&](const std::string& statement) {
    InAnotherProcess([&] {
      sqlite3* other = nullptr;
      return sqlite3_open((folder_.path() / "store/user.sqlite").c_str(), &other) == SQLITE_OK &&
             sqlite3_exec(other, statement.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    });
  };
  const auto loaded = [] {
    std::string numbers;
    const orv::StockList list = orv::LoadStockItems(nullptr, L"", nullptr);
    EXPECT_FALSE(list.failure);
    for (const StockItem& item : list.items) numbers += std::to_string(item.Darkness) + ' ';
    return numbers;
  };
  const std::string last = "folded = 'DARKNESS' AND key = (SELECT max(id) FROM keys)";
  for (const bool isOlder : {false, true}) {
    std::filesystem::remove_all(folder_.path() / "store");
    EXPECT_TRUE(put(1) && put(2));
    if (isOlder) {
      change(
          "DROP TRIGGER stamp_on_insert; DROP TRIGGER stamp_on_update;"
          "DROP TRIGGER stamp_on_delete; ALTER TABLE keys DROP COLUMN stamp");
    }
    EXPECT_EQ(loaded(), "1 2 ");
    change("UPDATE key_values SET data = x'05000000' WHERE " + last);
    EXPECT_EQ(loaded(), "1 5 ");
    change("DELETE FROM key_values WHERE " + last);
    EXPECT_EQ(loaded(), "1 0 ");
    InAnotherProcess([&] { return put(3); });  // adds the stamps
    EXPECT_EQ(loaded(), "1 0 3 ");
    change("UPDATE key_values SET data = x'06000000' WHERE " + last);
    EXPECT_EQ(loaded(), "1 0 6 ");
    change("DELETE FROM keys WHERE folded LIKE '{00000001%'");
    EXPECT_EQ(loaded(), "0 6 ");
    EXPECT_TRUE(put(4));
    EXPECT_EQ(loaded(), "0 6 4 ");
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
    EXPECT_FALSE(orv::test::HasUserKey(L"Other"));  // not read before, so the file is read again
    EXPECT_EQ(Read(), L"two");
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
  // Two names with half a character would be stored as the same.
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, L"\xD800"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"\xD800", RegistryAccess::kRead), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key.Create(HKEY_CURRENT_USER, L"\xD83D\xDE00"), ERROR_SUCCESS);
  EXPECT_EQ(orv::SetRegistryValue(key.get(), L"\xDC00", {}), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(orv::SetRegistryValue(key.get(), L"\xFFFD", {}), ERROR_SUCCESS);
  RegistryValue value;
  EXPECT_EQ(orv::GetRegistryValue(key.get(), L"\xDC00", &value), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(orv::DeleteRegistryValue(key.get(), L"\xDC00"), ERROR_FILE_NOT_FOUND);
}

}  // namespace
