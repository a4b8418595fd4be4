#include "platform/unload.h"

#include <atomic>

namespace orv {
namespace {

/// Enough for every caller in the library.
constexpr int kMaxFunctions = 8;

void (*unloadFunctions[kMaxFunctions])();
std::atomic<int> unloadFunctionCount{0};

}  // namespace

void AtUnload(void (*release)()) { unloadFunctions[unloadFunctionCount++] = release; }

void CallUnloadFunctions() {
  while (unloadFunctionCount > 0) unloadFunctions[--unloadFunctionCount]();
}

}  // namespace orv
