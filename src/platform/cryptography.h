#pragma once

#include <cstdint>
#include <memory>

#include "orv/platform/types.h"
#include "platform/heap.h"

/// The system's cipher and digest: CNG on Windows, OpenSSL elsewhere.

namespace orv {

/// The steps of a cryptographic operation, for messages that name the one that failed.
enum class CryptoStep {
  kNone,
  kOpenProvider,
  kProperty,
  kAllocate,
  kChainingMode,
  kGenerateKey,
  kExportKey,
  kEncrypt,
  kDestroyKey,
  kImportKey,
  kDecrypt,
  kCreateHash,
  kHashData,
  kFinishHash,
};

/// Which step failed and with which status; the statuses are those of CNG on every system.
struct CryptoFailure {
  CryptoStep step = CryptoStep::kNone;
  std::uint32_t status = 0;

  /// True for a failure.
  explicit operator bool() const { return step != CryptoStep::kNone; }
};

inline constexpr std::uint32_t kStatusUnsuccessful = 0xC0000001;
inline constexpr std::uint32_t kStatusInvalidParameter = 0xC000000D;
inline constexpr std::uint32_t kStatusDataError = 0xC000003E;
inline constexpr std::uint32_t kStatusInvalidBufferSize = 0xC0000206;

inline constexpr DWORD kAesBlockSize = 16;
inline constexpr DWORD kSha256Size = 32;
/// The longest cipher text: systems count it in signed integers. Longer ones are for the caller to
/// refuse.
inline constexpr DWORD kMaxCipherLength = 0x7FFFFFF0;

/// AES in CBC mode with one key. One thread at a time.
class AesCbc {
 public:
  AesCbc();
  AesCbc(const AesCbc&) = delete;
  AesCbc& operator=(const AesCbc&) = delete;
  ~AesCbc();

  /// Opens the provider and makes the key from 16, 24 or 32 bytes; other lengths are for the caller
  /// to refuse.
  CryptoFailure SetKey(const BYTE* key, DWORD keyLength);

  /// Encrypts with block padding (PKCS #7) into a new buffer.
  CryptoFailure Encrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* plain, DWORD plainLength,
                        HeapBuffer* cipher, DWORD* cipherLength);
  /// Decrypts a positive number of whole blocks into a new buffer of the same length. The padding
  /// is left for the caller to check: systems differ in how thoroughly they do it.
  CryptoFailure Decrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* cipher, DWORD cipherLength,
                        HeapBuffer* plain);

  /// Puts the key into the system's opaque form, which outlives `DestroyKey` and from which
  /// `ImportKey` makes the key again.
  CryptoFailure ExportKey();
  CryptoFailure DestroyKey();
  CryptoFailure ImportKey();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The SHA-256 digest of a buffer.
CryptoFailure Sha256(const BYTE* data, DWORD length, BYTE (&digest)[kSha256Size]);

}  // namespace orv
