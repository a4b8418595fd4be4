#pragma once

/// The system's basic types. On Windows they are the system's own. On Linux
/// `orv/platform/posix/types.h` declares the same names with the same widths and layouts, so
/// records that the spooler stores have the same bytes on both platforms. Example:
///
///     OEMDMPARAM param = {};
///     param.cbSize = sizeof(param);
///     param.hPrinter = printer;
///
/// How all headers report errors, unless a comment says otherwise:
///
/// - A function reports an expected failure in its result: false, null, an empty text, `E_FAIL` or
///   a `Status`. A `LONG` result is a system error code, `ERROR_SUCCESS` on success.
/// - Only `hrOEMDevMode` sets the thread's last error to describe its failure. After any other call
///   the last error is unspecified.
/// - If memory runs out, a function throws `std::bad_alloc`, unless its comment gives a result for
///   this case. `hrOEMDevMode`, the session functions and log entries never throw. The only other
///   exception is `std::filesystem::filesystem_error`, thrown by `CCryptoHelper`.
/// - Functions and static members may be called from any thread. An object may be used by one
///   thread at a time.

#include <string>

#if defined(_WIN32)
#include <windows.h>

#include <winspool.h>
#else
#include "orv/platform/posix/types.h"
#endif

/// Wide text; each element is one UTF-16 code unit, even where `wchar_t` is wider.
using CString = std::wstring;

/// Narrow text: bytes, or UTF-8 for text.
using CStringA = std::string;

/// The argument block of a device-mode call, in the layout of the spooler's plug-in interface.
struct OEMDMPARAM {
  /// Size of the block, the printer, the input records, and the output records.
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
  OEMDM_SIZE = 1,     ///< return the size of the private record
  OEMDM_DEFAULT = 2,  ///< fill the private record with defaults
  OEMDM_CONVERT = 3,  ///< convert a private record to the current version
  OEMDM_MERGE = 4,    ///< convert, then reconcile with the application's public record
};
