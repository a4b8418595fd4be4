#pragma once

#include "orv/platform/types.h"

#if !defined(_WIN32)
#include <pthread.h>
#endif

namespace orv {

/// A lock between the threads of a process:
///
///     orv::Lock lock;
///     {
///       const orv::LockGuard guard(lock);
///       // one thread at a time
///     }
///
/// On Windows it is a critical section. At process exit the system first ends all other threads,
/// which may own locks. A thread that then enters a critical section does not wait: Windows ends
/// the process, or grants the section. With other locks it would wait for ever. A thread must not
/// lock twice: on Linux it would wait for itself.
class Lock {
 public:
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

#if defined(_WIN32)
  Lock() { InitializeCriticalSection(&section_); }
  ~Lock() { DeleteCriticalSection(&section_); }

  /// Waits until no other thread owns the lock.
  void lock() { EnterCriticalSection(&section_); }

  /// Takes the lock if it is free; returns whether.
  bool try_lock() { return TryEnterCriticalSection(&section_) != FALSE; }

  /// Releases the lock, which the calling thread owns.
  void unlock() { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
#else
  constexpr Lock() = default;

  /// Waits until no other thread owns the lock.
  void lock() { pthread_mutex_lock(&mutex_); }

  /// Takes the lock if it is free; returns whether.
  bool try_lock() { return pthread_mutex_trylock(&mutex_) == 0; }

  /// Releases the lock, which the calling thread owns.
  void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
#endif
};

/// Owns a lock during its lifetime.
class LockGuard {
 public:
  /// Waits for the lock.
  explicit LockGuard(Lock& lock) : lock_(lock) { lock_.lock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
  ~LockGuard() { lock_.unlock(); }

 private:
  Lock& lock_;
};

}  // namespace orv
