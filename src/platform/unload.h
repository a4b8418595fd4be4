#pragma once

#include <type_traits>

namespace orv {

/// Registers a function that releases memory or handles when the library is unloaded from a running
/// process. Registering it again has no effect. At process exit the system releases them; other
/// destructors may need them until then. Linux does not tell the two apart, so there the function
/// is never called.
void AtUnload(void (*release)());

/// Calls the registered functions, the last one first.
void CallUnloadFunctions();

/// Makes the object that `make()` returns, for a static reference in a function. It is deleted when
/// the library is unloaded, but not at process exit: other destructors, and threads that still run
/// then, may use it.
template <typename Make>
std::invoke_result_t<Make>& KeptUntilUnload(Make make) {
  static std::invoke_result_t<Make>* object = nullptr;
  object = new std::invoke_result_t<Make>(make());
  AtUnload([] { delete object; });
  return *object;
}

}  // namespace orv
