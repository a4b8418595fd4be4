#pragma once

/// The system's basic types. On Windows they are the system's own; elsewhere
/// `include/orv/platform/posix/types.h` declares the same names with the same widths and layouts,
/// so that records that the spooler stores are the same bytes in both homes.

#include <string>

#if defined(_WIN32)
#include <windows.h>

#include <winspool.h>
#else
#include "orv/platform/posix/types.h"
#endif

/// Wide text: one element is one UTF-16 code unit, also where `wchar_t` is wider.
using CString = std::wstring;
/// Narrow text: bytes; UTF-8 where it is text for people.
using CStringA = std::string;

/// The driver interface's argument block of a device-mode call, in the layout that the spooler's
/// plug-in interface fixes.
struct OEMDMPARAM {
  /// The block's own size, the printer, the records that go in, and where the answers go.
  DWORD cbSize;
  void* pdriverobj;
  HANDLE hPrinter;
  HANDLE hModule;
  DEVMODEW* pPublicDMIn;
  DEVMODEW* pPublicDMOut;
  void* pOEMDMIn;
  void* pOEMDMOut;
  DWORD cbBufSize;
};

enum : DWORD {
  OEMDM_SIZE = 1,     ///< answer the size of the private record
  OEMDM_DEFAULT = 2,  ///< fill the private record with defaults
  OEMDM_CONVERT = 3,  ///< bring a private record to the current version
  OEMDM_MERGE = 4,    ///< convert, then reconcile with the application's public record
};
