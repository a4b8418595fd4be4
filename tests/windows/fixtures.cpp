#include "tests/fixtures.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <winspool.h>

#include <string>

#include "base/utf8.h"
#include "orv/platform/spooler.h"
#include "platform/modules.h"
#include "tests/guarded.h"

namespace orv::test {
namespace {

constexpr wchar_t kHivesVariable[] = L"ORV_TEST_HIVES";
constexpr wchar_t kSpoolerKey[] = L"System\\CurrentControlSet\\Control\\Print";
constexpr SIZE_T kSmallStack = 128 * 1024;
constexpr wchar_t kEnvironment[] = L"Windows x64";
constexpr std::size_t kPage = 4096;

/// The key of the real user hive that contains both scratch hives.
std::wstring HivesKey() {
  wchar_t name[128];
  const DWORD length = GetEnvironmentVariableW(kHivesVariable, name, 128);
  return {name, length};
}

/// Replaces the real hives with the scratch hives, for this process alone.
void UseHives(const std::wstring& hives) {
  RegistryKey user;
  RegistryKey machine;
  ASSERT_EQ(user.Create(HKEY_CURRENT_USER, hives + L"\\user"), ERROR_SUCCESS);
  ASSERT_EQ(machine.Create(HKEY_CURRENT_USER, hives + L"\\machine"), ERROR_SUCCESS);
  ASSERT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, user.get()), ERROR_SUCCESS);
  ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.get()), ERROR_SUCCESS);
}

/// Quotes an argument so that the runtime of the started program restores it.
std::wstring Quote(const std::string& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t unit : Utf8ToWide(argument)) {
    // Backslashes before a quote are doubled, and the quote has one of its own.
    if (unit == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = unit == L'\\' ? backslashes + 1 : 0;
    quoted += unit;
  }
  quoted.append(backslashes, L'\\');
  return quoted + L'"';
}

/// A file as a standard stream of another process.
HANDLE OpenStream(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return CreateFileW(path.c_str(), access, FILE_SHARE_READ, &inherited, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

ScratchRegistry::ScratchRegistry() {
  const std::wstring hives = L"Software\\orv tests\\" + std::to_wstring(OwnProcessId());
  SetEnvironmentVariableW(kHivesVariable, hives.c_str());
  RegDeleteTreeW(HKEY_CURRENT_USER, hives.c_str());
  RegistryKey copy;
  EXPECT_EQ(copy.Create(HKEY_CURRENT_USER, hives + L"\\machine\\" + kSpoolerKey), ERROR_SUCCESS);
  RegistryKey spooler;
  EXPECT_EQ(spooler.Open(HKEY_LOCAL_MACHINE, kSpoolerKey, RegistryAccess::kRead), ERROR_SUCCESS);
  EXPECT_EQ(RegCopyTreeW(spooler.get(), nullptr, copy.get()), ERROR_SUCCESS);
  UseHives(hives);
}

ScratchRegistry::~ScratchRegistry() {
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, HivesKey().c_str()), ERROR_SUCCESS);
  // Succeeds once no other test program has a store.
  RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\orv tests");
  SetEnvironmentVariableW(kHivesVariable, nullptr);
}

void JoinScratchRegistry() {
  if (const std::wstring hives = HivesKey(); !hives.empty()) UseHives(hives);
}

TestPrinter::TestPrinter(const std::wstring& name, const std::wstring& driver)
    : name_(name), driver_(driver), handle_(nullptr) {
  // The spooler searches for a driver's files in its own folder.
  wchar_t folder[MAX_PATH];
  DWORD size = 0;
  EXPECT_TRUE(GetPrinterDriverDirectoryW(nullptr, const_cast<wchar_t*>(kEnvironment), 1,
                                         reinterpret_cast<BYTE*>(folder), sizeof folder, &size));
  std::wstring file =
      std::wstring(folder) + L"\\orv_test_" + std::to_wstring(OwnProcessId()) + L".dll";
  CopyFileW(Utf8ToWide(ORV_TEST_DRIVER).c_str(), file.c_str(),
            FALSE);  // fails while another printer uses it
  std::wstring environment = kEnvironment;
  DRIVER_INFO_3W info{};
  info.cVersion = 3;
  info.pName = driver_.data();
  info.pEnvironment = environment.data();
  info.pDriverPath = info.pDataFile = info.pConfigFile = file.data();
  EXPECT_TRUE(AddPrinterDriverW(nullptr, 3, reinterpret_cast<BYTE*>(&info))) << GetLastError();
  EXPECT_EQ(AddSpoolerPrinter(name_, driver_), ERROR_SUCCESS);
  handle_ = OpenPrinterHandle(name_.c_str());
  EXPECT_NE(handle_, nullptr);
}

TestPrinter::~TestPrinter() {
  ClosePrinterHandle(handle_);
  EXPECT_EQ(RemoveSpoolerPrinter(name_), ERROR_SUCCESS);
  // Fails while another printer uses it.
  DeletePrinterDriverW(nullptr, const_cast<wchar_t*>(kEnvironment), driver_.data());
}

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input) {
  const TemporaryFolder folder;
  const std::filesystem::path output = folder.path() / "output";
  const std::filesystem::path messages = folder.path() / "messages";
  std::wstring command = Quote(program);
  for (const std::string& argument : arguments) command += L' ' + Quote(argument);
  WriteBytes(folder.path() / "input", input);
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = OpenStream(folder.path() / "input", GENERIC_READ, OPEN_EXISTING);
  start.hStdOutput = OpenStream(output, GENERIC_WRITE, CREATE_ALWAYS);
  start.hStdError = OpenStream(messages, GENERIC_WRITE, CREATE_ALWAYS);

  ProgramResult result;
  PROCESS_INFORMATION process{};
  BOOL isStarted = FALSE;
  // Under load the system occasionally refuses to start a process.
  for (int tries = 0; !isStarted && tries < 100; ++tries) {
    if (tries > 0) Sleep(100);
    isStarted = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                               &start, &process);
  }
  EXPECT_TRUE(isStarted) << program << ": error " << GetLastError();
  if (isStarted) {
    DWORD code = 0;
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &code);
    result.exitCode = static_cast<int>(code);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }
  CloseHandle(start.hStdInput);
  CloseHandle(start.hStdOutput);
  CloseHandle(start.hStdError);
  result.output = ReadBytes(output);
  result.messages = ReadBytes(messages);
  return result;
}

void RunOnSmallStack(const std::function<void()>& work) {
  const auto run = [](void* given) -> DWORD {
    (*static_cast<const std::function<void()>*>(given))();
    return 0;
  };
  const HANDLE thread =
      CreateThread(nullptr, kSmallStack, run, const_cast<std::function<void()>*>(&work),
                   STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  ASSERT_NE(thread, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

std::wstring PathOfModuleAt(const std::filesystem::path& file) {
  std::wstring path;
  std::filesystem::copy_file(ORV_TEST_DRIVER, file);
  const HMODULE module = LoadLibraryExW(file.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  GetModulePath(module, &path);
  FreeLibrary(module);
  return path;
}

std::wstring ReadResourceText(HINSTANCE resources, unsigned number) {
  wchar_t text[256];
  const int length = LoadStringW(resources, number, text, 256);
  return {text, static_cast<std::size_t>(length)};
}

unsigned long OwnProcessId() { return GetCurrentProcessId(); }

std::span<std::uint8_t> MapGuarded(std::size_t size) {
  const std::size_t inner = std::max(kPage, (size + kPage - 1) / kPage * kPage);
  // Reserved memory that is not committed cannot be accessed.
  void* const all = VirtualAlloc(nullptr, inner + 2 * kPage, MEM_RESERVE, PAGE_NOACCESS);
  EXPECT_NE(all, nullptr);
  auto* const first = static_cast<std::uint8_t*>(all) + kPage;
  EXPECT_EQ(VirtualAlloc(first, inner, MEM_COMMIT, PAGE_READWRITE), first);
  return {first, inner};
}

void UnmapGuarded(std::span<std::uint8_t> pages) {
  EXPECT_TRUE(VirtualFree(pages.data() - kPage, 0, MEM_RELEASE));
}

void SetVariable(const char* name, const std::string& text) {
  SetEnvironmentVariableW(Utf8ToWide(name).c_str(),
                          text.empty() ? nullptr : Utf8ToWide(text).c_str());
}

}  // namespace orv::test
