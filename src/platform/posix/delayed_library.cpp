#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace orv {
namespace {

/// A function of a delayed library, as its stub has it (delayed_library.cpp.in).
struct DelayedFunction {
  void* address;  ///< null before the first call
  char name[1];   ///< the first of its characters
};

/// Ends the program, as the system would at the start, and removes its temporary files.
[[noreturn]] void EndProgram() {
  constexpr int kUnreadable = 3;
  std::fprintf(stderr, "orv: cannot load %s\n", dlerror());
  std::exit(kUnreadable);
}

}  // namespace

/// Finds a function for its stub, and keeps the address there. Libraries stay loaded.
extern "C" void* OrvLoadDelayed(DelayedFunction* function, const char* library) {
  void* const handle = dlopen(library, RTLD_LAZY);
  void* const address = handle == nullptr ? nullptr : dlsym(handle, function->name);
  if (address == nullptr) EndProgram();
  std::atomic_ref(function->address).store(address, std::memory_order_release);
  return address;
}

}  // namespace orv
