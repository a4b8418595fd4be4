#pragma once

#include <exception>
#include <new>

/// Keeps exceptions from PAPPL, whose callbacks are C.

namespace orv::printer_app {

/// Runs the body of a callback. After an exception it calls `fail(reason)`, and returns what stands
/// for failure: false, null or 0.
template <typename Body, typename Fail>
auto Guarded(const Body& body, const Fail& fail) -> decltype(body()) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    fail("there is not enough memory");
  } catch (const std::exception& error) {
    fail(error.what());
  }
  return {};
}

}  // namespace orv::printer_app
