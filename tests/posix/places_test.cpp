/// Unwritable locations, users without a home folder, and time zones.

#include <gtest/gtest.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>

#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "orv/settings/settings.h"
#include "orv/xml/markup.h"
#include "tests/fixtures.h"

namespace {

using orv::RegistryKey;
using orv::test::ProgramResult;
using orv::test::ReadBytes;
using orv::test::RunProgram;
using orv::test::SetVariable;
using orv::test::WriteBytes;

/// Runs `work` in a child process as an unprivileged user without a home folder. Unless root runs
/// the test, the user does not change.
template <typename Work>
void AsNobody(Work work) {
  constexpr uid_t kNobody = 54321;
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(1);
    work();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

void ExpectFails(const std::vector<std::string>& arguments, const std::string& message) {
  if (access(ORV_PROGRAM, X_OK) != 0) return;  // in a folder that the user cannot access
  const ProgramResult result = RunProgram(ORV_PROGRAM, arguments);
  EXPECT_EQ(result.exitCode, 3) << arguments[0] << ' ' << arguments[1];
  EXPECT_TRUE(result.messages.starts_with("orv: ") &&
              result.messages.find(message) != std::string::npos)
      << result.messages;
}

TEST(Places, AFileThatCannotBeReadIsNotContinued) {
  const orv::test::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "a.xml";
  WriteBytes(file, std::string("\xFF\xFE<\0a\0/\0>\0", 10));
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0777));
  std::filesystem::permissions(file, std::filesystem::perms(0222));
  AsNobody([&] {
    CMarkup doc;
    EXPECT_FALSE(doc.Open(folder.Name(L"a.xml"), CMarkup::DOC_APPENDFILE));
    EXPECT_EQ(doc.GetError(), L"cannot open " + folder.Name(L"a.xml") + L": access is denied");
    EXPECT_TRUE(doc.Open(folder.Name(L"new.xml"), CMarkup::DOC_APPENDFILE));
    EXPECT_TRUE(doc.Close());
  });
  std::filesystem::permissions(file, std::filesystem::perms(0666));
  EXPECT_EQ(std::filesystem::file_size(file), 10u);
}

TEST(Places, AReadOnlyFolderDoesNotChange) {
  const orv::test::TemporaryFolder folder;
  const std::string example = ReadBytes(ORV_EXAMPLES "/orv_conf_lx300.xml");
  const auto path = [&](const char* name) { return (folder.path() / name).string(); };
  WriteBytes(path("a.xml"), example);
  std::filesystem::permissions(path("a.xml"), std::filesystem::perms(0444));
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0555));
  AsNobody([&] {
    CMarkup doc(L"<a/>");
    for (const wchar_t* name : {L"a.xml", L"new.xml"}) {
      EXPECT_FALSE(doc.Save(folder.Name(name)));
      EXPECT_EQ(doc.GetError(), L"cannot write " + folder.Name(name) + L": access is denied");
    }
    ExpectFails({"config", "sign", path("a.xml")}, "cannot write " + path("a.xml"));
    ExpectFails({"config", "protect", path("a.xml"), path("b.xml")}, "cannot write");
    ExpectFails({"page", "mono", ORV_EXAMPLES "/label_page.png", path("c.png")}, "cannot write");
    SetVariable("ORV_REGISTRY_DIR", path("store"));
    RegistryKey key;
    EXPECT_EQ(key.Create(HKEY_CURRENT_USER, L"Key"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(orv::ReadSetting(L"Test", L"LogLevel"), L"");
    ExpectFails({"registry", "set", "HKCU\\Key", "n", "v"}, "access is denied");
    // Entries that cannot be written are dropped, and nothing else fails.
    CLogger::m_stDesiredLogPath = folder.Name();
    CLogger::m_bWriteLogToDebug = 0;
    CLogger::LOG_ERROR(nullptr, L"message", nullptr);
  });
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  EXPECT_EQ(ReadBytes(path("a.xml")), example);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(Places, AUserWithoutAHomeHasNoSettings) {
  if (geteuid() != 0) GTEST_SKIP() << "this user has a home";
  AsNobody([] {
    for (const char* home : {"", "relative", "/proc/none"}) {
      SetVariable("HOME", home);
      SetVariable("XDG_DATA_HOME", *home == 'r' ? "relative/too" : "");
      // The folder is looked up again when the variable changes.
      SetVariable("ORV_REGISTRY_DIR", "/proc/other");
      orv::ReadSetting(L"Test", L"LogLevel");
      SetVariable("ORV_REGISTRY_DIR", {});
      EXPECT_EQ(orv::ReadSetting(L"Test", L"LogLevel"), L"");
      RegistryKey key;
      EXPECT_EQ(key.Create(HKEY_CURRENT_USER, L"Key"),
                *home == '/' ? ERROR_ACCESS_DENIED : ERROR_PATH_NOT_FOUND)
          << home;
      ExpectFails({"registry", "set", "HKCU\\Key", "n", "v"},
                  *home == '/' ? "access is denied" : "the folder does not exist");
      if (access(ORV_PROGRAM, X_OK) == 0) {
        EXPECT_EQ(RunProgram(ORV_PROGRAM, {"printers", "list"}).exitCode, 0);
        EXPECT_EQ(RunProgram(ORV_PROGRAM, {"registry", "list", "HKCU"}).exitCode, 0);
      }
    }
  });
}

TEST(Places, AFullDeviceIsAFailure) {
  ExpectFails({"config", "protect", ORV_EXAMPLES "/orv_conf_lx300.xml", "/dev/full"},
              "cannot write /dev/full");
  ExpectFails({"page", "mono", ORV_EXAMPLES "/label_page.png", "/dev/full"}, "cannot write");
  for (const char* command :
       {"config show " ORV_EXAMPLES "/orv_conf_lx300p.xml",
        "config unprotect " ORV_EXAMPLES "/orv_conf_lx300p.xml -",
        "page dither " ORV_EXAMPLES "/label_page.png -", "config --help", "config"}) {
    const std::string line = std::string(ORV_PROGRAM " ") + command + " >/dev/full";
    EXPECT_EQ(RunProgram("/bin/sh", {"-c", line}).exitCode, 3) << command;
  }
}

TEST(Places, ADamagedStoreIsNotAnEmptyOne) {
  const orv::test::TemporaryFolder folder;
  SetVariable("ORV_REGISTRY_DIR", folder.path().string());
  const std::string item = "{5B0C7A52-31D4-4E8B-9C3F-6A1D2E4F7B90}";
  const auto path = [&](const char* name) { return (folder.path() / name).string(); };
  const std::vector<std::string> add = {"stock",   "add",          "Shelf",     "-p", "Label 1",
                                        "--width", "50",           "--length",  "30", "--guid",
                                        item,      "--config-dir", ORV_EXAMPLES};
  for (const std::vector<std::string>& made :
       {{"printers", "add", "Label 1", "ORV-LX 300"},
        add,
        {"stock", "export", "-p", "Label 1", "-o", path("a.reg")},
        {"devmode", "default", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", path("a.dev")}}) {
    EXPECT_EQ(RunProgram(ORV_PROGRAM, made).exitCode, 0) << made[0] << ' ' << made[1];
  }
  // The items are in one store and the printers in the other.
  const std::pair<const char*, std::vector<std::vector<std::string>>> cases[] = {
      {"user.sqlite",
       {add,
        {"stock", "list", "-p", "Label 1"},
        {"stock", "list", "--common"},
        {"stock", "edit", item, "-p", "Label 1", "--width", "5"},
        {"stock", "remove", item, "-p", "Label 1"},
        {"stock", "export", "-p", "Label 1", "-o", path("b.reg")},
        {"stock", "import", path("a.reg"), "-p", "Label 1"},
        {"devmode", "merge", "Label 1", "--config-dir", ORV_EXAMPLES, "--paper-size", "257", "-o",
         path("b.dev")},
        {"devmode", "merge", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", path("b.dev")},
        {"devmode", "explain", "Label 1", "--config-dir", ORV_EXAMPLES},
        {"registry", "list", "HKCU\\Software"},
        {"log", "show"},
        {"report", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", path("b.html")}}},
      {"machine.sqlite",
       {{"printers", "list"},
        {"registry", "export", "HKLM\\System"},
        {"log", "show"},
        {"stock", "add", "Shelf", "--common", "--defaults", "Label 1", "--width", "5", "--length",
         "5"},
        {"stock", "list", "-p", "Label 1"},
        {"devmode", "default", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", path("b.dev")},
        {"devmode", "merge", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", path("b.dev")},
        {"devmode", "check", path("a.dev"), "--printer", "Label 1"},
        {"report", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", path("b.html")}}}};
  for (const auto& [store, commands] : cases) {
    const std::string bytes = ReadBytes(path(store));
    WriteBytes(path(store), "overwritten" + bytes.substr(11));
    for (const auto& command : commands) {
      ExpectFails(command, path(store) + ": the settings store is damaged");
    }
    WriteBytes(path(store), bytes);
  }
  for (const char* name : {"b.reg", "b.dev", "b.html"}) {
    EXPECT_FALSE(std::filesystem::exists(path(name))) << name;
  }
  SetVariable("ORV_REGISTRY_DIR", {});
}

/// The content of a folder and of the folders in it.
std::map<std::filesystem::path, std::string> ContentOf(const std::filesystem::path& folder) {
  std::map<std::filesystem::path, std::string> content;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    content[entry.path()] = entry.is_regular_file() ? ReadBytes(entry.path()) : "";
  }
  return content;
}

/// Leaves a store with a journal, as a writer does that is killed.
void Interrupt(const std::filesystem::path& store) {
  const std::filesystem::path journal = store.native() + "-journal";
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(store.c_str(), &database), SQLITE_OK);
  constexpr char kWrite[] =
      "PRAGMA cache_size = 1; BEGIN; CREATE TABLE a(b); INSERT INTO a VALUES(zeroblob(99999));"
      "UPDATE keys SET name = zeroblob(9999)";
  ASSERT_EQ(sqlite3_exec(database, kWrite, nullptr, nullptr, nullptr), SQLITE_OK);
  const std::string bytes[] = {ReadBytes(store), ReadBytes(journal)};
  sqlite3_close(database);
  WriteBytes(store, bytes[0]);
  WriteBytes(journal, bytes[1]);
}

TEST(Places, TheDoctorFindsFaultsAndChangesNothing) {
  const orv::test::TemporaryFolder folder;
  const std::filesystem::path user = folder.path() / "user.sqlite";
  const std::filesystem::path machine = folder.path() / "machine.sqlite";
  SetVariable("XDG_STATE_HOME", (folder.path() / "state").string());
  const auto overwrite = [](const std::filesystem::path& file, std::size_t at,
                            std::size_t count = 100) {
    std::string bytes = ReadBytes(file);
    WriteBytes(file, bytes.replace(at, count, count, 'x'));
  };
  const auto setLog = [](const char* name, const char* value, const char* type = "REG_SZ") {
    const char* const key = "HKCU\\Software\\orv Printer Driver\\Test";
    EXPECT_EQ(
        RunProgram(ORV_PROGRAM, {"registry", "set", key, name, value, "--type", type}).exitCode, 0);
  };
  const std::string name = user.string();
  const passwd* const owner = getpwuid(geteuid());
  ASSERT_NE(owner, nullptr);
  const struct {
    const char* state;
    std::function<void()> make;
    int exitCode;
    std::vector<std::string> rows;
  } cases[] = {
      {"healthy", [] {}, 0, {"ok       user settings      " + name, "readable and writable"}},
      {"empty",
       [&] {
         std::filesystem::remove(user);
         std::filesystem::remove(machine);
       },
       0,
       {name + ": nothing stored yet", "warning  printers", "-> orv printers add NAME DRIVER"}},
      {"damaged header",
       [&] { overwrite(user, 0); },
       1,
       {"error    user settings", name + " (owner: " + owner->pw_name + ')',
        "the settings store is damaged", "-> restore it from a backup", "error    printers"}},
      {"damaged page",
       [&] { overwrite(machine, 2 * 4096 + 3); },
       1,
       {"ok       user settings", "error    machine settings", "the settings store is damaged"}},
      {"damaged counter",
       [&] { overwrite(user, 4096 + 7, 1); },  // which readers do not use
       1,
       {"error    user settings", "the settings store is damaged"}},
      {"another program's database",
       [&] {
         std::filesystem::remove(user);
         sqlite3* database = nullptr;
         ASSERT_EQ(sqlite3_open(user.c_str(), &database), SQLITE_OK);
         sqlite3_exec(database, "CREATE TABLE a(b)", nullptr, nullptr, nullptr);
         sqlite3_close(database);
       },
       1,
       {"error    user settings", "the settings store is damaged"}},
      {"a link to a file that can be created",
       [&] {
         std::filesystem::remove(user);
         std::filesystem::create_symlink("new.sqlite", user);
       },
       0,
       {"ok       user settings", name + ": nothing stored yet"}},
      {"folders that can be created",
       [&] { SetVariable("ORV_REGISTRY_DIR", (folder.path() / "none/deep").string()); },
       0,
       {"ok       user settings", "none/deep/user.sqlite: nothing stored yet"}},
      {"folders below a file",
       [&] { SetVariable("ORV_REGISTRY_DIR", (user / "deep").string()); },
       0,
       {"warning  user settings", "deep/user.sqlite: nothing stored yet, but not writable"}},
      {"interrupted",
       [&] { Interrupt(user); },
       0,
       {"warning  user settings", "a program was ended while it was writing", "warning  printers",
        "cannot be listed until the interrupted write is undone"}},
      {"not a folder for logs",
       [&] { setLog("LogPath", "/proc/none"); },
       0,
       {"warning  log", "LogPath is not a folder: /proc/none", "-> create the folder"}},
      {"a number",
       [&] { setLog("LogLevel", "15", "REG_DWORD"); },
       0,
       {"warning  log                LogLevel is ignored: it is not a text (REG_SZ)"}},
      {"a long text",
       [&] { setLog("LogLevel", std::string(512, '1').c_str()); },
       0,
       {"warning  log                LogLevel is read as empty: it has more than 1024 bytes"}},
      {"no level",
       [&] { setLog("LogLevel", "16"); },
       0,
       {"warning  log                nothing is logged: LogLevel is \"16\""}},
      {"no level, but sources",
       [&] { setLog("LogLevel", "0"), setLog("LogGroups", "#DevMode##Config#"); },
       0,
       {"; logged: everything of DevMode, Config\n"}},
      {"half a source",
       [&] { setLog("LogGroups", "#DevMode"); },
       0,
       {"warning  log                LogGroups has a name that is not between number signs: "}},
  };
  for (const auto& [state, make, exitCode, rows] : cases) {
    SCOPED_TRACE(state);
    SetVariable("ORV_REGISTRY_DIR", folder.path().string());
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      std::filesystem::remove_all(entry.path());
    }
    EXPECT_EQ(RunProgram(ORV_PROGRAM, {"printers", "add", "Label 1", "ORV-LX 300"}).exitCode, 0);
    EXPECT_EQ(RunProgram(ORV_PROGRAM, {"registry", "set", "HKCU\\Key", "n", "v"}).exitCode, 0);
    make();
    const auto before = ContentOf(folder.path());
    const ProgramResult result = RunProgram(ORV_PROGRAM, {"doctor", "--config-dir", ORV_EXAMPLES});
    EXPECT_EQ(result.exitCode, exitCode) << result.output;
    for (const std::string& row : rows) {
      EXPECT_NE(result.output.find(row), result.output.npos) << row << "\n" << result.output;
    }
    EXPECT_TRUE(ContentOf(folder.path()) == before);
  }
  SetVariable("XDG_STATE_HOME", {});
  SetVariable("ORV_REGISTRY_DIR", {});
}

TEST(Places, AUserWithoutTheMachinesSettingsHasOwnPrinters) {
  if (geteuid() != 0) GTEST_SKIP() << "this user's folders are its own";
  const orv::test::TemporaryFolder folder;
  SetVariable("ORV_REGISTRY_DIR", folder.path().string());
  const std::vector<std::string> list = {"printers", "list"};
  for (const char* printer : {"Label 1", "Label 2"}) {
    EXPECT_EQ(RunProgram(ORV_PROGRAM, {"printers", "add", printer, "machine"}).exitCode, 0);
  }
  EXPECT_EQ(RunProgram(ORV_PROGRAM, {"registry", "set", "HKCU\\Key", "n", "v"}).exitCode, 0);
  std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
  std::filesystem::permissions(folder.path() / "user.sqlite", std::filesystem::perms(0666));
  AsNobody([&] {
    if (access(ORV_PROGRAM, X_OK) != 0) return;  // in a folder that the user cannot access
    const auto expect = [](const std::vector<std::string>& arguments, int exitCode,
                           const std::string& text) {
      const ProgramResult result = RunProgram(ORV_PROGRAM, arguments);
      EXPECT_EQ(result.exitCode, exitCode) << result.messages;
      EXPECT_NE((result.output + result.messages).find(text), std::string::npos)
          << arguments[1] << result.output << result.messages;
    };
    expect({"printers", "add", "Label 3", "own"}, 0, "the printer was added for you alone, in ");
    expect({"printers", "add", "Label 1", "own"}, 1, "the printer already exists");
    expect({"printers", "add", "--user", "LABEL 1", "own"}, 0, "");
    expect(list, 0, "LABEL 1  own      user\nLabel 2  machine  machine\nLabel 3  own      user\n");
    expect({"printers", "remove", "Label 1"}, 0, "");
    expect(list, 0, "Label 1  machine  machine\n");
    expect({"printers", "remove", "Label 1"}, 3, "only the administrator may write it");
    expect({"registry", "set", "HKLM\\Key", "n", "v"}, 3,
           "machine.sqlite: access is denied (system error 5); only the administrator may write");
  });
  // The administrator has nothing to do with the user's own store.
  for (const unsigned permissions : {0444u, 0u}) {
    std::filesystem::permissions(folder.path() / "user.sqlite",
                                 std::filesystem::perms(permissions));
    AsNobody([&] {
      if (access(ORV_PROGRAM, X_OK) != 0) return;
      const ProgramResult result = RunProgram(ORV_PROGRAM, {"printers", "remove", "Label 3"});
      EXPECT_EQ(result.exitCode, 3);
      EXPECT_TRUE(result.messages.ends_with("user.sqlite: access is denied (system error 5)\n"))
          << result.messages;
      const std::string found = RunProgram(ORV_PROGRAM, {"doctor"}).output;
      EXPECT_NE(found.find(permissions != 0 ? ": readable, but not writable" : "-> ask its owner"),
                found.npos)
          << found;
    });
  }
  SetVariable("ORV_REGISTRY_DIR", {});
}

TEST(Places, AMergeOfTheProgramReadsTheItemsOnce) {
  const orv::test::TemporaryFolder folder;
  SetVariable("ORV_REGISTRY_DIR", folder.path().string());
  const std::string settings = "HKCU\\Software\\orv Printer Driver\\Test";
  const std::string out = (folder.path() / "a.dev").string();
  ProgramResult last;
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"printers", "add", "Label 1", "ORV-LX 300"},
           {"registry", "set", settings, "LogPath", folder.path().string()},
           {"registry", "set", settings, "WriteLogToFile", "1"},
           {"registry", "set", settings, "LogLevel", "15"},
           {"devmode", "merge", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", out},
           {"log", "show", "--level", "info", "--source", "DevMode"}}) {
    last = RunProgram(ORV_PROGRAM, arguments);
    EXPECT_EQ(last.exitCode, 0) << arguments[0] << ' ' << arguments[1] << last.messages;
  }
  const std::size_t first = last.output.find("Loading printer settings");
  EXPECT_NE(first, last.output.npos) << last.output;
  EXPECT_EQ(last.output.find("Loading printer settings", first + 1), last.output.npos)
      << last.output;
  SetVariable("ORV_REGISTRY_DIR", {});
}

TEST(Places, TheLogUsesTheLocalTimeZone) {
  const orv::test::ScratchRegistry registry;
  orv::test::LogToFileAlone(L"1");
  const char* const old = std::getenv("TZ");
  const std::string zone = old != nullptr ? old : "";
  // In TZ the sign is inverted: it is what must be added to the zone's time to get UTC.
  const std::pair<const char*, int> cases[] = {{"UTC0", 0},
                                               {"AAA-14", 14 * 60},
                                               {"BBB+12", -12 * 60},
                                               {"CCC-5:45", 5 * 60 + 45},
                                               {"<+0330>-3:30", 3 * 60 + 30},
                                               {"no/such zone", 0}};
  for (const auto& [name, minutes] : cases) {
    SetVariable("TZ", name);
    // The C library's second starts up to one tick after that of the log's finer clock.
    const std::time_t before = std::time(nullptr) + minutes * 60 - 1;
    EXPECT_EQ(RunProgram(ORV_TEST_HELPER, {"log"}).exitCode, 0);
    const std::time_t after = std::time(nullptr) + minutes * 60 + 1;
    bool isFound = false;
    for (const auto& entry : std::filesystem::directory_iterator(orv::test::LogFolder().path())) {
      const std::string bytes = ReadBytes(entry.path());
      std::string text;
      for (std::size_t i = 0; i < bytes.size(); i += 2) text += bytes[i];
      const std::size_t line = text.rfind('\n', text.size() - 2) + 1;
      std::tm time{};
      ASSERT_NE(strptime(text.c_str() + line, "%d.%m.%Y\t%H:%M:%S", &time), nullptr);
      const std::time_t logged = timegm(&time);
      char file[64];
      std::strftime(file, sizeof file, "orv_logfile-%Y-%m-%d.log", &time);
      EXPECT_EQ(entry.path().filename(), file);
      isFound |= logged >= before && logged <= after;
    }
    orv::test::ClearLogs();
    EXPECT_TRUE(isFound) << name;
  }
  SetVariable("TZ", zone);
}

}  // namespace
