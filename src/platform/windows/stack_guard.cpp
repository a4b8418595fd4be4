/// What code compiled with a stack protector needs. The toolchain's version loads a cryptographic
/// provider when the DLL starts, which the system does not allow there, and every program would
/// start more slowly.

#include <windows.h>

#include <cstdint>

extern "C" {

/// The value that protected functions put between their buffers and the return address. Its lowest
/// byte is 0, so that no overrun by a string function can reproduce it.
std::uintptr_t __stack_chk_guard = 0x5BD1E900;

/// Called by a function whose value was overwritten. No exception handler of the host runs.
[[noreturn]] void __stack_chk_fail() {
  RaiseFailFastException(nullptr, nullptr, 0);
  __builtin_unreachable();
}

}  // extern "C"

namespace {

/// Runs before other constructors. No protected function is active then.
__attribute__((constructor(101), no_stack_protector)) void ChooseGuard() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  std::uint64_t value = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  value ^= static_cast<std::uint64_t>(counter.QuadPart) << 24;
  value ^= std::uint64_t{GetCurrentProcessId()} << 40 ^ std::uint64_t{GetCurrentThreadId()} << 16;
  value ^= reinterpret_cast<std::uintptr_t>(&counter);
  constexpr std::uint64_t kMixed = 0x9E3779B97F4A7C15;
  value *= kMixed;
  __stack_chk_guard = static_cast<std::uintptr_t>(value ^ value >> 32) & ~std::uintptr_t{0xFF};
}

}  // namespace
