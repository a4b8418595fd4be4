#pragma once

namespace orv {

/// Registers a function that releases memory or handles when the library is unloaded from a running
/// process. Registering it again has no effect. At process exit the system releases them; other
/// destructors may need them until then. Linux does not tell the two apart, so there the function
/// is never called.
void AtUnload(void (*release)());

/// Calls the registered functions, the last one first.
void CallUnloadFunctions();

}  // namespace orv
