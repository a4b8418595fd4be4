#pragma once

#include <cstdint>
#include <memory>

#include "orv/platform/types.h"
#include "platform/heap.h"

/// The system's cipher and digest: CNG on Windows, OpenSSL on Linux.

namespace orv {

/// Steps of a cryptographic operation; messages name the one that failed.
enum class CryptoStep {
  kNone,
  kOpenProvider,
  kProperty,
  kAllocate,
  kAllocateVector,  ///< of the initialization vector; has no message
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

/// The step that failed and its status. Statuses are those of CNG on both platforms.
struct CryptoFailure {
  CryptoStep step = CryptoStep::kNone;
  std::uint32_t status = 0;

  /// True for a failure.
  explicit operator bool() const { return step != CryptoStep::kNone; }
};

inline constexpr std::uint32_t kStatusUnsuccessful = 0xC0000001;
inline constexpr std::uint32_t kStatusInvalidParameter = 0xC000000D;
inline constexpr std::uint32_t kStatusNoMemory = 0xC0000017;
inline constexpr std::uint32_t kStatusDataError = 0xC000003E;
inline constexpr std::uint32_t kStatusInsufficientResources = 0xC000009A;
inline constexpr std::uint32_t kStatusInvalidBufferSize = 0xC0000206;

/// Whether an operation failed because memory ran out, here or in the system.
constexpr bool IsOutOfMemory(const CryptoFailure& failure) {
  return failure.step == CryptoStep::kAllocate || failure.step == CryptoStep::kAllocateVector ||
         failure.status == kStatusNoMemory || failure.status == kStatusInsufficientResources;
}

inline constexpr DWORD kAesBlockSize = 16;
inline constexpr DWORD kSha256Size = 32;
/// Maximum length of a cipher text: the system interfaces take signed 32-bit lengths. Callers must
/// reject longer texts.
inline constexpr DWORD kMaxCipherLength = 0x7FFFFFF0;

/// AES in CBC mode with one key. Not thread-safe.
class AesCbc {
 public:
  AesCbc();
  AesCbc(const AesCbc&) = delete;
  AesCbc& operator=(const AesCbc&) = delete;
  ~AesCbc();

  /// Opens the provider and imports a key of 16, 24 or 32 bytes. The caller must refuse other
  /// lengths.
  CryptoFailure SetKey(const BYTE* key, DWORD keyLength);

  /// Encrypts with block padding (PKCS #7) into a new buffer.
  CryptoFailure Encrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* plain, DWORD plainLength,
                        HeapBuffer* cipher, DWORD* cipherLength);
  /// Decrypts one or more whole blocks into a new buffer of the same length. The caller verifies
  /// the padding, because systems differ in how thoroughly they do it.
  CryptoFailure Decrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* cipher, DWORD cipherLength,
                        HeapBuffer* plain);

  /// `ExportKey` saves the key in the system's opaque form. It survives `DestroyKey`, and
  /// `ImportKey` restores the key from it.
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
