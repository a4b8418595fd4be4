#pragma once

namespace orv {

/// Releases what the compiler's runtime keeps for the calling thread, which ends.
void ReleaseThreadValues();

/// Releases what the compiler's runtime keeps for all threads. The library is being unloaded.
void ReleaseAllThreadValues();

}  // namespace orv
