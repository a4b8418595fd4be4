#pragma once

#include "orv/platform/lock.h"

namespace orv {

/// Takes a lock before each fork and releases it afterwards in both processes, so that the child
/// never inherits a lock that another thread of the parent owns, or what that thread has open. No
/// other lock of this kind may be taken under it. For static locks, and to be called when static
/// objects are initialised. Returns false if the system refuses, or if there are too many.
/// Has no effect on Windows.
bool HoldDuringFork(Lock* lock);

}  // namespace orv
