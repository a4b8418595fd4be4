#include "tests/faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <sqlite3.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/types.h>

/// The calls that may fail, in place of those of the C library, OpenSSL and others: definitions in
/// the program take precedence in every shared library that it loads. The headers of the replaced
/// functions are not included, because their declarations have different attributes. Functions that
/// are called through pointers have their exact types, as the sanitizer requires.

namespace {

using orv::test::faults::Fails;
using orv::test::faults::Kind;

long filesNotRemoved = 0;

/// The next function of the same name after the program's own.
template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

size_t Taken(size_t size) { return Fails(Kind::kShortWrite) ? size / 2 : size; }

}  // namespace

// A function that fails as `failure` specifies, with this error.
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
FAILING(int, openat, (int at, const char* path, int how, unsigned mode), (at, path, how, mode), -1,
        EMFILE)
FAILING(int, getentropy, (void* to, size_t size), (to, size), -1, ENOSYS)
FAILING(void*, fopen, (const char* path, const char* mode), (path, mode), nullptr, EACCES)
FAILING(ssize_t, read, (int file, void* to, size_t size), (file, to, size), -1, EIO)
FAILING(ssize_t, pread64, (int file, void* to, size_t n, off64_t at), (file, to, n, at), -1, EIO)
FAILING(off_t, lseek, (int file, off_t at, int from), (file, at, from), -1, EIO)
FAILING(off64_t, lseek64, (int file, off64_t at, int from), (file, at, from), -1, EIO)
FAILING(int, ftruncate, (int file, off_t size), (file, size), -1, EIO)
FAILING(int, ftruncate64, (int file, off64_t size), (file, size), -1, EIO)
FAILING(int, fchmod, (int file, unsigned mode), (file, mode), -1, EPERM)
FAILING(int, flock, (int file, int operation), (file, operation), -1, EWOULDBLOCK)
FAILING(int, fcntl64, (int file, int command, void* argument), (file, command, argument), -1, EIO)
FAILING(int, rename, (const char* from, const char* to), (from, to), -1, EACCES)
FAILING(int, access, (const char* path, int mode), (path, mode), -1, EACCES)
FAILING(int, stat64, (const char* path, void* status), (path, status), -1, EACCES)
FAILING(int, lstat64, (const char* path, void* status), (path, status), -1, EACCES)
FAILING(int, fstat, (int file, void* status), (file, status), -1, EIO)
FAILING(int, fstat64, (int file, void* status), (file, status), -1, EIO)
FAILING(char*, realpath, (const char* path, char* to), (path, to), nullptr, EACCES)
FAILING(ssize_t, readlink, (const char* path, char* to, size_t size), (path, to, size), -1, EACCES)
FAILING(ssize_t, readlinkat, (int at, const char* path, char* to, size_t n), (at, path, to, n), -1,
        EACCES)

// OpenSSL's functions all return null or 0 on failure.
#define FAILING_EVP(Type, name, parameters, arguments) \
  FAILING(Type, EVP_##name, parameters, arguments, {}, 0)

struct ossl_lib_ctx_st;
FAILING_EVP(struct evp_cipher_st*, CIPHER_fetch,
            (ossl_lib_ctx_st * context, const char* name, const char* properties),
            (context, name, properties))
FAILING_EVP(struct evp_md_st*, MD_fetch,
            (ossl_lib_ctx_st * context, const char* name, const char* properties),
            (context, name, properties))
extern "C" void EVP_MD_free(evp_md_st* algorithm);
extern "C" void EVP_CIPHER_free(evp_cipher_st* algorithm);
FAILING_EVP(void*, CIPHER_CTX_new, (), ())
FAILING_EVP(void*, MD_CTX_new, (), ())
FAILING_EVP(int, EncryptInit_ex, (void* c, void* t, void* e, void* k, void* iv), (c, t, e, k, iv))
FAILING_EVP(int, DecryptInit_ex, (void* c, void* t, void* e, void* k, void* iv), (c, t, e, k, iv))
FAILING_EVP(int, EncryptUpdate, (void* c, void* o, int* n, void* i, int size), (c, o, n, i, size))
FAILING_EVP(int, DecryptUpdate, (void* c, void* o, int* n, void* i, int size), (c, o, n, i, size))
FAILING_EVP(int, EncryptFinal_ex, (void* c, void* out, int* done), (c, out, done))
FAILING_EVP(int, CIPHER_CTX_set_padding, (void* c, int pad), (c, pad))
FAILING_EVP(int, DigestInit_ex, (void* c, void* type, void* e), (c, type, e))
FAILING_EVP(int, DigestUpdate, (void* c, void* data, size_t size), (c, data, size))
FAILING_EVP(int, DigestFinal_ex, (void* c, void* out, unsigned* size), (c, out, size))

// Skips the real call, to save time: these tests do not depend on what reaches the disk.
extern "C" int fsync(int) { return Fails(Kind::kCall) ? (errno = EIO, -1) : 0; }
extern "C" int fdatasync(int) { return Fails(Kind::kCall) ? (errno = EIO, -1) : 0; }

// Even for a moment, another umask would apply to the files of other threads.
extern "C" unsigned umask(unsigned) { abort(); }

FAILING(int, unlink, (const char* path), (path), (++filesNotRemoved, -1), EACCES)

// Closing releases the file even if it fails.
#define FAILING_AFTER(name, Parameter, failure)           \
  extern "C" int name(Parameter file) {                   \
    static const auto next = Next<int(Parameter)>(#name); \
    const bool fails = Fails(Kind::kCall);                \
    const int result = next(file);                        \
    if (!fails) return result;                            \
    errno = EIO;                                          \
    return failure;                                       \
  }

FAILING_AFTER(close, int, -1)
FAILING_AFTER(fclose, struct _IO_FILE*, -1)

// A write may also accept only a part.
FAILING(ssize_t, write, (int file, const void* from, size_t size), (file, from, Taken(size)), -1,
        ENOSPC)
FAILING(ssize_t, pwrite, (int file, const void* from, size_t size, off_t at),
        (file, from, Taken(size), at), -1, ENOSPC)
FAILING(ssize_t, pwrite64, (int file, const void* from, size_t size, off64_t at),
        (file, from, Taken(size), at), -1, ENOSPC)
FAILING(size_t, fwrite, (const void* from, size_t size, size_t count, void* file),
        (from, size, Taken(count), file), 0, ENOSPC)

// The C library's memory, where the program's own objects allocate it, and SQLite's.
#define FAILING_MEMORY(name, parameters, arguments)                      \
  extern "C" void* __real_##name parameters;                             \
  extern "C" void* __wrap_##name parameters {                            \
    return Fails(Kind::kAllocation) ? nullptr : __real_##name arguments; \
  }

FAILING_MEMORY(malloc, (size_t size), (size))
FAILING_MEMORY(calloc, (size_t count, size_t size), (count, size))
FAILING_MEMORY(realloc, (void* block, size_t size), (block, size))
FAILING_MEMORY(aligned_alloc, (size_t alignment, size_t size), (alignment, size))

extern "C" int CRYPTO_set_mem_functions(void* (*allocate)(size_t, const char*, int),
                                        void* (*resize)(void*, size_t, const char*, int),
                                        void (*release)(void*, const char*, int));

namespace {

/// The cipher library's memory. The algorithms are fetched once before the first fault: if memory
/// runs out while it asks its providers for them, it never asks again.
[[maybe_unused]] const bool isCipherPrepared = [] {
  const bool isReplaced =
      CRYPTO_set_mem_functions(
          [](size_t size, const char*, int) { return __wrap_malloc(size); },
          [](void* block, size_t size, const char*, int) { return __wrap_realloc(block, size); },
          [](void* block, const char*, int) { free(block); }) == 1;
  EVP_MD_free(EVP_MD_fetch(nullptr, "SHA256", nullptr));
  EVP_CIPHER_free(EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr));
  return isReplaced;
}();

sqlite3_mem_methods sqliteMemory;

/// SQLite accepts the replacement only before any other call, so before `main`.
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

void* Allocate(size_t size) { return __wrap_malloc(size); }

long OpenFiles() {
  long files = 0;
  constexpr int kGetFlags = 1;  // `F_GETFD`
  for (int file = 0; file < 256; ++file) files += fcntl64(file, kGetFlags, nullptr) >= 0;
  return files;
}

long FilesNotRemoved() { return filesNotRemoved; }

}  // namespace orv::test::faults
