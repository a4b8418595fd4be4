#pragma once

#include <memory>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// AES-256-CBC with block padding, SHA-256, and the layout of protected files:
///
///     CEncryptionAES cipher("key text", "CNF");
///     const BYTE plain[] = {1, 2, 3};
///     DWORD length = 0;
///     const orv::OwnedBuffer result(cipher.EncryptAsBytes(plain, sizeof plain, &length));
///     if (result != nullptr) Use(result.get(), length);
///
/// `FreeCryptoBuffer` frees returned buffers, also for an `orv::OwnedBuffer`. They come from the
/// process heap, so on Windows `HeapFree` frees them too, and on Linux `free`. Failures print a
/// line to standard output and show in the result; nothing is logged. An object belongs to one
/// thread at a time; the functions are thread-safe.

/// Encrypts and decrypts with one key.
class ORV_EXPORT CEncryptionAES {
 public:
  /// The reasons why `DecryptAsBytes` refuses a buffer.
  enum : DWORD {
    kDecryptFailed = 0,   ///< the cipher text does not decrypt
    kVersionTooLow = 4,   ///< a version byte of 0
    kTooShort = 5,        ///< no version byte, or no cipher text after the header
    kWrongMarker = 6,     ///< another marker
    kVersionTooHigh = 7,  ///< a version byte of 2 or above
  };

  /// `keyText` is repeated and cut to 32 bytes, which are used as the key unchanged. `magic` is the
  /// marker at the beginning of a protected file.
  CEncryptionAES(const CStringA& keyText, const CStringA& magic);
  CEncryptionAES(const CEncryptionAES&) = delete;
  CEncryptionAES& operator=(const CEncryptionAES&) = delete;
  virtual ~CEncryptionAES();

  /// Protects `length` bytes. The result is the marker, the version byte 1, an initialization
  /// vector of 16 capital letters, and the cipher text. Returns null on failure; `m_nErrorCode` is
  /// then 2 if there was no memory for the initialization vector, else 0.
  BYTE* EncryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength);

  /// Returns the plain bytes of a protected buffer. Returns null on failure, with the reason in
  /// `*code`; nothing is read beyond `length`.
  BYTE* DecryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength, DWORD* code);

  CStringA m_stKeyText;    ///< the text from which the key is made
  CStringA m_stMagic;      ///< the marker at the beginning of a protected file
  BYTE* m_pKey = nullptr;  ///< the key; null if there was no memory for it
  DWORD m_nKeyLength = 0;  ///< 32
  DWORD m_nErrorCode = 0;  ///< 0; 1 or 2: no memory for the key or the IV
};

extern "C" {

/// Encrypts with AES-CBC and block padding; returns null on failure. The key has 16, 24 or 32
/// bytes; only the first 16 bytes of the initialization vector are used.
ORV_EXPORT BYTE* AesCbcEncrypt(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
                               const BYTE* plain, DWORD plainLength, DWORD* cipherLength);

/// Decrypts the output of `AesCbcEncrypt`; returns null on failure, also if the padding is invalid.
ORV_EXPORT BYTE* AesCbcDecrypt(const BYTE* cipher, DWORD cipherLength, const BYTE* key,
                               DWORD keyLength, const BYTE* iv, DWORD ivLength, DWORD* plainLength);

/// Frees a buffer that a function or class of this header returned; null is ignored.
ORV_EXPORT void FreeCryptoBuffer(BYTE* buffer);

// Callers are C++, although the names are undecorated.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

/// Returns the SHA-256 digest of the salt followed by the text, both as UTF-8, as 64 lower-case
/// hexadecimal digits. Returns an empty text for empty input and on failure.
ORV_EXPORT CString ComputeSha256Hex(const CString& text, const CString& salt);

/// Returns the SHA-256 digest of a buffer in the same form; empty on failure. Takes ownership of
/// the buffer and always frees it. The buffer must come from the process heap: from a function of
/// this header, from `HeapAlloc(GetProcessHeap(), …)` on Windows, or from `malloc` on Linux.
ORV_EXPORT CString Sha256Hex(BYTE* data, DWORD length);

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

}  // extern "C"

namespace orv {

/// Frees the buffer of an `OwnedBuffer`.
struct BufferDeleter {
  void operator()(BYTE* buffer) const { FreeCryptoBuffer(buffer); }  ///< frees it
};

/// Owns a buffer that a function or class of this header returned.
using OwnedBuffer = std::unique_ptr<BYTE[], BufferDeleter>;

/// Receives the line of a failed step, which ends with a line feed, instead of standard output.
using DiagnosticSink = void (*)(const char* line);

/// Redirects those lines, for programs that print their own results to standard output; null
/// restores it. Call it before other threads use the functions.
ORV_EXPORT void SetDiagnosticSink(DiagnosticSink sink);

}  // namespace orv
