#pragma once

#include <windows.h>

#include <winternl.h>

#include <cstdlib>

/// The open handles of this process.

namespace orv::test {

/// The number of open handles, from the list of all handles of the system: `GetProcessHandleCount`
/// is always 0 under Wine. Ends the process if the system does not return the list.
inline long OpenHandles() {
  struct Handle {
    void* object;
    ULONG_PTR processId;
    ULONG_PTR value;
    ULONG access;
    USHORT trace;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
  };
  struct Handles {
    ULONG_PTR count;
    ULONG_PTR reserved;
    Handle handles[1];
  };
  constexpr ULONG kSystemExtendedHandleInformation = 64;
  constexpr auto kLengthMismatch = static_cast<NTSTATUS>(0xC0000004);
  using Query = NTSTATUS NTAPI(ULONG, void*, ULONG, ULONG*);
  auto* const query = reinterpret_cast<Query*>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  NTSTATUS status = kLengthMismatch;
  long count = 0;
  // Memory of its own, so that counting changes no heap.
  for (ULONG size = 1 << 16; status == kLengthMismatch; size *= 2) {
    void* const memory = VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (memory == nullptr) std::abort();
    status = query(kSystemExtendedHandleInformation, memory, size, nullptr);
    const auto& all = *static_cast<const Handles*>(memory);
    for (ULONG_PTR i = 0; status >= 0 && i < all.count; ++i) {
      if (all.handles[i].processId == GetCurrentProcessId()) ++count;
    }
    VirtualFree(memory, 0, MEM_RELEASE);
  }
  if (status < 0) std::abort();
  return count;
}

}  // namespace orv::test
