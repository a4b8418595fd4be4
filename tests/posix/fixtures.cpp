#include "tests/fixtures.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "base/utf8.h"
#include "orv/platform/spooler.h"
#include "platform/modules.h"
#include "platform/posix/hive.h"
#include "tests/guarded.h"

extern char** environ;

namespace orv::test {
ScratchRegistry::ScratchRegistry() {
  SetVariable("ORV_REGISTRY_DIR", folder_.path().native());
  JoinScratchRegistry();
}

ScratchRegistry::~ScratchRegistry() {
  SetVariable("ORV_REGISTRY_DIR", {});
  Request::s_maxWait = Request::kMaxWait;
}

void JoinScratchRegistry() {
  // The environment variable names it. Under load other writers can hold it for a long time.
  Request::s_maxWait = std::chrono::minutes(5);
}

TestPrinter::TestPrinter(const std::wstring& name, const std::wstring& driver)
    : name_(name), driver_(driver) {
  EXPECT_EQ(AddSpoolerPrinter(name_, driver_), ERROR_SUCCESS);
  handle_ = OpenPrinterHandle(name_.c_str());
  EXPECT_NE(handle_, nullptr);
}

TestPrinter::~TestPrinter() {
  ClosePrinterHandle(handle_);
  RemoveSpoolerPrinter(name_);
}

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input) {
  const TemporaryFolder folder;
  const std::filesystem::path output = folder.path() / "output";
  const std::filesystem::path messages = folder.path() / "messages";
  WriteBytes(folder.path() / "input", input);
  const std::string inputPath = folder.path() / "input";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, inputPath.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, messages.c_str(), O_WRONLY | O_CREAT, 0600);
  std::vector<char*> argv = {const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  ProgramResult result;
  pid_t process = 0;
  int status = 0;
  const int error = posix_spawn(&process, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  EXPECT_EQ(error, 0) << program;
  if (error != 0 || waitpid(process, &status, 0) != process) return result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  result.output = ReadBytes(output);
  result.messages = ReadBytes(messages);
  return result;
}

void RunOnSmallStack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  EXPECT_EQ(pthread_attr_setstacksize(&attributes, 128 * 1024), 0);
  pthread_t thread;
  const auto run = [](void* given) -> void* {
    (*static_cast<const std::function<void()>*>(given))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

std::wstring PathOfModuleAt(const std::filesystem::path& file) {
  std::wstring path;
  link_map* module = nullptr;
  void* const some = dlopen("libm.so.6", RTLD_NOW);
  dlinfo(some, RTLD_DI_LINKMAP, &module);
  std::filesystem::copy_file(module->l_name, file);
  void* const copy = dlopen(file.c_str(), RTLD_NOW);
  dlinfo(copy, RTLD_DI_LINKMAP, &module);
  GetModulePath(reinterpret_cast<HINSTANCE>(module->l_addr), &path);
  dlclose(copy);
  dlclose(some);
  return path;
}

std::wstring ReadResourceText(HINSTANCE resources, unsigned number) {
  // The number is in the file, so that the search ends there.
  const auto* at = reinterpret_cast<const char*>(resources);
  const std::string key = "\n" + std::to_string(number) + "\t";
  while (std::string_view(at, key.size()) != key) ++at;
  at += key.size();
  return Utf8ToWide({at, static_cast<std::size_t>(std::strchr(at, '\n') - at)});
}

unsigned long OwnProcessId() { return static_cast<unsigned long>(getpid()); }

std::span<std::uint8_t> MapGuarded(std::size_t size) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t inner = std::max(page, (size + page - 1) / page * page);
  void* const all = mmap(nullptr, inner + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(all, MAP_FAILED);
  auto* const first = static_cast<std::uint8_t*>(all) + page;
  EXPECT_EQ(mprotect(first, inner, PROT_READ | PROT_WRITE), 0);
  return {first, inner};
}

void UnmapGuarded(std::span<std::uint8_t> pages) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  EXPECT_EQ(munmap(pages.data() - page, pages.size() + 2 * page), 0);
}

void SetVariable(const char* name, const std::string& text) {
  if (text.empty()) {
    unsetenv(name);
  } else {
    setenv(name, text.c_str(), 1);
  }
}

}  // namespace orv::test
