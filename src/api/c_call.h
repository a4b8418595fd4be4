#pragma once

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>

#include "orv/c_api.h"
#include "orv/logging/logger.h"
#include "orv/platform/lock.h"

/// What the functions of the C interface share: the exceptions, texts and buffers.

struct orv_log {
  CLoggerClient client;
};

namespace orv {

/// Runs a function of the C interface; no exception leaves it.
template <typename Work>
std::int32_t CallFromC(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return ORV_ERROR_MEMORY;
  } catch (...) {
    return ORV_ERROR_INTERNAL;
  }
}

/// Whether a buffer is valid: only an empty one may be null.
inline bool IsBuffer(const void* buffer, std::uint32_t size) {
  return buffer != nullptr || size == 0;
}

/// Whether a text is valid. Other code treats paths, names and messages as NUL-terminated, so an
/// embedded NUL would truncate them silently.
inline bool IsText(const std::uint16_t* units, std::uint32_t length) {
  return IsBuffer(units, length) && std::find(units, units + length, 0) == units + length;
}

/// Whether a text that a function cannot do without is valid.
inline bool IsRequiredText(const std::uint16_t* units, std::uint32_t length) {
  return units != nullptr && IsText(units, length);
}

/// A caller's text, which `IsText` accepts.
inline std::wstring TextFromC(const std::uint16_t* units, std::uint32_t length) {
  return units != nullptr ? std::wstring(units, units + length) : std::wstring();
}

/// Copies a result to a caller's buffer of `capacity` elements.
template <typename Element, typename Result>
std::int32_t CopyToC(const Result& result, Element* buffer, std::uint32_t capacity,
                     std::uint32_t* length) {
  *length = static_cast<std::uint32_t>(result.size());
  if (*length > capacity) return ORV_ERROR_BUFFER;
  std::transform(result.begin(), result.end(), buffer,
                 [](auto element) { return static_cast<Element>(element); });
  return ORV_OK;
}

/// Copies a message, cut to the buffer; `length` is null if the caller does not want it.
inline void CutToC(std::wstring_view text, std::uint16_t* buffer, std::uint32_t capacity,
                   std::uint32_t* length) {
  if (length == nullptr) return;
  *length = static_cast<std::uint32_t>(text.size());
  std::uint32_t ignored = 0;
  CopyToC(text.substr(0, capacity), buffer, capacity, &ignored);
}

/// Held while a function uses the session, which is for one thread at a time.
Lock& SessionLock();

inline CLoggerClient* ClientOf(orv_log* log) { return log != nullptr ? &log->client : nullptr; }

}  // namespace orv
