#include "tests/faults.h"

#include <windows.h>

#include <bcrypt.h>
#include <io.h>
#include <tlhelp32.h>
#include <winspool.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "orv/platform/graphics.h"
#include "tests/windows/handles.h"

/// The functions of Windows that may fail. A program calls them through pointers that the system
/// sets when it loads the program; here each pointer is replaced by one to a function that fails
/// when planned. The runtime is linked statically, so its calls fail too.

namespace {

using orv::test::faults::Fails;
using orv::test::faults::Kind;

/// Sets the errors of the system and of the C library, whichever the function has.
void SetErrors(DWORD error) {
  errno = EIO;
  SetLastError(error);
}

/// The original function of a pointer to an imported one.
template <auto* kPointer>
constinit auto original = decltype(+*kPointer){};

/// Calls the original function, or returns its failure.
template <Kind kKind, auto* kPointer, long long kFailure, DWORD kError, typename Result,
          typename... Arguments>
Result WINAPI Call(Arguments... arguments) {
  if (!Fails(kKind)) return original<kPointer>(arguments...);
  SetErrors(kError);
  return (Result)kFailure;
}

template <auto* kPointer>
bool Replace(decltype(+*kPointer) with) {
  original<kPointer> = *kPointer;
  DWORD access = 0;
  if (!VirtualProtect(kPointer, sizeof *kPointer, PAGE_READWRITE, &access)) std::abort();
  *kPointer = with;
  return true;
}

/// Makes an imported function fail when planned. The parameter only serves to deduce the types.
template <Kind kKind, auto* kPointer, long long kFailure, DWORD kError, typename Result,
          typename... Arguments>
bool LetFail(Result(WINAPI*)(Arguments...)) {
  return Replace<kPointer>(Call<kKind, kPointer, kFailure, kError, Result, Arguments...>);
}

}  // namespace

#define IMPORTED(name) extern "C" decltype(&name) __imp_##name;
#define FAILING_KIND(kind, name, failure, error) \
  IMPORTED(name)                                 \
  [[maybe_unused]] static const bool is_##name = \
      LetFail<Kind::kind, &__imp_##name, failure, error>(&name);
#define FAILING(name, failure, error) FAILING_KIND(kCall, name, failure, error)

FAILING_KIND(kAllocation, HeapAlloc, 0, ERROR_NOT_ENOUGH_MEMORY)

// Functions that return a handle, which is invalid on failure.
FAILING(CreateFileW, -1, ERROR_ACCESS_DENIED)
FAILING(_wfopen, 0, ERROR_ACCESS_DENIED)
FAILING(CreateToolhelp32Snapshot, -1, ERROR_ACCESS_DENIED)
FAILING(CreateMutexExW, 0, ERROR_ACCESS_DENIED)
FAILING(OpenProcess, 0, ERROR_ACCESS_DENIED)
// No memory for an answer of the spooler counts as a failure of the spooler.
FAILING(GlobalAlloc, 0, ERROR_NOT_ENOUGH_MEMORY)
// Functions that return a flag, a length or attributes.
FAILING(ExpandEnvironmentStringsW, 0, ERROR_NOT_ENOUGH_MEMORY)
FAILING(FlushFileBuffers, 0, ERROR_DISK_FULL)
FAILING(GetFileAttributesW, INVALID_FILE_ATTRIBUTES, ERROR_ACCESS_DENIED)
FAILING(GetExitCodeProcess, 0, ERROR_ACCESS_DENIED)
FAILING(GetModuleFileNameW, 0, ERROR_MOD_NOT_FOUND)
FAILING(GetModuleHandleExW, 0, ERROR_MOD_NOT_FOUND)
FAILING(GetProcessTimes, 0, ERROR_ACCESS_DENIED)
FAILING(MoveFileExW, 0, ERROR_ACCESS_DENIED)
FAILING(SetEndOfFile, 0, ERROR_DISK_FULL)
FAILING(SetFilePointerEx, 0, ERROR_INVALID_HANDLE)
FAILING(EnumPrintersW, 0, RPC_S_SERVER_UNAVAILABLE)
FAILING(GetPrinterW, 0, RPC_S_SERVER_UNAVAILABLE)
FAILING(OpenPrinterW, 0, RPC_S_SERVER_UNAVAILABLE)
FAILING(WaitForSingleObject, WAIT_FAILED, ERROR_ACCESS_DENIED)
// Functions of the C library.
FAILING(_read, -1, ERROR_READ_FAULT)
FAILING(_lseeki64, -1, ERROR_INVALID_HANDLE)
FAILING(_fstat64, -1, ERROR_INVALID_HANDLE)
// Functions that return an error.
FAILING(RegCreateKeyExW, ERROR_ACCESS_DENIED, 0)
FAILING(RegDeleteTreeW, ERROR_ACCESS_DENIED, 0)
FAILING(RegDeleteValueW, ERROR_ACCESS_DENIED, 0)
FAILING(RegEnumKeyExW, ERROR_ACCESS_DENIED, 0)
FAILING(RegEnumValueW, ERROR_ACCESS_DENIED, 0)
FAILING(RegOpenKeyExW, ERROR_ACCESS_DENIED, 0)
FAILING(RegQueryInfoKeyW, ERROR_ACCESS_DENIED, 0)
FAILING(RegQueryValueExW, ERROR_ACCESS_DENIED, 0)
FAILING(RegSetValueExW, ERROR_ACCESS_DENIED, 0)
FAILING(BCryptCreateHash, -1, 0)
FAILING(BCryptDecrypt, -1, 0)
FAILING(BCryptEncrypt, -1, 0)
FAILING(BCryptExportKey, -1, 0)
FAILING(BCryptFinishHash, -1, 0)
FAILING(BCryptGenerateSymmetricKey, -1, 0)
FAILING(BCryptGetProperty, -1, 0)
FAILING(BCryptHashData, -1, 0)
FAILING(BCryptImportKey, -1, 0)
FAILING(BCryptOpenAlgorithmProvider, -1, 0)
FAILING(BCryptSetProperty, -1, 0)
// GDI+'s functions, which return a status.
using namespace Gdiplus::DllExports;
FAILING(GdipBitmapLockBits, Gdiplus::OutOfMemory, 0)
FAILING(GdipCloneBitmapAreaI, Gdiplus::OutOfMemory, 0)
FAILING(GdipCreateBitmapFromFile, Gdiplus::OutOfMemory, 0)
FAILING(GdipCreateBitmapFromScan0, Gdiplus::OutOfMemory, 0)
FAILING(GdipGetImageEncoders, Gdiplus::OutOfMemory, 0)
FAILING(GdipGetImageEncodersSize, Gdiplus::OutOfMemory, 0)
FAILING(GdipGetImageRawFormat, Gdiplus::InvalidParameter, 0)
FAILING(GdipSaveImageToFile, Gdiplus::Win32Error, 0)
FAILING(GdipSaveImageToStream, Gdiplus::OutOfMemory, 0)

// A write may also accept only a part.
IMPORTED(WriteFile)
static BOOL WINAPI Write(HANDLE file, LPCVOID from, DWORD size, LPDWORD written,
                         LPOVERLAPPED when) {
  if (Fails(Kind::kCall)) return SetErrors(ERROR_DISK_FULL), FALSE;
  if (Fails(Kind::kShortWrite)) size /= 2;
  return original<&__imp_WriteFile>(file, from, size, written, when);
}
[[maybe_unused]] static const bool is_WriteFile = Replace<&__imp_WriteFile>(&Write);

static long filesNotRemoved = 0;
IMPORTED(DeleteFileW)
static BOOL WINAPI Delete(LPCWSTR path) {
  if (!Fails(Kind::kCall)) return original<&__imp_DeleteFileW>(path);
  ++filesNotRemoved;
  return SetErrors(ERROR_ACCESS_DENIED), FALSE;
}
[[maybe_unused]] static const bool is_DeleteFileW = Replace<&__imp_DeleteFileW>(&Delete);

static SYSTEMTIME clockTime = {};  // none while it runs
IMPORTED(GetLocalTime)
static void WINAPI ReadClock(LPSYSTEMTIME time) {
  original<&__imp_GetLocalTime>(time);
  if (clockTime.wYear != 0) *time = clockTime;
}
[[maybe_unused]] static const bool is_GetLocalTime = Replace<&__imp_GetLocalTime>(&ReadClock);

namespace orv::test::faults {

void SetClock(const Time* time) {
  clockTime = {};
  if (time == nullptr) return;
  clockTime.wYear = static_cast<WORD>(time->year);
  clockTime.wMonth = static_cast<WORD>(time->month);
  clockTime.wDay = static_cast<WORD>(time->day);
  clockTime.wHour = static_cast<WORD>(time->hour);
  clockTime.wMinute = static_cast<WORD>(time->minute);
  clockTime.wSecond = static_cast<WORD>(time->second);
}

void* Allocate(std::size_t size) { return Fails(Kind::kAllocation) ? nullptr : std::malloc(size); }

long OpenFiles() { return OpenHandles(); }

long FilesNotRemoved() { return filesNotRemoved; }

}  // namespace orv::test::faults
