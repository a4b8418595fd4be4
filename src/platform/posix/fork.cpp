#include "platform/fork.h"

#include <pthread.h>

#include <cstddef>

namespace orv {
namespace {

/// Enough for every caller in the library.
constexpr std::size_t kMaxHeldLocks = 8;

// Used by the initialisers of other files.
constinit Lock* heldLocks[kMaxHeldLocks] = {};
constinit std::size_t heldLockCount = 0;

void TakeHeldLocks() {
  for (std::size_t i = 0; i < heldLockCount; ++i) heldLocks[i]->lock();
}

void ReleaseHeldLocks() {
  for (std::size_t i = heldLockCount; i-- > 0;) heldLocks[i]->unlock();
}

}  // namespace

bool HoldDuringFork(Lock* lock) {
  static const int s_registered = pthread_atfork(TakeHeldLocks, ReleaseHeldLocks, ReleaseHeldLocks);
  if (s_registered != 0 || heldLockCount == kMaxHeldLocks) return false;
  heldLocks[heldLockCount++] = lock;
  return true;
}

}  // namespace orv
