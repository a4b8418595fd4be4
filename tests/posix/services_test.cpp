/// Services that Windows has and the library implements itself on Linux.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "platform/processes.h"
#include "tests/fixtures.h"

// Its macros have the names of the logger's functions.
#include <syslog.h>

namespace {

using orv::test::TemporaryFolder;

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

TEST(Processes, OthersSeeWhatAProcessSeesItself) {
  const DWORD id = orv::CurrentProcessId();
  const pid_t parent = getppid();
  const auto timeOf = [id] {
    const orv::ProcessHandle process(id, orv::ProcessAccess::kQuery);
    std::uint64_t time = 0;
    return orv::GetProcessCreationTime(process.get(), &time) ? time : 0;
  };
  const std::uint64_t time = timeOf();
  const pid_t child = fork();
  if (child == 0) {
    orv::ProcessEntry entry;
    const bool isSame = orv::FindProcess(id, &entry) && entry.name.starts_with(L"platform_test") &&
                        entry.parentId == static_cast<DWORD>(parent) && timeOf() == time;
    _exit(isSame ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(Processes, AreOpenOnlyWhileTheyAreCompared) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = openFiles();
  std::uint32_t isValid = 7;
  const std::uint64_t time = 1;
  EXPECT_EQ(
      IsSessionProcessStillValid(&isValid, static_cast<std::uint32_t>(getppid()), L"x", &time), 1u);
  EXPECT_EQ(isValid, 0u);
  EXPECT_EQ(openFiles(), before);
}

TEST(Spooler, AKeyOfTheUserWithoutANameIsNoPrinter) {
  const orv::test::ScratchRegistry registry;
  EXPECT_TRUE(
      orv::test::SetUserValue(L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers\\Label 1",
                              L"Printer Driver", orv::RegistryValue::FromText(L"user's")));
  const orv::test::TestPrinter printer(L"Label 1", L"machine's");
  orv::PrinterFacts facts;
  EXPECT_TRUE(orv::GetPrinterFacts(printer.handle(), &facts));
  EXPECT_EQ(facts.driverName, L"machine's");
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
