/// Services that Windows has and the library implements itself on Linux.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <latch>
#include <thread>

#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "platform/code_pages.h"
#include "platform/console.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "platform/fork.h"
#include "platform/letter_case.h"
#include "platform/new_file.h"
#include "platform/processes.h"
#include "tests/fixtures.h"
#include "tests/posix/child_process.h"

// Its macros have the names of the logger's functions.
#include <syslog.h>

namespace {

using orv::test::TemporaryFolder;

TEST(LetterCase, IsKeptAboveFFFF) { EXPECT_EQ(orv::LowerCase(L"\U00010400"), L"\U00010400"); }

TEST(CodePages, PartsEndAtACharacter) {
  constexpr std::pair<std::string_view, std::size_t> kParts[] = {
      {"", 0}, {"a", 0}, {"/", 1}, {"a/\x81\x30", 2}, {"\x81\x30\x81\x30 a", 5}};
  for (const auto& [bytes, length] : kParts) EXPECT_EQ(orv::LengthToCharacterEnd(bytes), length);
}

TEST(ExclusiveFile, TrustsNothingThatOthersPrepared) {
  const TemporaryFolder folder;
  const auto file = [&](const char* name, uid_t owner, mode_t mode) {
    std::filesystem::path path = folder.path() / name;
    orv::test::WriteBytes(path, "x");
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_EQ(geteuid() == 0 ? chown(path.c_str(), owner, getegid()) : 0, 0);
    return path;
  };
  std::filesystem::create_symlink("target", folder.path() / "dangling");
  std::filesystem::create_symlink(file("own", geteuid(), 0666), folder.path() / "link");
  struct {
    std::filesystem::path path;
    bool isTrusted;
  } const cases[] = {{folder.path() / "new", true},
                     {folder.path() / "own", true},
                     {folder.path() / "link", false},
                     {folder.path() / "dangling", false},
                     // Unless root runs the test, this file is the user's own.
                     {file("theirs", 54321, 0666), geteuid() != 0},
                     {file("theirs, closed", 54321, 0664), true}};
  for (const auto& [path, isTrusted] : cases) {
    EXPECT_EQ(orv::ExclusiveFile().OpenTrusted(path), isTrusted) << path;
  }
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "target"));
}

TEST(NewFile, CreatesTheTargetOfALink) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path() / "far");
  std::filesystem::create_symlink("second", folder.path() / "first");
  std::filesystem::create_symlink("far/target", folder.path() / "second");
  std::filesystem::create_symlink("loop", folder.path() / "loop");
  // As many links as the system follows.
  std::filesystem::create_symlink("far/last", folder.path() / "40");
  for (int link = 39; link > 0; --link) {
    std::filesystem::create_symlink(std::to_string(link + 1), folder.path() / std::to_string(link));
  }
  const auto write = [&](const wchar_t* name) {
    orv::NewFile file;
    return file.Open(folder.Name(name)) && file.Write("x") && file.Commit();
  };
  EXPECT_TRUE(write(L"first"));
  EXPECT_TRUE(write(L"1"));
  EXPECT_FALSE(write(L"loop"));
  for (const char* const link : {"first", "second", "40", "loop"}) {
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / link)) << link;
  }
  EXPECT_EQ(orv::test::ReadBytes(folder.path() / "far/target"), "x");
}

TEST(NewFile, TakesTheRightsOfTheFileThatItReplaces) {
  const TemporaryFolder folder;
  const auto rightsAfterWriting = [&] {
    orv::NewFile file;
    EXPECT_TRUE(file.Open(folder.Name(L"file")) && file.Write("x") && file.Commit());
    return static_cast<unsigned>(std::filesystem::status(folder.path() / "file").permissions());
  };
  const mode_t mask = umask(0027);
  EXPECT_EQ(rightsAfterWriting(), 0640U);
  std::filesystem::permissions(folder.path() / "file", std::filesystem::perms(0604));
  EXPECT_EQ(rightsAfterWriting(), 0604U);
  umask(mask);
}

/// Interrupts the system calls of this process again and again, for 0 no longer.
void InterruptCalls(int microseconds) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval timer{{0, microseconds}, {0, microseconds}};
  setitimer(ITIMER_REAL, &timer, nullptr);
}

TEST(Console, WaitsForNonBlockingAndInterruptedStreams) {
  const std::string text(1 << 20, 'x');
  for (const auto& [flags, pause] : {std::pair(0, 1000), {O_NONBLOCK, 1000}, {O_NONBLOCK, 0}}) {
    EXPECT_TRUE(orv::test::SucceedsInAChild([&, flags = flags, pause = pause] {
      int ends[2];
      if (pipe2(ends, flags) != 0) return false;
      if (fork() == 0) {
        dup2(ends[1], STDOUT_FILENO);
        usleep(5000);  // so that the reader waits
        InterruptCalls(pause);
        _exit(orv::WriteOutput(orv::OutputStream::kResults, text) ? 0 : 1);
      }
      close(ends[1]);
      dup2(ends[0], STDIN_FILENO);
      InterruptCalls(pause);
      std::string all;
      std::string part;
      while (orv::ReadInput(&part) && !part.empty()) {
        all += part;
        usleep(2000);  // so that the pipe is full most of the time
      }
      InterruptCalls(0);
      int status = -1;
      const bool isAtEnd = orv::ReadInput(&part) && part.empty();
      close(STDIN_FILENO);
      return wait(&status) > 0 && status == 0 && all == text && isAtEnd && !orv::ReadInput(&part) &&
             part.empty();
    })) << flags
        << ' ' << pause;
  }
}

TEST(Console, ATerminalHasAWidthAndGivesLines) {
  int terminal = -1;
  int ours = -1;
  const winsize size{24, 61, 0, 0};
  ASSERT_EQ(openpty(&terminal, &ours, nullptr, nullptr, &size), 0);
  EXPECT_EQ(write(terminal, "a line\n\n\x04", 9), 9);  // and the end of the input
  EXPECT_TRUE(orv::test::SucceedsInAChild([&] {
    using enum orv::OutputStream;
    dup2(ours, STDIN_FILENO);
    dup2(ours, STDERR_FILENO);
    dup2(open("/dev/null", O_RDONLY), STDOUT_FILENO);
    std::string line;
    const winsize unknown{};
    return orv::IsInputTerminal() && orv::IsTerminal(kMessages) && !orv::IsTerminal(kResults) &&
           orv::TerminalWidth(kMessages) == 61 && !orv::TerminalWidth(kResults) &&
           orv::WriteOutput(kMessages, "x") && !orv::WriteOutput(kResults, "x") &&
           orv::ReadInputLine(&line) && line == "a line" && orv::ReadInputLine(&line) &&
           line.empty() && !orv::ReadInputLine(&line) &&
           ioctl(terminal, TIOCSWINSZ, &unknown) == 0 && !orv::TerminalWidth(kMessages);
  }));
  close(terminal);
  close(ours);
}

orv::Lock forkLocks[2];
const bool forkLocksAreHeld =
    orv::HoldDuringFork(&forkLocks[0]) && orv::HoldDuringFork(&forkLocks[1]);

TEST(Fork, WaitsForTheLocksOfThreads) {
  ASSERT_TRUE(forkLocksAreHeld);
  const auto areFree = [] {
    return std::ranges::all_of(forkLocks, [](orv::Lock& lock) {
      const bool isFree = lock.try_lock();
      if (isFree) lock.unlock();
      return isFree;
    });
  };
  for (orv::Lock& held : forkLocks) {
    std::atomic<bool> isHeld{false};
    std::latch childEnded{1};
    std::thread owner([&] {
      {
        const orv::LockGuard guard(held);
        isHeld = true;
        usleep(20'000);
        isHeld = false;
      }
      // If it ended before the fork, the thread sanitizer would report in the child that nothing
      // joined it.
      childEnded.wait();
    });
    while (!isHeld) std::this_thread::yield();
    EXPECT_TRUE(orv::test::SucceedsInAChild([&] { return !isHeld && areFree(); }));
    childEnded.count_down();
    owner.join();
    EXPECT_TRUE(areFree());
  }
}

TEST(Modules, AProgramWhoseFileWasReplacedKeepsItsName) {
  const orv::test::ScratchRegistry registry;
  orv::test::LogToFileAlone(L"1");
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "replaced";
  std::filesystem::copy_file(ORV_TEST_HELPER, file);
  const int open = ::open(file.c_str(), O_RDONLY);
  std::filesystem::remove(file);
  const std::string program = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(open);
  EXPECT_EQ(orv::test::RunProgram(program, {"log"}).exitCode, 0);
  close(open);
  EXPECT_NE(orv::test::ReadLogs().find(L"\treplaced\treplaced\tHelper\t"), std::wstring::npos);
  orv::test::ClearLogs();
}

TEST(Processes, OthersSeeWhatAProcessSeesItself) {
  const DWORD id = orv::CurrentProcessId();
  const pid_t parent = getppid();
  const auto timeOf = [](DWORD process) {
    const orv::ProcessHandle opened(process, orv::ProcessAccess::kQuery);
    std::uint64_t time = 0;
    return orv::GetProcessCreationTime(opened.get(), &time) ? time : 0;
  };
  const std::uint64_t time = timeOf(id);
  usleep(20'000);  // twice the unit of start times
  EXPECT_TRUE(orv::test::SucceedsInAChild([&] {
    orv::ProcessEntry entry;
    return orv::FindProcess(id, &entry) && entry.name.starts_with(L"platform_test") &&
           entry.parentId == static_cast<DWORD>(parent) && timeOf(id) == time &&
           timeOf(orv::CurrentProcessId()) > time;
  }));
}

std::ptrdiff_t OpenFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(Processes, TheParentIsOpenUntilItIsKnownNotToBeAHost) {
  const orv::test::LogCapture log;
  ReleaseSessionDataInstance();
  const std::ptrdiff_t before = OpenFiles();
  HANDLE parent = nullptr;
  EXPECT_EQ(GetSessionParendHandle(&parent), 1u);
  ASSERT_NE(parent, nullptr);
  EXPECT_EQ(OpenFiles(), before + 1);
  std::uint64_t times[] = {1, 2};
  const orv::ProcessHandle same(static_cast<DWORD>(getppid()), orv::ProcessAccess::kQuery);
  EXPECT_TRUE(orv::GetProcessCreationTime(parent, &times[0]) &&
              orv::GetProcessCreationTime(same.get(), &times[1]));
  EXPECT_EQ(times[0], times[1]);
  std::uint32_t isHost = 7;
  EXPECT_EQ(GetSessionIsSystemParent(&isHost), 1u);
  EXPECT_EQ(isHost, 0u);
  EXPECT_EQ(OpenFiles(), before + 1);  // the one of this test
  ReleaseSessionDataInstance();
}

TEST(Processes, AreOpenOnlyWhileTheyAreCompared) {
  const pid_t other = fork();
  if (other == 0) {
    pause();
    _exit(0);
  }
  const int input = dup(STDIN_FILENO);
  for (const bool isInputOpen : {true, false}) {
    if (!isInputOpen) close(STDIN_FILENO);
    const std::ptrdiff_t before = OpenFiles();
    std::uint32_t isValid = 7;
    const std::uint64_t time = 1;
    const auto process = static_cast<std::uint32_t>(other);
    EXPECT_EQ(IsSessionProcessStillValid(&isValid, process, L"x", &time), 1u);
    EXPECT_EQ(isValid, 0u);
    EXPECT_NE(orv::FindProcessName(process), L"");
    EXPECT_EQ(OpenFiles(), before);
  }
  dup2(input, STDIN_FILENO);
  close(input);
  kill(other, SIGKILL);
  siginfo_t ended;
  EXPECT_EQ(waitid(P_PID, static_cast<id_t>(other), &ended, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(orv::OpenProcessHandle(static_cast<DWORD>(other), orv::ProcessAccess::kQueryLimited),
            nullptr);
  EXPECT_EQ(waitpid(other, nullptr, 0), other);
}

TEST(Processes, OrphansReadTheProgramOfTheirNewParent) {
  int held[2];
  int results[2];
  ASSERT_EQ(pipe(held) + pipe(results), 0);
  char result = 0;
  if (fork() == 0) {
    const pid_t parent = getpid();
    if (fork() != 0) {
      close(held[1]);
      _exit(static_cast<int>(read(held[0], &result, 1)));
    }
    orv::test::LogCapture log;
    const auto hasParent = [&log] {
      std::uint32_t ignored = 0;
      ReloadSessionInfo();
      GetSessionIsSystemParent(&ignored);
      const std::wstring lines = log.TakeText();
      const std::size_t at = lines.find(L"called with parent: ");
      return at != lines.npos && lines.find(L"(platform_test", at) < lines.find(L'\n', at);
    };
    ReleaseSessionDataInstance();
    const bool isRight = hasParent();
    HANDLE kept = nullptr;
    GetSessionParendHandle(&kept);
    close(held[1]);  // ends the parent
    while (getppid() == parent) usleep(1000);
    _exit(static_cast<int>(write(results[1], isRight && !hasParent() ? "y" : "n", 1)));
  }
  for (const int end : {held[0], held[1], results[1]}) close(end);
  EXPECT_EQ(read(results[0], &result, 1), 1);
  EXPECT_EQ(result, 'y');
  close(results[0]);
  EXPECT_GT(wait(nullptr), 0);
}

constexpr wchar_t kPrinters[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\";

/// The drivers of all printers.
std::wstring DriversOfAll() {
  std::vector<orv::PrinterFacts> printers;
  EXPECT_EQ(orv::ListSpoolerPrinters(&printers), ERROR_SUCCESS);
  std::wstring drivers;
  for (const orv::PrinterFacts& printer : printers) drivers += printer.driverName + L';';
  return drivers;
}

TEST(Spooler, AKeyWithoutANameIsNotAPrinter) {
  const orv::test::ScratchRegistry registry;
  EXPECT_TRUE(orv::test::SetUserValue(kPrinters + std::wstring(L"Label 1"), L"Printer Driver",
                                      orv::RegistryValue::FromText(L"user's")));
  const orv::test::TestPrinter printer(L"Label 1", L"machine's");
  orv::PrinterFacts facts;
  EXPECT_TRUE(orv::GetPrinterFacts(printer.handle(), &facts));
  EXPECT_EQ(facts.driverName, L"machine's");
  EXPECT_EQ(DriversOfAll(), L"machine's;");
  EXPECT_EQ(orv::AddSpoolerPrinter(L"Label 1", L"user's", orv::PrinterOwner::kUser), ERROR_SUCCESS);
  EXPECT_EQ(DriversOfAll(), L"user's;");
  EXPECT_EQ(orv::RemoveSpoolerPrinter(L"Label 1"), ERROR_SUCCESS);
  EXPECT_EQ(DriversOfAll(), L"machine's;");
}

TEST(Spooler, ANameTooLongForAKeyIsUnknown) {
  const orv::test::ScratchRegistry registry;
  EXPECT_EQ(orv::RemoveSpoolerPrinter(std::wstring(300, L'n')), ERROR_INVALID_PRINTER_NAME);
}

TEST(Spooler, ARemovedPrinterHasOnlyTheCommonItems) {
  const orv::test::ScratchRegistry registry;
  const orv::test::TestPrinter printer(L"Label 1", L"driver");
  const auto load = [&] { return orv::LoadStockItems(printer.handle(), L"Label 1", nullptr); };
  StockItem item;
  for (const std::wstring& path :
       {std::wstring(orv::kCommonStockItemsPath), orv::StockItemsPath(L"Label 1", L"driver")}) {
    ++item.guid.Data1;
    EXPECT_EQ(orv::WriteStockItem(path, item), ERROR_SUCCESS);
  }
  EXPECT_EQ(load().items.size(), 2u);
  EXPECT_EQ(orv::RemoveSpoolerPrinter(L"Label 1"), ERROR_SUCCESS);
  const orv::StockList list = load();
  EXPECT_FALSE(list.failure.has_value());
  ASSERT_EQ(list.items.size(), 1u);
  EXPECT_EQ(list.items[0].guid.Data1, 1u);
}

TEST(Spooler, ListsPrintersByNameAndNotByKey) {
  const orv::test::ScratchRegistry registry;
  using orv::RegistryChange;
  const auto name = [](const wchar_t* key, const wchar_t* text) {
    return RegistryChange{RegistryChange::Kind::kSetValue, HKEY_LOCAL_MACHINE,
                          kPrinters + std::wstring(key), L"Name",
                          orv::RegistryValue::FromText(text)};
  };
  const RegistryChange changes[] = {name(L"1", L"b"), name(L"2", L"A")};
  std::size_t failed = 0;
  ASSERT_EQ(orv::ChangeRegistry(changes, &failed), ERROR_SUCCESS);
  std::vector<orv::PrinterFacts> printers;
  ASSERT_EQ(orv::ListSpoolerPrinters(&printers), ERROR_SUCCESS);
  ASSERT_EQ(printers.size(), 2u);
  EXPECT_EQ(printers[0].printerName + printers[1].printerName, L"Ab");
}

TEST(Modules, RelativePathsBecomeAbsolute) {
  const TemporaryFolder folder;
  const std::filesystem::path current = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_EQ(orv::test::PathOfModuleAt("./module.so"), folder.Name(L"module.so"));
  std::filesystem::current_path(current);
}

TEST(DebugOutput, GoesToTheSystemsLog) {
  openlog(nullptr, LOG_PERROR, LOG_USER);  // and to the error output
  testing::internal::CaptureStderr();
  orv::WriteDebugOutput(L"a line \u00e9");
  closelog();
  EXPECT_NE(testing::internal::GetCapturedStderr().find("a line \xC3\xA9"), std::string::npos);
}

}  // namespace
