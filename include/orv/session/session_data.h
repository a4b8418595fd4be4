#pragma once

#include <cstdint>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// The process that the library runs in, and its entry in the registry, through which other
/// processes find user-defined settings that were edited in this one:
///
///     GetSessionDataInstance();
///     std::uint32_t write = 0;
///     if (GetSessionWriteUDS(&write) != 0 && write != 0) SaveSessionRegistryInfo(key);
///     ReleaseSessionDataInstance();
///
/// There is one object for each process, created on first use. The functions below use that object
/// and hold no reference of their own: it lasts until a caller's last release. One thread at a
/// time.
///
/// Every function returns 1 and stores the result through its pointer argument. If that is null, it
/// does nothing and returns 0. If memory runs out, it returns 0, and a later call may succeed. Log
/// lines have no logger client.

struct SessionData;

extern "C" {

/// The object, with one more reference; null if memory runs out.
ORV_EXPORT SessionData* GetSessionDataInstance();

/// Releases a reference; the last release frees the object.
ORV_EXPORT std::uint32_t ReleaseSessionDataInstance();

/// Kept for compatibility: the process id, or 122 until another function has needed it.
ORV_EXPORT std::uint32_t GetSessionProcessId(std::uint32_t* processId);

/// The id of the process that started this one; 0 when unknown.
ORV_EXPORT std::uint32_t GetSessionParentProcessId(std::uint32_t* parentProcessId);

/// An open handle to the parent process, null when it cannot be opened. It belongs to the object.
ORV_EXPORT std::uint32_t GetSessionParendHandle(HANDLE* parentHandle);

/// Whether this process is, or was started by, a system host that shows printer settings.
ORV_EXPORT std::uint32_t GetSessionIsSystemParent(std::uint32_t* isSystemParent);

/// Whether user-defined settings are read from the session; the two names are the sub-keys of the
/// session key that the result may depend on.
ORV_EXPORT std::uint32_t GetSessionReadUDS(std::uint32_t* read, const wchar_t* firstName,
                                           const wchar_t* secondName);

/// Whether user-defined settings are written to the session.
ORV_EXPORT std::uint32_t GetSessionWriteUDS(std::uint32_t* write);

/// Determines everything again.
ORV_EXPORT std::uint32_t ReloadSessionInfo();

/// Whether a process still is the one that was stored: same id, same creation time (`FILETIME`
/// units), same program.
ORV_EXPORT std::uint32_t IsSessionProcessStillValid(std::uint32_t* isValid, std::uint32_t processId,
                                                    const wchar_t* processName,
                                                    const std::uint64_t* creationTime);

/// Writes this process's entry into an open key. 0 if the registry reports an error.
ORV_EXPORT std::uint32_t SaveSessionRegistryInfo(HKEY key);

/// Removes the entries of processes that have ended; one that cannot be examined counts as ended.
/// What cannot be read or removed stays for the next time, and so do the keys of printers, whose
/// names are not decimal numbers. The names given here are carried for callers and select nothing.
ORV_EXPORT std::uint32_t CleanupRegSessionData(const wchar_t* firstName, const wchar_t* secondName);

}  // extern "C"
