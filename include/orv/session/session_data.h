#pragma once

#include <cstdint>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// What the library knows of the process that it runs in, and each process's entry in the registry,
/// by which user-defined settings that were edited in one process are found by the others. One
/// object a process, made on first use. The functions below act on that object and hold no
/// reference of their own: it lasts until a caller's last release. For one thread at a time.
///
/// Every function returns 0 when its pointer argument is null, and then does nothing, and without
/// memory, when a next call may do better; otherwise 1, with the answer behind the pointer.
/// Messages have no logger client.

struct SessionData;

extern "C" {

/// The object, with one reference more; null without memory.
ORV_EXPORT SessionData* GetSessionDataInstance();
/// Drops a reference; the last one frees the object.
ORV_EXPORT std::uint32_t ReleaseSessionDataInstance();

/// The process id, or 122 as long as nothing has asked for more than that.
ORV_EXPORT std::uint32_t GetSessionProcessId(std::uint32_t* processId);
/// The id of the process that started this one; 0 when unknown.
ORV_EXPORT std::uint32_t GetSessionParentProcessId(std::uint32_t* parentProcessId);
/// An open handle to the parent process, null when it cannot be opened. It belongs to the object.
ORV_EXPORT std::uint32_t GetSessionParendHandle(HANDLE* parentHandle);
/// Whether this process is, or was started by, a system host that shows printer settings.
ORV_EXPORT std::uint32_t GetSessionIsSystemParent(std::uint32_t* isSystemParent);

/// Whether user-defined settings are to be read from the session's; the two names are the sub-keys
/// of the session key that the answer may depend on.
ORV_EXPORT std::uint32_t GetSessionReadUDS(std::uint32_t* read, const wchar_t* firstName,
                                           const wchar_t* secondName);
/// Whether user-defined settings are to be written to the session's.
ORV_EXPORT std::uint32_t GetSessionWriteUDS(std::uint32_t* write);

/// Finds everything out anew.
ORV_EXPORT std::uint32_t ReloadSessionInfo();

/// Whether a process still is the one that was stored: same id, same creation time (`FILETIME`
/// units), same program.
ORV_EXPORT std::uint32_t IsSessionProcessStillValid(std::uint32_t* isValid, std::uint32_t processId,
                                                    const wchar_t* processName,
                                                    const std::uint64_t* creationTime);

/// Writes this process's entry into an open key. 0 when the registry refuses.
ORV_EXPORT std::uint32_t SaveSessionRegistryInfo(HKEY key);
/// Removes the entries of processes that have ended; one that cannot be examined counts as ended.
/// What cannot be read or removed stays for the next time, and so do the keys of printers, whose
/// names are not decimal numbers. The names given here are carried for callers and select nothing.
ORV_EXPORT std::uint32_t CleanupRegSessionData(const wchar_t* firstName, const wchar_t* secondName);

}  // extern "C"
