#include "orv/session/session_data.h"

#include "base/out_of_memory.h"
#include "orv/logging/logger.h"
#include "session/session.h"

namespace {

int theReferences = 0;

/// Stores what `get` returns for the shared object; 0, with nothing stored, when memory runs out.
template <typename Value, typename Get>
std::uint32_t StoreFromShared(Value* value, Get get) {
  return orv::OrOutOfMemory(0U, [&] {
    *value = get(SessionData::Shared());
    return 1U;
  });
}

}  // namespace

SessionData* GetSessionDataInstance() {
  return orv::OrOutOfMemory<SessionData*>(nullptr, [] {
    SessionData* const session = &SessionData::Shared();
    ++theReferences;
    return session;
  });
}

std::uint32_t ReleaseSessionDataInstance() {
  if (!SessionData::HasShared() || --theReferences > 0) return 1;
  SessionData::DestroyShared();
  theReferences = 0;
  return 1;
}

std::uint32_t GetSessionProcessId(std::uint32_t* processId) {
  if (processId == nullptr) return 0;
  return StoreFromShared(processId, [](SessionData& session) { return session.KnownProcessId(); });
}

std::uint32_t GetSessionParentProcessId(std::uint32_t* parentProcessId) {
  if (parentProcessId == nullptr) return 0;
  return StoreFromShared(parentProcessId,
                         [](SessionData& session) { return session.ParentProcessId(); });
}

std::uint32_t GetSessionParendHandle(HANDLE* parentHandle) {
  if (parentHandle == nullptr) return 0;
  return StoreFromShared(parentHandle, [](SessionData& session) { return session.ParentHandle(); });
}

std::uint32_t GetSessionIsSystemParent(std::uint32_t* isSystemParent) {
  if (isSystemParent == nullptr) return 0;
  return StoreFromShared(isSystemParent,
                         [](SessionData& session) { return session.HasSystemHost(); });
}

std::uint32_t GetSessionReadUDS(std::uint32_t* read, const wchar_t* firstName,
                                const wchar_t* secondName) {
  if (read == nullptr || firstName == nullptr || secondName == nullptr) return 0;
  return StoreFromShared(read, [=](SessionData& session) {
    *read = 1;  // stays if memory runs out
    bool reads = session.MustReadSession();
    if (reads) return reads;
    if (const LONG error = SessionData::HasItems(firstName, secondName, &reads);
        error != ERROR_SUCCESS) {
      orv::LogFormat(eLogLevelError, nullptr, L"SessionData",
                     L"Error accessing Session Data. Error code: %i", static_cast<int>(error));
    }
    return reads;
  });
}

std::uint32_t GetSessionWriteUDS(std::uint32_t* write) {
  if (write == nullptr) return 0;
  return StoreFromShared(write, [](SessionData& session) { return session.WritesToSession(); });
}

std::uint32_t ReloadSessionInfo() {
  return orv::OrOutOfMemory(0U, [] {
    SessionData::Shared().Reload();
    return 1U;
  });
}

std::uint32_t IsSessionProcessStillValid(std::uint32_t* isValid, std::uint32_t processId,
                                         const wchar_t* processName,
                                         const std::uint64_t* creationTime) {
  if (isValid == nullptr || processName == nullptr || creationTime == nullptr) return 0;
  return orv::OrOutOfMemory(0U, [=] {
    *isValid = SessionData::IsStillValid(processId, processName, *creationTime);
    return 1U;
  });
}

std::uint32_t SaveSessionRegistryInfo(HKEY key) {
  if (key == nullptr) return 0;
  return orv::OrOutOfMemory(0U, [=] { return SessionData::Shared().SaveEntry(key) ? 1U : 0U; });
}

std::uint32_t CleanupRegSessionData(const wchar_t* firstName, const wchar_t* secondName) {
  return firstName != nullptr && secondName != nullptr && SessionData::RemoveEndedEntries() ? 1 : 0;
}
