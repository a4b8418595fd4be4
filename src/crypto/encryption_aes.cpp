#include "orv/crypto/encryption_aes.h"

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

#include "base/hex.h"
#include "base/utf8.h"
#include "crypto/cipher_result.h"
#include "crypto/sha256.h"
#include "crypto/vector_generator.h"
#include "orv/text/format.h"
#include "platform/cryptography.h"
#include "platform/heap.h"

using orv::CipherResult;
using orv::CryptoFailure;
using orv::CryptoStep;
using orv::HeapBuffer;
using orv::kAesBlockSize;

namespace {

constexpr DWORD kKeyLength = 32;
constexpr BYTE kFormatVersion = 1;

/// The diagnostic line of each step. The lines name the functions of one system's service on every
/// system, because people search for these texts.
constexpr struct {
  CryptoStep step;
  const wchar_t* line;
} kDiagnostics[] = {
    {CryptoStep::kOpenProvider, L"**** Error 0x%x returned by BCryptOpenAlgorithmProvider\n"},
    {CryptoStep::kProperty, L"**** Error 0x%x returned by BCryptGetProperty\n"},
    {CryptoStep::kAllocate, L"**** memory allocation failed\n"},
    {CryptoStep::kChainingMode, L"**** Error 0x%x returned by BCryptSetProperty\n"},
    {CryptoStep::kGenerateKey, L"**** Error 0x%x returned by BCryptGenerateSymmetricKey\n"},
    {CryptoStep::kExportKey, L"**** Error 0x%x returned by BCryptExportKey\n"},
    {CryptoStep::kEncrypt, L"**** Error 0x%x returned by BCryptEncrypt\n"},
    {CryptoStep::kDestroyKey, L"**** Error 0x%x returned by BCryptDestroyKey\n"},
    // Kept for compatibility: the line of an import names the generation.
    {CryptoStep::kImportKey, L"**** Error 0x%x returned by BCryptGenerateSymmetricKey\n"},
    {CryptoStep::kDecrypt, L"**** Error 0x%x returned by BCryptDecrypt\n"},
    {CryptoStep::kCreateHash, L"**** Error 0x%x returned by BCryptCreateHash\n"},
    {CryptoStep::kHashData, L"**** Error 0x%x returned by BCryptHashData\n"},
    {CryptoStep::kFinishHash, L"**** Error 0x%x returned by BCryptFinishHash\n"},
};

orv::DiagnosticSink diagnosticSink = nullptr;

/// Prints to the standard output without setting the stream's orientation (wide or narrow), which
/// belongs to the host process.
void PrintText(const wchar_t* line) {
  if (diagnosticSink != nullptr) {
    diagnosticSink(orv::WideToUtf8(line).c_str());
  } else if (std::fwide(stdout, 0) > 0) {
    std::fputws(line, stdout);
  } else {
    std::fputs(orv::WideToUtf8(line).c_str(), stdout);
  }
}

/// Prints a line that contains a status. Without memory it prints nothing.
template <typename... Status>
void Print(const wchar_t* format, Status... status) {
  try {
    PrintText(orv::Format(format, status...).c_str());
  } catch (const std::bad_alloc&) {
    // The line is for people only; the result reports the failure too.
  }
}

/// Prints the line of a failed step, and returns the failure.
CryptoFailure Report(const CryptoFailure& failure) {
  for (const auto& [step, line] : kDiagnostics) {
    if (step == failure.step) Print(line, failure.status);
  }
  return failure;
}

/// Returns what `work` returns. Without memory it prints the line and returns `failure`.
template <typename Result, typename Work>
Result OrReported(Result failure, Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    Report({CryptoStep::kAllocate, 0});
    return failure;
  }
}

CipherResult Failed(const CryptoFailure& failure) { return {.bytes = nullptr, .failure = failure}; }

/// Runs work that returns a `CipherResult`.
template <typename Work>
CipherResult RunCipher(Work work) {
  return OrReported(Failed({CryptoStep::kAllocate, 0}), work);
}

/// Imports the key and copies the first block of the initialization vector.
CryptoFailure Prepare(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
                      BYTE (&vector)[kAesBlockSize], orv::AesCbc* cipher) {
  const CryptoFailure invalid = {CryptoStep::kGenerateKey, orv::kStatusInvalidParameter};
  if (ivLength < kAesBlockSize) {
    Print(L"**** block length is longer than the provided IV length\n");
    return invalid;
  }
  std::memcpy(vector, iv, kAesBlockSize);
  if (key == nullptr || (keyLength != 16 && keyLength != 24 && keyLength != 32)) {
    return Report(invalid);
  }
  return Report(cipher->SetKey(key, keyLength));
}

/// Finds the length of the text before the padding. Returns false if the padding is invalid.
bool FindPadding(const BYTE* plain, DWORD paddedLength, DWORD* plainLength) {
  const BYTE count = plain[paddedLength - 1];
  if (count == 0 || count > kAesBlockSize) return false;
  for (DWORD i = 1; i <= count; ++i) {
    if (plain[paddedLength - i] != count) return false;
  }
  *plainLength = paddedLength - count;
  return true;
}

/// Decrypts and removes the padding. `*plain` may hold bytes after a failure.
CryptoFailure DecryptPadded(orv::AesCbc* cipher, const BYTE (&vector)[kAesBlockSize],
                            const BYTE* data, DWORD length, HeapBuffer* plain, DWORD* plainLength) {
  if (length == 0 || length % kAesBlockSize != 0 || length > orv::kMaxCipherLength) {
    return {CryptoStep::kDecrypt, orv::kStatusInvalidBufferSize};
  }
  if (CryptoFailure failure = cipher->Decrypt(vector, data, length, plain)) return failure;
  if (!FindPadding(plain->get(), length, plainLength)) {
    return {CryptoStep::kDecrypt, orv::kStatusDataError};
  }
  return {};
}

/// Decrypts with a newly imported key and compares. A difference is only printed.
void SelfTest(orv::AesCbc* cipher, const BYTE (&vector)[kAesBlockSize], const BYTE* encrypted,
              DWORD encryptedLength, const BYTE* plain, DWORD plainLength) {
  HeapBuffer decrypted;
  DWORD decryptedLength = 0;
  if (Report(cipher->DestroyKey()) || Report(cipher->ImportKey()) ||
      Report(DecryptPadded(cipher, vector, encrypted, encryptedLength, &decrypted,
                           &decryptedLength))) {
    return;
  }
  if (decryptedLength != plainLength ||
      (plainLength != 0 && std::memcmp(decrypted.get(), plain, plainLength) != 0)) {
    Print(L"Expected decrypted text comparison failed.\n");
  }
}

CipherResult EncryptCbc(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
                        const BYTE* plain, DWORD plainLength) {
  return RunCipher([&]() -> CipherResult {
    orv::AesCbc cipher;
    BYTE vector[kAesBlockSize];
    if (const auto failure = Prepare(key, keyLength, iv, ivLength, vector, &cipher)) {
      return Failed(failure);
    }
    if (plainLength >= orv::kMaxCipherLength) {
      return Failed(Report({CryptoStep::kEncrypt, orv::kStatusInvalidBufferSize}));
    }
    CipherResult result;
    result.failure = Report(cipher.ExportKey());
    if (!result.failure) {
      result.failure =
          Report(cipher.Encrypt(vector, plain, plainLength, &result.bytes, &result.length));
    }
    if (result.failure) return Failed(result.failure);
    SelfTest(&cipher, vector, result.bytes.get(), result.length, plain, plainLength);
    return result;
  });
}

CipherResult DecryptCbc(const BYTE* cipherText, DWORD cipherLength, const BYTE* key,
                        DWORD keyLength, const BYTE* iv, DWORD ivLength) {
  return RunCipher([&]() -> CipherResult {
    orv::AesCbc cipher;
    BYTE vector[kAesBlockSize];
    if (const auto failure = Prepare(key, keyLength, iv, ivLength, vector, &cipher)) {
      return Failed(failure);
    }
    CipherResult result;
    result.failure = Report(
        DecryptPadded(&cipher, vector, cipherText, cipherLength, &result.bytes, &result.length));
    return result.failure ? Failed(result.failure) : std::move(result);
  });
}

/// Passes a result to a caller who gets only the buffer.
BYTE* Release(CipherResult result, DWORD* length) {
  if (result.bytes != nullptr) *length = result.length;
  return result.bytes.release();
}

}  // namespace

namespace orv {

CipherResult Protect(const CEncryptionAES& cipher, const BYTE* data, DWORD length) {
  const HeapBuffer vector(static_cast<BYTE*>(HeapAllocate(kAesBlockSize)));
  if (vector == nullptr) return Failed({CryptoStep::kAllocateVector, 0});
  for (DWORD i = 0; i < kAesBlockSize; ++i) {
    vector[i] = static_cast<BYTE>('A' + NextVectorNumber() % 26);
  }

  const CipherResult encrypted =
      EncryptCbc(cipher.m_pKey, cipher.m_nKeyLength, vector.get(), kAesBlockSize, data, length);
  if (encrypted.failure) return Failed(encrypted.failure);

  const CStringA& marker = cipher.m_stMagic;
  const DWORD headerLength = static_cast<DWORD>(marker.size()) + 1 + kAesBlockSize;
  CipherResult result;
  result.length = headerLength + encrypted.length;
  result.bytes.reset(static_cast<BYTE*>(HeapAllocate(result.length)));
  if (result.bytes == nullptr) return Failed({CryptoStep::kAllocate, 0});
  BYTE* at = result.bytes.get();
  std::memcpy(at, marker.data(), marker.size());
  at += marker.size();
  *at++ = kFormatVersion;
  std::memcpy(at, vector.get(), kAesBlockSize);
  std::memcpy(at + kAesBlockSize, encrypted.bytes.get(), encrypted.length);
  return result;
}

CipherResult Unprotect(const CEncryptionAES& cipher, const BYTE* data, DWORD length, DWORD* code) {
  const DWORD markerLength = static_cast<DWORD>(cipher.m_stMagic.size());
  const DWORD headerLength = markerLength + 1 + kAesBlockSize;
  const auto refuse = [code](DWORD reason) {
    *code = reason;
    return Failed({CryptoStep::kDecrypt, kStatusDataError});
  };
  if (length < markerLength + 1) return refuse(CEncryptionAES::kTooShort);
  if (std::memcmp(data, cipher.m_stMagic.data(), markerLength) != 0) {
    return refuse(CEncryptionAES::kWrongMarker);
  }
  const BYTE version = data[markerLength];
  if (version > kFormatVersion) return refuse(CEncryptionAES::kVersionTooHigh);
  if (version != kFormatVersion) return refuse(CEncryptionAES::kVersionTooLow);
  if (length == headerLength) return refuse(CEncryptionAES::kTooShort);
  // With an incomplete initialization vector there is nothing to decrypt.
  if (length < headerLength) return refuse(CEncryptionAES::kDecryptFailed);
  CipherResult plain = DecryptCbc(data + headerLength, length - headerLength, cipher.m_pKey,
                                  cipher.m_nKeyLength, data + markerLength + 1, kAesBlockSize);
  if (plain.failure) *code = CEncryptionAES::kDecryptFailed;
  return plain;
}

}  // namespace orv

CEncryptionAES::CEncryptionAES(const CStringA& keyText, const CStringA& magic)
    : m_stKeyText(keyText), m_stMagic(magic), m_nKeyLength(kKeyLength) {
  m_pKey = static_cast<BYTE*>(orv::HeapAllocate(kKeyLength));
  if (m_pKey == nullptr) {
    m_nErrorCode = 1;
    return;
  }
  // An empty text yields a key of zeros.
  for (DWORD i = 0; i < kKeyLength; ++i) {
    m_pKey[i] =
        m_stKeyText.empty() ? BYTE{0} : static_cast<BYTE>(m_stKeyText[i % m_stKeyText.size()]);
  }
}

CEncryptionAES::~CEncryptionAES() { orv::HeapRelease(m_pKey); }

BYTE* CEncryptionAES::EncryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength) {
  CipherResult result = orv::Protect(*this, data, length);
  m_nErrorCode = result.failure.step == CryptoStep::kAllocateVector ? 2 : 0;
  return Release(std::move(result), outLength);
}

BYTE* CEncryptionAES::DecryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength,
                                     DWORD* code) {
  return Release(orv::Unprotect(*this, data, length, code), outLength);
}

BYTE* AesCbcEncrypt(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
                    const BYTE* plain, DWORD plainLength, DWORD* cipherLength) {
  return Release(EncryptCbc(key, keyLength, iv, ivLength, plain, plainLength), cipherLength);
}

BYTE* AesCbcDecrypt(const BYTE* cipherText, DWORD cipherLength, const BYTE* key, DWORD keyLength,
                    const BYTE* iv, DWORD ivLength, DWORD* plainLength) {
  return Release(DecryptCbc(cipherText, cipherLength, key, keyLength, iv, ivLength), plainLength);
}

void FreeCryptoBuffer(BYTE* buffer) { orv::HeapRelease(buffer); }

void orv::SetDiagnosticSink(DiagnosticSink sink) { diagnosticSink = sink; }

CString orv::Sha256HexOf(std::string_view bytes) {
  BYTE digest[kSha256Size];
  if (Report(Sha256(reinterpret_cast<const BYTE*>(bytes.data()), static_cast<DWORD>(bytes.size()),
                    digest))) {
    return {};
  }
  return HexOf<CString>({reinterpret_cast<const char*>(digest), sizeof digest});
}

CString Sha256Hex(BYTE* data, DWORD length) {
  const HeapBuffer owned(data);
  return OrReported(CString(), [=] {
    return orv::Sha256HexOf({reinterpret_cast<const char*>(data), length});
  });
}

CString ComputeSha256Hex(const CString& text, const CString& salt) {
  return OrReported(CString(), [&] {
    const CStringA bytes = orv::WideToUtf8(salt + text);
    return bytes.empty() ? CString() : orv::Sha256HexOf(bytes);
  });
}
