#pragma once

/// The Windows types and constants that the library's interface uses, for Linux. Do not include
/// this file directly: `orv/platform/types.h` works on both platforms.

#include <cstdint>

#include "orv/platform/export.h"

/// Integers of these widths, and handles.
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using SHORT = std::int16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONGLONG = std::uint64_t;
using BOOL = std::int32_t;
using WCHAR = char16_t;  ///< the 16-bit unit of records with a stored layout
using HRESULT = std::int32_t;
using HANDLE = void*;
using HINSTANCE = struct HINSTANCE__*;
using HMODULE = HINSTANCE;
using HKEY = struct HKEY__*;

/// The values of `BOOL`.
constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

/// Results of functions that return `HRESULT`: success, and an unspecified error.
constexpr HRESULT S_OK = 0;
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);

/// Handles with a fixed meaning: an invalid one, and the two hives of the registry.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(std::uintptr_t{0x80000001});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});

/// Types of registry values.
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;

/// System error codes, the values that log lines show.
constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr LONG ERROR_PATH_NOT_FOUND = 3;
constexpr LONG ERROR_ACCESS_DENIED = 5;
constexpr LONG ERROR_INVALID_HANDLE = 6;
constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LONG ERROR_GEN_FAILURE = 31;
constexpr LONG ERROR_SHARING_VIOLATION = 32;
constexpr LONG ERROR_NOT_SUPPORTED = 50;
constexpr LONG ERROR_INVALID_PARAMETER = 87;
constexpr LONG ERROR_DISK_FULL = 112;
constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LONG ERROR_MOD_NOT_FOUND = 126;
constexpr LONG ERROR_BUSY = 170;
constexpr LONG ERROR_BAD_EXE_FORMAT = 193;
constexpr LONG ERROR_MORE_DATA = 234;
constexpr LONG ERROR_NO_MORE_ITEMS = 259;
constexpr LONG ERROR_BADDB = 1009;
constexpr LONG ERROR_REGISTRY_IO_FAILED = 1016;
constexpr LONG ERROR_KEY_DELETED = 1018;
constexpr LONG ERROR_INVALID_PRINTER_NAME = 1801;
constexpr LONG ERROR_PRINTER_ALREADY_EXISTS = 1802;

/// A time stamp of files and registry keys.
struct FILETIME {
  DWORD dwLowDateTime;   ///< low half of the 100 ns intervals since 1601-01-01 UTC
  DWORD dwHighDateTime;  ///< high half
};

/// A globally unique identifier.
struct GUID {
  /// 128 bits, in the groups of the text form.
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};

/// A point on the screen.
struct POINTL {
  /// Coordinates.
  LONG x;
  LONG y;
};

// Callers use the members of the anonymous structure, which ISO C++ does not have.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"

/// The public device mode: 220 bytes, 16-bit characters.
struct DEVMODEW {
  /// An application's settings for a printer; lengths are in tenths of a millimetre.
  WCHAR dmDeviceName[32];
  WORD dmSpecVersion;
  WORD dmDriverVersion;
  WORD dmSize;
  WORD dmDriverExtra;
  DWORD dmFields;
  union {
    struct {
      SHORT dmOrientation;    ///< 1 portrait, 2 landscape
      SHORT dmPaperSize;      ///< number of a paper size
      SHORT dmPaperLength;    ///< tenths of a millimetre
      SHORT dmPaperWidth;     ///< tenths of a millimetre
      SHORT dmScale;          ///< percent
      SHORT dmCopies;         ///< number of copies
      SHORT dmDefaultSource;  ///< number of a paper source
      SHORT dmPrintQuality;   ///< dots per inch, or a negative quality grade
    };
    POINTL dmPosition;  ///< of a display
  };
  SHORT dmColor;
  SHORT dmDuplex;
  SHORT dmYResolution;
  SHORT dmTTOption;
  SHORT dmCollate;
  WCHAR dmFormName[32];
  WORD dmLogPixels;
  DWORD dmBitsPerPel;
  DWORD dmPelsWidth;
  DWORD dmPelsHeight;
  union {
    DWORD dmDisplayFlags;  ///< of a display
    DWORD dmNup;           ///< pages on a sheet
  };
  DWORD dmDisplayFrequency;
  DWORD dmICMMethod;
  DWORD dmICMIntent;
  DWORD dmMediaType;
  DWORD dmDitherType;
  DWORD dmReserved1;
  DWORD dmReserved2;
  DWORD dmPanningWidth;
  DWORD dmPanningHeight;
};
static_assert(sizeof(DEVMODEW) == 220);

#pragma GCC diagnostic pop

/// The calling thread's last error code, set by functions of this library.
ORV_EXPORT DWORD GetLastError();

/// Sets the calling thread's last error code.
ORV_EXPORT void SetLastError(DWORD code);
