#pragma once

#include "orv/crypto/encryption_aes.h"
#include "orv/platform/types.h"
#include "platform/cryptography.h"
#include "platform/heap.h"

/// Encryption with the reason of a failure, which the public functions only print.

namespace orv {

/// A new buffer, or the failure, whose line has been printed.
struct CipherResult {
  HeapBuffer bytes;
  DWORD length = 0;
  CryptoFailure failure = {};
};

/// What `CEncryptionAES::EncryptAsBytes` does.
CipherResult Protect(const CEncryptionAES& cipher, const BYTE* data, DWORD length);

/// What `CEncryptionAES::DecryptAsBytes` does; `*code` is the reason why it refuses a buffer.
CipherResult Unprotect(const CEncryptionAES& cipher, const BYTE* data, DWORD length, DWORD* code);

}  // namespace orv
