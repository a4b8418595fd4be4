#pragma once

#include <pappl/pappl.h>

#include <exception>
#include <new>

/// Keeps exceptions from PAPPL, whose callbacks are C.

namespace orv::printer_app {

/// Runs the body of a callback. After an exception it logs "FAILURE: REASON" by one of PAPPL's
/// functions for logs, and returns what stands for failure: false, null or 0.
template <typename Object, typename Log, typename Body>
auto Guarded(Object* object, const Log& log, const char* failure, const Body& body)
    -> decltype(body()) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    log(object, PAPPL_LOGLEVEL_ERROR, "%s: %s", failure, "there is not enough memory");
  } catch (const std::exception& error) {
    log(object, PAPPL_LOGLEVEL_ERROR, "%s: %s", failure, error.what());
  }
  return {};
}

}  // namespace orv::printer_app
