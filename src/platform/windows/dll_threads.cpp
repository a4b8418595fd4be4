/// The thread functions that the compiler's runtime needs, for the DLL. The runtime uses them to
/// initialise local static objects once, and for exceptions and `thread_local` numbers. Its own
/// implementation, the toolchain's static thread library, allocates a TLS index for each load of
/// the DLL and never frees it, so a host that loads and unloads printer drivers would run out of
/// them.
///
/// Only these functions are in the DLL. Code that needs another one pulls in the toolchain's
/// library, and the link fails because of duplicate names.

#include "platform/windows/dll_threads.h"

#include <pthread.h>
#include <windows.h>

#include <cerrno>

namespace {

constexpr DWORD kMaxKeys = 4;

/// The values of a thread's keys. All threads are listed, so that unloading can release them.
struct ThreadValues {
  ThreadValues* next;
  ThreadValues** link;  ///< the pointer to this entry
  void* values[kMaxKeys];
};

DWORD tlsIndex = TLS_OUT_OF_INDEXES;
pthread_mutex_t listMutex = PTHREAD_MUTEX_INITIALIZER;
ThreadValues* threads = nullptr;

void (*keyDestructors[kMaxKeys])(void*);
DWORD keyCount = 0;

/// Lets other threads run. At process exit there are none, and the wait would never end; the
/// process is then ended, as the system does for critical sections.
void WaitForOtherThreads() {
  using IsShuttingDown = BOOLEAN WINAPI();
  auto* const isShuttingDown = reinterpret_cast<IsShuttingDown*>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
  if (isShuttingDown != nullptr && isShuttingDown()) {
    constexpr UINT kThreadIsTerminating = 0xC000004B;
    TerminateProcess(GetCurrentProcess(), kThreadIsTerminating);
  }
  Sleep(1);
}

/// Destroys a thread's values; the caller has the lock of the list or is the only thread.
void Release(ThreadValues* thread) {
  *thread->link = thread->next;
  if (thread->next != nullptr) thread->next->link = thread->link;
  for (DWORD key = 0; key < keyCount; ++key) {
    void* const value = thread->values[key];
    if (value != nullptr && keyDestructors[key] != nullptr) keyDestructors[key](value);
  }
  HeapFree(GetProcessHeap(), 0, thread);
}

ThreadValues* OwnValues() {
  return tlsIndex != TLS_OUT_OF_INDEXES ? static_cast<ThreadValues*>(TlsGetValue(tlsIndex))
                                        : nullptr;
}

/// The calling thread's values, made if necessary; null without memory.
ThreadValues* MakeOwnValues() {
  if (ThreadValues* const own = OwnValues()) return own;
  void* const memory = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ThreadValues));
  auto* const made = static_cast<ThreadValues*>(memory);
  if (made == nullptr) return nullptr;
  pthread_mutex_lock(&listMutex);
  if (tlsIndex == TLS_OUT_OF_INDEXES) tlsIndex = TlsAlloc();
  if (tlsIndex == TLS_OUT_OF_INDEXES || !TlsSetValue(tlsIndex, made)) {
    pthread_mutex_unlock(&listMutex);
    HeapFree(GetProcessHeap(), 0, made);
    return nullptr;
  }
  made->next = threads;
  made->link = &threads;
  if (threads != nullptr) threads->link = &made->next;
  threads = made;
  pthread_mutex_unlock(&listMutex);
  return made;
}

}  // namespace

// A mutex is a number: `kOwned`, or one of several initial values. The runtime never locks twice.

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t*) {
  *mutex = PTHREAD_MUTEX_INITIALIZER;
  return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  constexpr pthread_mutex_t kOwned = 1;
  while (__atomic_exchange_n(mutex, kOwned, __ATOMIC_ACQUIRE) == kOwned) WaitForOtherThreads();
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  __atomic_store_n(mutex, PTHREAD_MUTEX_INITIALIZER, __ATOMIC_RELEASE);
  return 0;
}

int pthread_mutex_destroy(pthread_mutex_t*) { return 0; }

// Every caller checks its condition again after a wait, so a wait may end early.

int pthread_cond_wait(pthread_cond_t*, pthread_mutex_t* mutex) {
  pthread_mutex_unlock(mutex);
  WaitForOtherThreads();
  return pthread_mutex_lock(mutex);
}

int pthread_cond_broadcast(pthread_cond_t*) { return 0; }

int pthread_once(pthread_once_t* once, void (*initialise)()) {
  constexpr pthread_once_t kRunning = 1;
  constexpr pthread_once_t kDone = 2;
  while (__atomic_load_n(once, __ATOMIC_ACQUIRE) != kDone) {
    pthread_once_t expected = PTHREAD_ONCE_INIT;
    if (__atomic_compare_exchange_n(once, &expected, kRunning, false, __ATOMIC_ACQUIRE,
                                    __ATOMIC_RELAXED)) {
      initialise();
      __atomic_store_n(once, kDone, __ATOMIC_RELEASE);
    } else {
      WaitForOtherThreads();
    }
  }
  return 0;
}

int pthread_key_create(pthread_key_t* key, void (*destroy)(void*)) {
  pthread_mutex_lock(&listMutex);
  const bool isFree = keyCount < kMaxKeys;
  if (isFree) {
    keyDestructors[keyCount] = destroy;
    *key = keyCount++;
  }
  pthread_mutex_unlock(&listMutex);
  return isFree ? 0 : EAGAIN;
}

int pthread_key_delete(pthread_key_t key) {
  keyDestructors[key] = nullptr;  // its number is not used again
  return 0;
}

void* pthread_getspecific(pthread_key_t key) {
  const DWORD error = GetLastError();  // `TlsGetValue` clears it
  const ThreadValues* const own = OwnValues();
  SetLastError(error);
  return own != nullptr ? own->values[key] : nullptr;
}

int pthread_setspecific(pthread_key_t key, const void* value) {
  const DWORD error = GetLastError();  // `TlsGetValue` clears it
  ThreadValues* const own = MakeOwnValues();
  SetLastError(error);
  if (own == nullptr) return ENOMEM;
  own->values[key] = const_cast<void*>(value);
  return 0;
}

namespace orv {

void ReleaseThreadValues() {
  ThreadValues* const own = OwnValues();
  if (own == nullptr) return;
  pthread_mutex_lock(&listMutex);
  Release(own);
  TlsSetValue(tlsIndex, nullptr);
  pthread_mutex_unlock(&listMutex);
}

void ReleaseAllThreadValues() {
  while (threads != nullptr) Release(threads);
  if (tlsIndex != TLS_OUT_OF_INDEXES) TlsFree(tlsIndex);
  tlsIndex = TLS_OUT_OF_INDEXES;
}

}  // namespace orv
