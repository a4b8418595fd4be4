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

/// `ORV_DRIVER_KIT` is 1 where the argument block of device-mode calls is declared by the driver
/// kit's `printoem.h`, which may be included before or after this header. By default it is 1 if the
/// compiler finds that file. Define it as 0 to use the declaration below, without `printoem.h`.
#if !defined(ORV_DRIVER_KIT)
#if defined(OEMDM_SIZE) || __has_include(<printoem.h>)
#define ORV_DRIVER_KIT 1
#else
#define ORV_DRIVER_KIT 0
#endif
#endif

#if ORV_DRIVER_KIT
typedef struct _OEMDMPARAM OEMDMPARAM;
#else
/// The argument block of a device-mode call, in the layout of the spooler's plug-in interface.
typedef struct _OEMDMPARAM {
  DWORD cbSize;            ///< size of the block
  void* pdriverobj;        ///< not used
  HANDLE hPrinter;         ///< the printer
  HANDLE hModule;          ///< not used
  DEVMODEW* pPublicDMIn;   ///< the application's public record
  DEVMODEW* pPublicDMOut;  ///< the resulting one
  void* pOEMDMIn;          ///< the incoming private record
  void* pOEMDMOut;         ///< the resulting one
  DWORD cbBufSize;         ///< size of the private record
} OEMDMPARAM;
#endif

#if !defined(OEMDM_SIZE)
enum : DWORD {
  OEMDM_SIZE = 1,     ///< return the size of the private record
  OEMDM_DEFAULT = 2,  ///< fill the private record with defaults
  OEMDM_CONVERT = 3,  ///< convert a private record to the current version
  OEMDM_MERGE = 4,    ///< convert, then reconcile with the application's public record
};
#endif
