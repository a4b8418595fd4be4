#include "tests/library_loader.h"

#include <dlfcn.h>

namespace orv::test {

void* LoadSharedLibrary(const char* path) { return dlopen(path, RTLD_NOW); }

void* FindSymbol(void* library, const char* name) {
  return library != nullptr ? dlsym(library, name) : nullptr;
}

void UnloadSharedLibrary(void* library) { dlclose(library); }

void JoinScratchSettings() {}  // the environment variable names it

}  // namespace orv::test
