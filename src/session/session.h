#pragma once

#include <cstdint>
#include <string>

#include "orv/platform/types.h"
#include "platform/processes.h"

/// The process that the library runs in, as the installed functions and the stock items see it:
/// whether a system host for printer settings is involved, and the process's entry in the registry.
/// For one thread at a time. Unless noted otherwise, functions throw `std::bad_alloc`.
struct SessionData {
  SessionData() = default;
  SessionData(const SessionData&) = delete;
  SessionData& operator=(const SessionData&) = delete;
  ~SessionData();

  /// The object of this process, created on first use.
  static SessionData& Shared();
  /// Destroys the shared object; the next use creates a new one.
  static void DestroyShared();
  static bool HasShared();

  /// Kept for compatibility: 122 until something else has needed the ids.
  std::uint32_t KnownProcessId();
  /// The id of the process that started this one; 0 when unknown.
  std::uint32_t ParentProcessId();
  /// An open handle to the parent process, null when it cannot be opened. This object closes it.
  HANDLE ParentHandle();
  /// Whether this process is, or was started by, a system host for printer settings.
  bool HasSystemHost();
  /// The id under which this process finds the session's stock items: that of the system host that
  /// started it, otherwise its own.
  std::uint32_t ItemsProcessId();

  /// Whether user-defined settings are read from the session instead of the printer's key, whatever
  /// the registry holds.
  bool MustReadSession();
  /// Whether the session key has the sub-keys of these names, for which they are read from it too.
  static LONG HasItems(const std::wstring& firstName, const std::wstring& secondName, bool* has);
  /// Whether user-defined settings are written to the session.
  bool WritesToSession();

  /// Determines everything again.
  void Reload();
  /// Writes this process's entry into an open key; false when the registry refuses.
  bool SaveEntry(HKEY key);

  /// Whether a process is still the stored one: same id, same creation time, same program.
  static bool IsStillValid(std::uint32_t processId, const std::wstring& name, std::uint64_t stored);
  /// Removes the entries of processes that have ended. False if memory runs out; the remaining
  /// entries stay until the next call.
  static bool RemoveEndedEntries();

 private:
  static constexpr std::uint32_t kUnknownProcess = 'z';
  static constexpr std::uint32_t kUnknownParent = 'y';

  void DetermineIds();
  HANDLE OpenParent();
  void CloseParent();
  /// Determines everything again and checks this process against it.
  bool IsOwnEntryValid();

  std::uint32_t processId_ = kUnknownProcess;
  std::uint32_t parentProcessId_ = kUnknownParent;
  HANDLE parentHandle_ = nullptr;
  std::uint32_t openedParentId_ = kUnknownParent;  ///< whose handle it is
  bool isStartedByHost_ = false;                   ///< the parent is a system host
  bool hasSystemHost_ = false;                     ///< the parent or this process is one
  bool isDetermined_ = false;                      ///< whether the two above are
  orv::ProcessEntry self_;                         ///< as last determined
  std::wstring path_;                              ///< a buffer
  std::wstring parentProgram_;                     ///< the path of the parent's program
  std::uint32_t programParentId_ = 0;              ///< the parent that it belongs to
  std::wstring processName_;
  std::uint64_t creationTime_ = 0;
};
