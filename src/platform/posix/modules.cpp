#include "platform/modules.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/files.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/proc_path.h"

namespace orv {
namespace {

DWORD SystemErrorOf(int error) {
  switch (error) {
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
      return ERROR_ACCESS_DENIED;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    default:
      return ERROR_GEN_FAILURE;
  }
}

/// The path of the file that is mapped at an address, as the kernel reports it. The dynamic linker
/// only has the path given by whoever loaded the module. If that is relative, the working directory
/// may have changed since.
std::string MappedFileAt(const void* address) {
  std::ifstream maps("/proc/self/maps");
  std::string line;
  while (std::getline(maps, line)) {
    unsigned long first = 0;
    int nameAt = 0;
    if (std::sscanf(line.c_str(), "%lx-%*x %*s %*x %*s %*u %n", &first, &nameAt) == 1 &&
        first == reinterpret_cast<std::uintptr_t>(address)) {
      return std::string(WithoutDeletedMark(line).substr(static_cast<std::size_t>(nameAt)));
    }
  }
  return {};
}

std::string ProgramPath() {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  return std::string(WithoutDeletedMark(path.native()));
}

bool IsProgram(const link_map* module) { return module->l_name[0] == '\0'; }

}  // namespace

bool GetModulePath(HINSTANCE module, std::wstring* path) {
  std::string file;
  if (module == nullptr) {
    file = ProgramPath();
  } else {
    Dl_info info{};
    link_map* map = nullptr;
    if (dladdr1(module, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) != 0 &&
        info.dli_fbase == module) {
      if (IsProgram(map)) {
        file = ProgramPath();
      } else {
        file = info.dli_fname[0] == '/' ? info.dli_fname : MappedFileAt(module);
      }
    }
  }
  if (file.empty()) {
    path->clear();
    SetLastError(ERROR_MOD_NOT_FOUND);
    return false;
  }
  *path = FromFileName(file).substr(0, kMaxModulePath - 1);
  return true;
}

HINSTANCE OwnModule() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&OwnModule), &info) == 0) return nullptr;
  return static_cast<HINSTANCE>(info.dli_fbase);
}

HINSTANCE LoadResourceModule(const std::wstring& path) {
  const FileDescriptor file(open(ToPath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) {
    SetLastError(SystemErrorOf(errno));
    return nullptr;
  }
  void* memory = MAP_FAILED;
  struct stat status {};
  if (fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
    memory = mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ, MAP_PRIVATE,
                  file.get(), 0);
  }
  if (memory == MAP_FAILED) {
    SetLastError(ERROR_BAD_EXE_FORMAT);
    return nullptr;
  }
  return static_cast<HINSTANCE>(memory);
}

}  // namespace orv
