#pragma once

#include <string_view>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// AES-256-CBC with block padding, SHA-256, and the layout of protected files. Buffers that are
/// handed out come from the process heap and are the caller's to free. Failures print a line on the
/// standard output and show in the result; nothing is logged. An object belongs to one thread at a
/// time; the functions may run on any.

/// Encrypts and decrypts with one key.
class ORV_EXPORT CEncryptionAES {
 public:
  /// What `DecryptAsBytes` refuses a buffer for.
  enum : DWORD {
    kDecryptFailed = 0,   ///< the cipher text does not decrypt
    kVersionTooLow = 4,   ///< a version byte of 0
    kTooShort = 5,        ///< no version byte, or no cipher text behind the vector
    kWrongMarker = 6,     ///< another marker
    kVersionTooHigh = 7,  ///< a version byte of 2 or above
  };

  /// `keyText` is the key as text: repeated and cut to 32 bytes, which are the key as they stand.
  /// `magic` is the marker that opens a protected file.
  CEncryptionAES(const CStringA& keyText, const CStringA& magic);
  CEncryptionAES(const CEncryptionAES&) = delete;
  CEncryptionAES& operator=(const CEncryptionAES&) = delete;
  virtual ~CEncryptionAES();

  /// Protects `length` bytes: the marker, the version byte 1, a vector of 16 capital letters, the
  /// cipher text. Null on failure; `m_nErrorCode` then is 2 when there was no memory for the
  /// vector, else 0.
  BYTE* EncryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength);

  /// Gives the plain bytes of a protected buffer. Null on failure, with the reason in `*code`;
  /// nothing is read beyond `length`.
  BYTE* DecryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength, DWORD* code);

  CStringA m_stKeyText;    ///< the text that the key is made of
  CStringA m_stMagic;      ///< the marker that opens a protected file
  BYTE* m_pKey = nullptr;  ///< the key, null when it could not be built
  DWORD m_nKeyLength = 0;  ///< 32
  DWORD m_nErrorCode = 0;  ///< 0; 1 no memory for the key, 2 none for the vector
};

extern "C" {

/// Encrypts with AES-CBC and block padding; null on failure. The key has 16, 24 or 32 bytes; of a
/// vector longer than a block the first 16 bytes count.
ORV_EXPORT BYTE* AesCbcEncrypt(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
                               const BYTE* plain, DWORD plainLength, DWORD* cipherLength);

/// Decrypts what `AesCbcEncrypt` made; null on failure, also when the padding does not verify.
ORV_EXPORT BYTE* AesCbcDecrypt(const BYTE* cipher, DWORD cipherLength, const BYTE* key,
                               DWORD keyLength, const BYTE* iv, DWORD ivLength, DWORD* plainLength);

/// The SHA-256 digest of the salt followed by the text, both as UTF-8, as 64 lower-case hexadecimal
/// digits. Empty for an empty input and on failure.
ORV_EXPORT CString ComputeSha256Hex(const CString& text, const CString& salt);

/// The SHA-256 digest of a buffer in the same form; empty on failure. Takes the buffer over, which
/// must come from the process heap, and frees it in every case.
ORV_EXPORT CString Sha256Hex(BYTE* data, DWORD length);

}  // extern "C"

namespace orv {

/// Takes the line of a failed step, which ends in a line feed, in place of the standard output.
using DiagnosticSink = void (*)(const char* line);
/// Redirects those lines, for programs whose own results go to the standard output; null restores
/// it. Set it before other threads use the functions.
ORV_EXPORT void SetDiagnosticSink(DiagnosticSink sink);

}  // namespace orv
