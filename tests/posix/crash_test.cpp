/// The state of files after the process that writes them is killed, or on a full disk: each file is
/// the complete old or new one. `ORV_CRASH_ROUNDS` increases the rounds, `ORV_CRASH_SEED` repeats a
/// failed run.

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "base/utf8.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "tests/fixtures.h"
#include "tests/png_file.h"

namespace {

using orv::RegistryKey;
using orv::RegistryValue;
using orv::test::ReadBytes;
using orv::test::SetVariable;
using orv::test::UserText;

unsigned NumberFrom(const char* variable, unsigned byDefault) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? byDefault : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

class Crash : public testing::Test {
 protected:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  const unsigned seed_ = NumberFrom("ORV_CRASH_SEED", std::random_device()());
  std::mt19937 random_{seed_};
  orv::test::TemporaryFolder folder_;
  testing::ScopedTrace trace_{__FILE__, __LINE__, "ORV_CRASH_SEED=" + std::to_string(seed_)};
};

// The settings store.

constexpr unsigned kWriters = 3;
constexpr wchar_t kKey[] = L"Crash";

/// The value that a writer writes in a step; some occupy several database pages.
std::wstring TextOf(unsigned writer, unsigned step) {
  return std::to_wstring(writer) + L' ' + std::to_wstring(step) +
         std::wstring(step * 7919 % 5000, static_cast<wchar_t>(L'a' + step % 26));
}

std::wstring KeyOf(unsigned writer) {
  return std::wstring(kKey) + L"\\w" + std::to_wstring(writer);
}

/// The content of a writer's keys.
struct State {
  std::wstring value;
  bool hasSubKey = false;
  bool operator==(const State&) const = default;
};

/// The state after a step: odd steps set the value, even ones alternately create and delete a key.
State StateAfter(unsigned writer, unsigned step) {
  return {step == 0 ? L"" : TextOf(writer, (step - 1) | 1), step >= 4 && step % 4 < 2};
}

bool RunStep(unsigned writer, unsigned step) {
  RegistryKey key;
  if (key.Create(HKEY_CURRENT_USER, KeyOf(writer)) != ERROR_SUCCESS) return false;
  if (step % 4 == 0) return RegistryKey().Create(key.get(), L"sub\\key") == ERROR_SUCCESS;
  if (step % 4 == 2) {
    const LONG error = orv::DeleteRegistryTree(key.get(), L"sub");
    return error == ERROR_SUCCESS || (step == 2 && error == ERROR_FILE_NOT_FOUND);
  }
  const RegistryValue value = RegistryValue::FromText(TextOf(writer, step));
  return orv::SetRegistryValue(key.get(), L"Value", value) == ERROR_SUCCESS &&
         orv::test::SetUserValue(kKey, L"Shared", value);
}

State ReadState(unsigned writer) {
  return {UserText(KeyOf(writer), L"Value"), orv::test::HasUserKey(KeyOf(writer) + L"\\sub\\key")};
}

/// The result of SQLite's integrity check, on a separate connection.
std::string CheckStore(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return "ok";  // killed before it was created
  sqlite3* database = nullptr;
  std::string said;
  const auto add = [](void* to, int, char** columns, char**) {
    *static_cast<std::string*>(to) += columns[0];
    return 0;
  };
  if (sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
      sqlite3_exec(database, "PRAGMA integrity_check", add, &said, nullptr) != SQLITE_OK) {
    said = sqlite3_errmsg(database);
  }
  sqlite3_close(database);
  return said;
}

/// A writer's progress, in memory that outlives it.
struct Progress {
  std::atomic<unsigned> begun;
  std::atomic<unsigned> done;
};

TEST_F(Crash, KilledWritersLeaveTheSettingsOldOrNew) {
  void* const shared = mmap(nullptr, sizeof(Progress) * kWriters, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* const progress = static_cast<Progress*>(shared);
  constexpr unsigned kRoundsPerStore = 8;
  unsigned cutOff = 0;
  for (unsigned round = 0; round < NumberFrom("ORV_CRASH_ROUNDS", 16); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::filesystem::path store =
        folder_.path() / ("store" + std::to_string(round / kRoundsPerStore));
    SetVariable("ORV_REGISTRY_DIR", store.native());
    std::array<pid_t, kWriters> writers{};
    int steps[2];  // a pipe with one byte for each step that begins
    ASSERT_EQ(pipe(steps), 0);
    for (unsigned writer = 0; writer < kWriters; ++writer) {
      if (round % kRoundsPerStore == 0) progress[writer].begun = progress[writer].done = 0;
      // An interrupted step may have taken effect or not: the next writer continues after it.
      progress[writer].done = progress[writer].begun.load();
      writers[writer] = fork();
      if (writers[writer] != 0) continue;
      for (;;) {
        const unsigned step = ++progress[writer].begun;
        if (write(steps[1], "", 1) != 1 || !RunStep(writer, step)) _exit(1);
        ++progress[writer].done;
      }
    }
    // Kills all after a random number of steps and yields, wherever each writer is.
    close(steps[1]);
    char byte = 0;
    unsigned left = 1 + Below(round % kRoundsPerStore == 0 ? 10 : 40);
    while (left > 0 && read(steps[0], &byte, 1) == 1) --left;
    for (unsigned turns = Below(200); turns > 0; --turns) sched_yield();
    std::array<int, kWriters> ends{};
    for (const pid_t writer : writers) kill(writer, SIGKILL);
    for (unsigned i = 0; i < kWriters; ++i) waitpid(writers[i], &ends[i], 0);
    close(steps[0]);

    for (unsigned writer = 0; writer < kWriters; ++writer) {
      EXPECT_TRUE(WIFSIGNALED(ends[writer])) << "a step failed";
      const unsigned begun = progress[writer].begun;
      const State state = ReadState(writer);
      EXPECT_TRUE(state == StateAfter(writer, progress[writer].done) ||
                  state == StateAfter(writer, begun))
          << writer << " step " << begun << " value " << orv::WideToUtf8(state.value.substr(0, 20))
          << " key " << state.hasSubKey;
      // The interrupted step counts as done from here on, and is repeated if it had no effect.
      if (begun != 0 && state != StateAfter(writer, begun)) RunStep(writer, begun);
      cutOff += begun != progress[writer].done;
    }
    // The value that all writers set: one of their values, complete.
    const std::wstring last = UserText(kKey, L"Shared");
    if (!last.empty()) {
      unsigned writer = 0;
      unsigned step = 0;
      ASSERT_EQ(std::swscanf(last.c_str(), L"%u %u", &writer, &step), 2);
      EXPECT_EQ(last, TextOf(writer, step));
    }
    EXPECT_EQ(CheckStore(store / "user.sqlite"), "ok");
    if (HasFailure()) break;
  }
  SetVariable("ORV_REGISTRY_DIR", {});
  munmap(shared, sizeof(Progress) * kWriters);
  EXPECT_GT(cutOff, 0u) << "no writer was killed within a step";
}

// Files that the program writes.

/// Starts the program under ptrace, stopped before its first instruction. Its output is discarded.
pid_t StartWatched(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {ORV_PROGRAM};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  std::fflush(stdout);
  const pid_t process = fork();
  if (process == 0) {
    // The leak sanitizer needs ptrace itself.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    if (std::freopen("/dev/null", "w", stdout) == nullptr ||
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
      _exit(1);
    }
    raise(SIGSTOP);
    execv(argv[0], const_cast<char**>(argv.data()));
    _exit(1);
  }
  return process;
}

/// Runs the program under ptrace, which stops it before and after each system call. The process is
/// killed after `killAt` stops. Returns the number of stops until its end, or -1 where tracing is
/// not allowed.
int RunWatched(const std::vector<std::string>& arguments, int killAt) {
  const pid_t process = StartWatched(arguments);
  int status = 0;
  int stops = -1;
  while (waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
    if (++stops == killAt) kill(process, SIGKILL);
    const int signal = WSTOPSIG(status) == SIGTRAP || stops == 0 ? 0 : WSTOPSIG(status);
    if (ptrace(PTRACE_SYSCALL, process, nullptr, signal) != 0 && stops != killAt) break;
  }
  return stops;
}

TEST_F(Crash, AKilledImportStoresAllItemsOrNone) {
  const std::filesystem::path store = folder_.path() / "store";
  const std::string file = (folder_.path() / "items.reg").string();
  SetVariable("ORV_REGISTRY_DIR", store.native());
  std::vector<StockItem> items(40);
  for (std::size_t i = 0; i < items.size(); ++i) {
    items[i].guid.Data1 = static_cast<std::uint32_t>(i + 1);
    items[i].DisplayName = L"Shelf " + std::to_wstring(i);
    for (const orv::StockValue& value : orv::StockValues()) items[i].*value.field = 1000;
  }
  EXPECT_EQ(orv::ImportStockItems(orv::kCommonStockItemsPath, items, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(
      orv::test::RunProgram(ORV_PROGRAM, {"stock", "export", "--common", "-o", file}).exitCode, 0);
  std::filesystem::remove_all(store);
  const std::vector<std::string> imports[] = {{"stock", "import", file, "--common"},
                                              {"registry", "import", file}};
  int allStops[2];
  for (unsigned i = 0; i < 2; ++i) {
    allStops[i] = RunWatched(imports[i], -1);
    if (allStops[i] < 0) GTEST_SKIP() << "processes cannot be watched here";
    std::filesystem::remove_all(store);
  }
  for (unsigned round = 0; round < NumberFrom("ORV_CRASH_ROUNDS", 8); ++round) {
    const std::vector<std::string>& import = imports[round % 2];
    const int stops = allStops[round % 2];
    SCOPED_TRACE(import[0]);
    std::filesystem::remove_all(store);
    // The last system calls write the items.
    const int at = stops - static_cast<int>(Below(static_cast<unsigned>(std::min(stops, 200))));
    RunWatched(import, at);
    std::vector<StockItem> read;
    EXPECT_EQ(orv::ReadStockItems(orv::kCommonStockItemsPath, &read), ERROR_SUCCESS);
    EXPECT_TRUE(read.empty() || read.size() == items.size())
        << read.size() << " items at stop " << at << " of " << stops;
    for (const StockItem& item : read) {
      for (const orv::StockValue& value : orv::StockValues()) EXPECT_EQ(item.*value.field, 1000u);
    }
    EXPECT_EQ(CheckStore(store / "user.sqlite"), "ok");
  }
  SetVariable("ORV_REGISTRY_DIR", {});
}

/// A command, and the files that it writes.
struct Command {
  std::vector<std::string> arguments;
  std::vector<std::string> targets;
  bool isNew = false;  ///< it refuses an existing file, so there is no old one
};

class ReplacedFiles : public Crash {
 protected:
  ReplacedFiles() {
    SetVariable("ORV_REGISTRY_DIR", File("settings"));
    std::filesystem::create_directory(folder_.path() / "out");
    orv::test::WritePng(page_, orv::test::kPngKinds[0], 300, 200, false);
    std::string text = ReadBytes(ORV_EXAMPLES "/orv_conf_lx300.xml");
    text.replace(text.find(">LXB-2<"), 7, ">LXB-3<");
    orv::test::WriteBytes(File("plain.xml"), text);
    Run({"config", "protect", File("plain.xml"), File("protected.xml")});
    Run({"config", "sign", File("plain.xml")});
    // The text no longer matches its signature.
    text = ReadBytes(File("plain.xml"));
    text.replace(text.find("LXB-3"), 5, "LXB-4");
    orv::test::WriteBytes(File("changed.xml"), text);
    // A log that no other process writes, for the report.
    orv::test::WriteBytes(File("a.log"), orv::test::Utf16Bytes(L"05.03.2024\t14:07:09.042\tERR\t"
                                                               L"p.exe\tm.dll\tConfig\tfirst\r\n"));
    Run({"printers", "add", "Label 1", "ORV-LX 300"});
    Run({"devmode", "default", "Label 1", "--config-dir", ORV_EXAMPLES, "-o", File("a.dev")});
    Run({"stock", "add", "Shelf", "--common", "--from", File("a.dev"), "--width", "50", "--length",
         "30"});
  }
  ~ReplacedFiles() override { SetVariable("ORV_REGISTRY_DIR", {}); }

  std::string File(const std::string& name) const { return (folder_.path() / name).string(); }
  std::string Out(const std::string& name) const { return File("out/" + name); }
  static void Run(const std::vector<std::string>& arguments) {
    const orv::test::ProgramResult result = orv::test::RunProgram(ORV_PROGRAM, arguments);
    EXPECT_EQ(result.exitCode, 0) << result.messages;
  }

  std::vector<Command> Commands() const {
    return {
        {{"config", "sign", Out("a.xml")}, {"a.xml"}},
        {{"config", "sign", Out("p.xml")}, {"p.xml"}},
        {{"config", "protect", "--force", File("plain.xml"), Out("b.xml")}, {"b.xml"}},
        {{"config", "unprotect", "--force", File("protected.xml"), Out("c.xml")}, {"c.xml"}},
        {{"xml", "set", Out("d.xml"), "/xmlData/@new", "value"}, {"d.xml"}},
        {{"xml", "convert", "--force", File("plain.xml"), "--to", "UTF-16", "-o", Out("e.xml")},
         {"e.xml"}},
        {{"page", "dither", "--force", page_, Out("f.png")}, {"f.png"}},
        {{"page", "split", "--force", page_, "--background", Out("g.png"), "--colour", "E02020",
          "--highlight", Out("h.png")},
         {"g.png", "h.png"}},
        {{"devmode", "default", "--force", "Label 1", "--config-dir", ORV_EXAMPLES, "-o",
          Out("i.dev")},
         {"i.dev"}},
        {{"registry", "export", "--force", "HKCU\\Software", "-o", Out("j.reg")}, {"j.reg"}},
        {{"stock", "export", "--force", "--common", "-o", Out("k.reg")}, {"k.reg"}},
        {{"config", "new", "--set", "created=2026-03-02T08:00:00", "--set",
          "lastModified=2026-03-02T08:00:00", "-o", Out("l.xml")},
         {"l.xml"},
         true},
        {{"report", "--force", "Label 1", "--config-dir", ORV_EXAMPLES, "--log", File("a.log"),
          "-o", Out("m.html")},
         {"m.html"}},
        {{"page", "mono", "--force", page_, Out("n.png")}, {"n.png"}},
        {{"page", "preview", "--force", page_, "-o", Out("o.png")}, {"o.png"}},
        {{"page", "compare-methods", "--force", page_, "-o", Out("q.png")}, {"q.png"}},
        {{"page", "explain", "--force", page_, "--colour", "E02020", "--picture", Out("r.png")},
         {"r.png"}},
        {{"devmode", "merge", "--force", "Label 1", "--config-dir", ORV_EXAMPLES, "--in",
          File("a.dev"), "-o", Out("s.dev")},
         {"s.dev"}},
        {{"devmode", "text", "--force", File("a.dev"), "-o", Out("t.txt")}, {"t.txt"}},
        {{"devmode", "bytes", "--force", File("a.dev"), "-o", Out("u.dev")}, {"u.dev"}},
        {{"devmode", "set", "--force", File("a.dev"), "Darkness=1", "-o", Out("v.dev")}, {"v.dev"}},
    };
  }

  /// Restores the old files of a command; returns their content.
  std::string PutOld(const Command& command) const {
    std::filesystem::remove_all(Out(""));
    std::filesystem::create_directory(Out(""));
    const bool isProtected = command.targets[0] == "p.xml";
    std::string old = ReadBytes(File(isProtected ? "protected.xml" : "changed.xml"));
    for (const std::string& target : command.targets) {
      if (!command.isNew) orv::test::WriteBytes(Out(target), old);
    }
    return old;
  }

  std::map<std::string, std::string> OutFiles() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Out(""))) {
      std::string& bytes = files[entry.path().filename().string()] = ReadBytes(entry.path());
      // A report contains the minute in which it was generated.
      constexpr std::string_view kMade = "<p>Report of 0000-00-00 00:00";
      if (const std::size_t at = bytes.find("<p>Report of "); at != bytes.npos) {
        bytes.erase(at, kMade.size());
      }
    }
    return files;
  }

  const std::string page_ = File("page.png");  // small, so that the methods take no time
};

TEST_F(ReplacedFiles, AreOldOrNewWhenTheirWriterIsKilled) {
  const unsigned rounds = NumberFrom("ORV_CRASH_ROUNDS", 4);
  for (const Command& command : Commands()) {
    SCOPED_TRACE(command.arguments[0] + " " + command.arguments[1]);
    const std::string old = PutOld(command);
    const int stops = RunWatched(command.arguments, -1);
    if (stops < 0) GTEST_SKIP() << "processes cannot be watched here";
    const std::map<std::string, std::string> made = OutFiles();
    ASSERT_EQ(made.size(), command.targets.size());
    for (const auto& [name, bytes] : made) ASSERT_NE(bytes, old);
    // Most stops belong to the start of the program; files are written in its last system calls.
    for (unsigned round = 0; round < rounds; ++round) {
      const int last = std::min(stops, round % 4 == 0 ? stops : 100);
      const int at = stops - static_cast<int>(Below(static_cast<unsigned>(last)));
      PutOld(command);
      RunWatched(command.arguments, at);
      for (const auto& [name, bytes] : OutFiles()) {
        const auto target = made.find(name);
        if (target != made.end()) {
          EXPECT_TRUE(bytes == old || bytes == target->second)
              << name << " of " << bytes.size() << " bytes at stop " << at << " of " << stops;
        } else {
          // The temporary file in the folder is recognized by its name.
          EXPECT_EQ(
              made.count(name.substr(0, name.size() - std::min(name.size(), sizeof ".XXXXXX" - 1))),
              1u)
              << name;
        }
      }
      for (const std::string& target : command.targets) {
        EXPECT_TRUE(command.isNew || std::filesystem::exists(Out(target)))
            << target << " at stop " << at;
      }
    }
    if (HasFailure()) break;
  }
}

#if defined(__x86_64__)
/// Runs the program. Of its system calls on files, without standard streams, the one with the
/// number `failing`, from 0, is skipped and fails with EIO; -1 for none. Sets `calls` to the number
/// of such calls and returns the status at the end.
int RunWithFailure(const std::vector<std::string>& arguments, int failing, int* calls) {
  static const std::set<std::uint64_t> kFileCalls = {
      SYS_openat,    SYS_read,   SYS_pread64, SYS_write,     SYS_pwrite64,  SYS_writev,
      SYS_fstat,     SYS_close,  SYS_fsync,   SYS_fdatasync, SYS_rename,    SYS_renameat2,
      SYS_ftruncate, SYS_unlink, SYS_link,    SYS_mkdir,     SYS_fcntl,     SYS_newfstatat,
      SYS_lseek,     SYS_access, SYS_chmod,   SYS_fchmod,    SYS_getdents64};
  const pid_t process = StartWatched(arguments);
  int status = 0;
  bool isFailing = false;
  *calls = 0;
  while (waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
    if (*calls == 0) ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD);
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof call, &call);
    user_regs_struct registers{};
    if (call.op == PTRACE_SYSCALL_INFO_ENTRY && kFileCalls.contains(call.entry.nr) &&
        call.entry.args[0] > STDERR_FILENO && (*calls)++ == failing) {
      isFailing = true;
      ptrace(PTRACE_GETREGS, process, nullptr, &registers);
      registers.orig_rax = ~0ULL;  // no system call
      ptrace(PTRACE_SETREGS, process, nullptr, &registers);
    } else if (call.op == PTRACE_SYSCALL_INFO_EXIT && std::exchange(isFailing, false)) {
      ptrace(PTRACE_GETREGS, process, nullptr, &registers);
      registers.rax = static_cast<unsigned long long>(-EIO);
      ptrace(PTRACE_SETREGS, process, nullptr, &registers);
    }
    // Stops at a call, at the start and after execv are not meant for the program.
    const int signal = WSTOPSIG(status) & ~0x80;
    const bool isOwn = signal != SIGTRAP && signal != SIGSTOP;
    if (ptrace(PTRACE_SYSCALL, process, nullptr, isOwn ? signal : 0) != 0) break;
  }
  return status;
}

TEST_F(ReplacedFiles, AreOldOrNewWhenACallFails) {
  const unsigned rounds = NumberFrom("ORV_CRASH_ROUNDS", 4);
  for (const Command& command : Commands()) {
    SCOPED_TRACE(command.arguments[0] + " " + command.arguments[1]);
    const std::string old = PutOld(command);
    int calls = 0;
    const int done = RunWithFailure(command.arguments, -1, &calls);
    if (calls == 0) GTEST_SKIP() << "processes cannot be watched here";
    ASSERT_TRUE(WIFEXITED(done) && WEXITSTATUS(done) == 0) << done;
    const std::map<std::string, std::string> made = OutFiles();
    std::map<std::string, std::string> before;
    for (const std::string& target : command.targets) {
      if (!command.isNew) before[target] = old;
    }
    const auto all = static_cast<unsigned>(calls);
    std::set<unsigned> halfDone;
    for (unsigned round = 0; round < std::min(rounds, all); ++round) {
      // Every call if the rounds suffice; otherwise mostly the last calls, which write the files.
      const unsigned last = round % 4 == 0 ? all : std::min(all, 40u);
      const unsigned at = rounds >= all ? round : all - 1 - Below(last);
      PutOld(command);
      const int status = RunWithFailure(command.arguments, static_cast<int>(at), &calls);
      EXPECT_TRUE(WIFEXITED(status)) << "status " << status << " after call " << at;
      // The program may ignore a failure that does not matter. After any other, only the old files
      // are there. The system cannot replace two files at once, so one call may leave a new and an
      // old file.
      const std::map<std::string, std::string> files = OutFiles();
      bool isRight = files == (status == 0 ? made : before);
      if (status == 0 && command.arguments[0] == "report") {  // it may report the failure
        isRight = files.size() == 1 && files.begin()->second.ends_with("</html>\n");
      }
      const bool isHalfDone = status != 0 && command.targets.size() == 2 &&
                              std::ranges::all_of(files, [&](const auto& file) {
                                return made.contains(file.first) &&
                                       (file.second == made.at(file.first) || file.second == old);
                              });
      if (!isRight && isHalfDone) halfDone.insert(at);
      EXPECT_TRUE(isRight || isHalfDone)
          << "exit code " << WEXITSTATUS(status) << " after call " << at << " of " << all << ": "
          << testing::PrintToString(files).substr(0, 300);
    }
    EXPECT_LE(halfDone.size(), 1u);
    if (HasFailure()) break;
  }
}
#endif

TEST_F(ReplacedFiles, StayWhenTheDiskIsFull) {
  // Files cannot grow beyond this limit, as on a full disk.
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  for (const Command& command : Commands()) {
    SCOPED_TRACE(command.arguments[0] + " " + command.arguments[1]);
    PutOld(command);
    Run(command.arguments);
    const std::size_t size = ReadBytes(Out(command.targets[0])).size();
    const std::string old = PutOld(command);
    for (const std::size_t room : {size - 1, size / 2}) {
      const rlimit limit{room, before.rlim_max};
      setrlimit(RLIMIT_FSIZE, &limit);
      const orv::test::ProgramResult result = orv::test::RunProgram(ORV_PROGRAM, command.arguments);
      setrlimit(RLIMIT_FSIZE, &before);
      EXPECT_EQ(result.exitCode, 3) << room;
      EXPECT_NE(result.messages.find("cannot write"), std::string::npos) << result.messages;
      const std::map<std::string, std::string> files = OutFiles();
      // No temporary file remains.
      EXPECT_EQ(files.size(), command.isNew ? 0u : command.targets.size());
      for (const auto& [name, bytes] : files) EXPECT_TRUE(bytes == old) << name;
    }
  }
  signal(SIGXFSZ, handler);
}

}  // namespace
