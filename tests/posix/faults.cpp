#include "tests/faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <sqlite3.h>
#include <stddef.h>
#include <sys/types.h>

/// The calls that may fail, in place of those of the C library, OpenSSL and the others: a program's
/// own definitions serve every shared library that it loads. The headers of what is replaced are
/// left out, because their declarations have attributes that differ.

namespace {

using orv::test::faults::Fails;
using orv::test::faults::Kind;

long filesNotRemoved = 0;

/// The function of the same name behind the program's own.
template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// A call that fails as `failure` says, with this error.
#define FAILING(Type, name, parameters, arguments, failure, error) \
  extern "C" Type name parameters {                                \
    static const auto next = Next<Type parameters>(#name);         \
    if (Fails(Kind::kCall)) {                                      \
      errno = error;                                               \
      return failure;                                              \
    }                                                              \
    return next arguments;                                         \
  }

FAILING(int, open, (const char* path, int flags, unsigned mode), (path, flags, mode), -1, EACCES)
FAILING(int, open64, (const char* path, int flags, unsigned mode), (path, flags, mode), -1, EACCES)
FAILING(int, openat, (int folder, const char* path, int flags, unsigned mode),
        (folder, path, flags, mode), -1, EMFILE)
FAILING(int, mkostemp, (char* name, int flags), (name, flags), -1, EACCES)
FAILING(void*, fopen, (const char* path, const char* mode), (path, mode), nullptr, EACCES)
FAILING(void*, fopen64, (const char* path, const char* mode), (path, mode), nullptr, EACCES)
FAILING(ssize_t, read, (int file, void* to, size_t size), (file, to, size), -1, EIO)
FAILING(ssize_t, pread64, (int file, void* to, size_t size, off64_t at), (file, to, size, at), -1,
        EIO)
FAILING(off_t, lseek, (int file, off_t at, int from), (file, at, from), -1, EIO)
FAILING(off64_t, lseek64, (int file, off64_t at, int from), (file, at, from), -1, EIO)
FAILING(int, ftruncate, (int file, off_t size), (file, size), -1, EIO)
FAILING(int, ftruncate64, (int file, off64_t size), (file, size), -1, EIO)
FAILING(int, fchmod, (int file, unsigned mode), (file, mode), -1, EPERM)
FAILING(int, flock, (int file, int operation), (file, operation), -1, EWOULDBLOCK)
FAILING(int, fcntl64, (int file, int command, void* argument), (file, command, argument), -1, EIO)
FAILING(int, rename, (const char* from, const char* to), (from, to), -1, EACCES)
FAILING(int, mkdir, (const char* path, unsigned mode), (path, mode), -1, EACCES)
FAILING(int, access, (const char* path, int mode), (path, mode), -1, EACCES)
FAILING(int, stat, (const char* path, void* status), (path, status), -1, EACCES)
FAILING(int, stat64, (const char* path, void* status), (path, status), -1, EACCES)
FAILING(int, lstat64, (const char* path, void* status), (path, status), -1, EACCES)
FAILING(int, fstat, (int file, void* status), (file, status), -1, EIO)
FAILING(int, fstat64, (int file, void* status), (file, status), -1, EIO)
FAILING(char*, realpath, (const char* path, char* to), (path, to), nullptr, EACCES)
FAILING(ssize_t, readlink, (const char* path, char* to, size_t size), (path, to, size), -1, EACCES)
FAILING(ssize_t, readlinkat, (int folder, const char* path, char* to, size_t size),
        (folder, path, to, size), -1, EACCES)
FAILING(void*, mmap, (void* at, size_t size, int rights, int flags, int file, off_t from),
        (at, size, rights, flags, file, from), reinterpret_cast<void*>(-1), ENOMEM)
FAILING(int, madvise, (void* at, size_t size, int advice), (at, size, advice), -1, ENOMEM)
FAILING(void*, iconv_open, (const char* to, const char* from), (to, from),
        reinterpret_cast<void*>(-1), EMFILE)

FAILING(void*, EVP_CIPHER_fetch, (void* context, const char* name, const char* properties),
        (context, name, properties), nullptr, 0)
FAILING(void*, EVP_MD_fetch, (void* context, const char* name, const char* properties),
        (context, name, properties), nullptr, 0)
FAILING(void*, EVP_CIPHER_CTX_new, (), (), nullptr, 0)
FAILING(void*, EVP_MD_CTX_new, (), (), nullptr, 0)
FAILING(int, EVP_EncryptInit_ex, (void* c, void* type, void* e, void* key, void* iv),
        (c, type, e, key, iv), 0, 0)
FAILING(int, EVP_DecryptInit_ex, (void* c, void* type, void* e, void* key, void* iv),
        (c, type, e, key, iv), 0, 0)
FAILING(int, EVP_EncryptUpdate, (void* c, void* out, int* done, void* in, int size),
        (c, out, done, in, size), 0, 0)
FAILING(int, EVP_DecryptUpdate, (void* c, void* out, int* done, void* in, int size),
        (c, out, done, in, size), 0, 0)
FAILING(int, EVP_EncryptFinal_ex, (void* c, void* out, int* done), (c, out, done), 0, 0)
FAILING(int, EVP_CIPHER_CTX_set_padding, (void* c, int pad), (c, pad), 0, 0)
FAILING(int, EVP_DigestInit_ex, (void* c, void* type, void* e), (c, type, e), 0, 0)
FAILING(int, EVP_DigestUpdate, (void* c, void* data, size_t size), (c, data, size), 0, 0)
FAILING(int, EVP_DigestFinal_ex, (void* c, void* out, unsigned* size), (c, out, size), 0, 0)

// What reached the disk is lost with the disk; the time for it is saved.
extern "C" int fsync(int) { return Fails(Kind::kCall) ? (errno = EIO, -1) : 0; }
extern "C" int fdatasync(int) { return Fails(Kind::kCall) ? (errno = EIO, -1) : 0; }

// Closing gives the file back whatever it says.
#define FAILING_BEHIND(name, Parameter, failure)          \
  extern "C" int name(Parameter file) {                   \
    static const auto next = Next<int(Parameter)>(#name); \
    const bool fails = Fails(Kind::kCall);                \
    const int result = next(file);                        \
    if (!fails) return result;                            \
    errno = EIO;                                          \
    return failure;                                       \
  }

FAILING_BEHIND(close, int, -1)
FAILING_BEHIND(fclose, void*, -1)

extern "C" int unlink(const char* path) {
  static const auto next = Next<int(const char*)>("unlink");
  if (!Fails(Kind::kCall)) return next(path);
  ++filesNotRemoved;
  errno = EACCES;
  return -1;
}

// Writing may also take only a part.
extern "C" ssize_t write(int file, const void* from, size_t size) {
  static const auto next = Next<ssize_t(int, const void*, size_t)>("write");
  if (Fails(Kind::kCall)) {
    errno = ENOSPC;
    return -1;
  }
  return next(file, from, Fails(Kind::kShortWrite) ? size / 2 : size);
}

extern "C" ssize_t pwrite64(int file, const void* from, size_t size, off64_t at) {
  static const auto next = Next<ssize_t(int, const void*, size_t, off64_t)>("pwrite64");
  if (Fails(Kind::kCall)) {
    errno = ENOSPC;
    return -1;
  }
  return next(file, from, Fails(Kind::kShortWrite) ? size / 2 : size, at);
}

extern "C" size_t fwrite(const void* from, size_t size, size_t count, void* file) {
  static const auto next = Next<size_t(const void*, size_t, size_t, void*)>("fwrite");
  return Fails(Kind::kCall) ? 0
                            : next(from, size, Fails(Kind::kShortWrite) ? count / 2 : count, file);
}

// The C library's memory, as far as the program's own objects ask for it, and SQLite's.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) { return orv::test::faults::Allocate(size); }
extern "C" void* __real_calloc(size_t count, size_t size);
extern "C" void* __wrap_calloc(size_t count, size_t size) {
  return Fails(Kind::kAllocation) ? nullptr : __real_calloc(count, size);
}
extern "C" void* __real_realloc(void* block, size_t size);
extern "C" void* __wrap_realloc(void* block, size_t size) {
  return Fails(Kind::kAllocation) ? nullptr : __real_realloc(block, size);
}
extern "C" void* __real_aligned_alloc(size_t alignment, size_t size);
extern "C" void* __wrap_aligned_alloc(size_t alignment, size_t size) {
  return Fails(Kind::kAllocation) ? nullptr : __real_aligned_alloc(alignment, size);
}

namespace {

sqlite3_mem_methods sqliteMemory;

/// SQLite takes it only before anything else, so before `main`.
[[maybe_unused]] const bool isSqlitePrepared = [] {
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqliteMemory);
  sqlite3_mem_methods failing = sqliteMemory;
  failing.xMalloc = [](int size) -> void* {
    return Fails(Kind::kCall) ? nullptr : sqliteMemory.xMalloc(size);
  };
  failing.xRealloc = [](void* block, int size) -> void* {
    return Fails(Kind::kCall) ? nullptr : sqliteMemory.xRealloc(block, size);
  };
  return sqlite3_config(SQLITE_CONFIG_MALLOC, &failing) == SQLITE_OK;
}();

}  // namespace

namespace orv::test::faults {

void* Allocate(size_t size) { return Fails(Kind::kAllocation) ? nullptr : __real_malloc(size); }

long OpenFiles() {
  long files = 0;
  constexpr int kGetFlags = 1;  // `F_GETFD`
  for (int file = 0; file < 256; ++file) files += fcntl64(file, kGetFlags, nullptr) >= 0;
  return files;
}

long FilesNotRemoved() { return filesNotRemoved; }

}  // namespace orv::test::faults
