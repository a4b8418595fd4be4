#include "platform/unload.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "orv/platform/lock.h"

namespace orv {
namespace {

/// Enough for every caller in the library.
constexpr std::size_t kMaxFunctions = 16;

Lock unloadLock;
void (*unloadFunctions[kMaxFunctions])();
std::size_t unloadFunctionCount = 0;

}  // namespace

void AtUnload(void (*release)()) {
  const LockGuard guard(unloadLock);
  const std::span registered(unloadFunctions, unloadFunctionCount);
  // Functions beyond the limit are never called.
  if (unloadFunctionCount < kMaxFunctions &&
      std::ranges::find(registered, release) == registered.end()) {
    unloadFunctions[unloadFunctionCount++] = release;
  }
}

void CallUnloadFunctions() {
  while (unloadFunctionCount > 0) unloadFunctions[--unloadFunctionCount]();
}

}  // namespace orv
