#include "orv/crypto/encryption_aes.h"

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <new>

#include "base/hex.h"
#include "base/utf8.h"
#include "crypto/sha256.h"
#include "crypto/vector_generator.h"
#include "orv/text/format.h"
#include "platform/cryptography.h"
#include "platform/heap.h"

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

/// Prints the line of a failed step. Returns whether the step failed.
bool Report(const CryptoFailure& failure) {
  for (const auto& [step, line] : kDiagnostics) {
    if (step == failure.step) Print(line, failure.status);
  }
  return static_cast<bool>(failure);
}

/// Runs work that returns a result. Without memory it prints the line and returns an empty result.
template <typename Work>
auto EmptyWithoutMemory(Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    Report({CryptoStep::kAllocate, 0});
    return {};
  }
}

/// Imports the key and copies the first block of the initialization vector. Returns false, with the
/// line printed, on failure.
bool Prepare(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
             BYTE (&vector)[kAesBlockSize], orv::AesCbc* cipher) {
  if (ivLength < kAesBlockSize) {
    Print(L"**** block length is longer than the provided IV length\n");
    return false;
  }
  std::memcpy(vector, iv, kAesBlockSize);
  if (key == nullptr || (keyLength != 16 && keyLength != 24 && keyLength != 32)) {
    Report({CryptoStep::kGenerateKey, orv::kStatusInvalidParameter});
    return false;
  }
  return !Report(cipher->SetKey(key, keyLength));
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

}  // namespace

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
  m_nErrorCode = 0;
  const HeapBuffer vector(static_cast<BYTE*>(orv::HeapAllocate(kAesBlockSize)));
  if (vector == nullptr) {
    m_nErrorCode = 2;
    return nullptr;
  }
  for (DWORD i = 0; i < kAesBlockSize; ++i) {
    vector[i] = static_cast<BYTE>('A' + orv::NextVectorNumber() % 26);
  }

  DWORD cipherLength = 0;
  const HeapBuffer cipher(AesCbcEncrypt(m_pKey, m_nKeyLength, vector.get(), kAesBlockSize, data,
                                        length, &cipherLength));
  if (cipher == nullptr) return nullptr;

  const DWORD headerLength = static_cast<DWORD>(m_stMagic.size()) + 1 + kAesBlockSize;
  BYTE* const result = static_cast<BYTE*>(orv::HeapAllocate(headerLength + cipherLength));
  if (result == nullptr) return nullptr;
  BYTE* at = result;
  std::memcpy(at, m_stMagic.data(), m_stMagic.size());
  at += m_stMagic.size();
  *at++ = kFormatVersion;
  std::memcpy(at, vector.get(), kAesBlockSize);
  std::memcpy(at + kAesBlockSize, cipher.get(), cipherLength);
  *outLength = headerLength + cipherLength;
  return result;
}

BYTE* CEncryptionAES::DecryptAsBytes(const BYTE* data, DWORD length, DWORD* outLength,
                                     DWORD* code) {
  const DWORD markerLength = static_cast<DWORD>(m_stMagic.size());
  const DWORD headerLength = markerLength + 1 + kAesBlockSize;
  const auto refuse = [code](DWORD reason) -> BYTE* {
    *code = reason;
    return nullptr;
  };
  if (length < markerLength + 1) return refuse(kTooShort);
  if (std::memcmp(data, m_stMagic.data(), markerLength) != 0) return refuse(kWrongMarker);
  const BYTE version = data[markerLength];
  if (version > kFormatVersion) return refuse(kVersionTooHigh);
  if (version != kFormatVersion) return refuse(kVersionTooLow);
  if (length == headerLength) return refuse(kTooShort);
  // With an incomplete initialization vector there is nothing to decrypt.
  if (length < headerLength) return refuse(kDecryptFailed);
  BYTE* const plain =
      AesCbcDecrypt(data + headerLength, length - headerLength, m_pKey, m_nKeyLength,
                    data + markerLength + 1, kAesBlockSize, outLength);
  return plain != nullptr ? plain : refuse(kDecryptFailed);
}

BYTE* AesCbcEncrypt(const BYTE* key, DWORD keyLength, const BYTE* iv, DWORD ivLength,
                    const BYTE* plain, DWORD plainLength, DWORD* cipherLength) {
  return EmptyWithoutMemory([&]() -> BYTE* {
    orv::AesCbc cipher;
    BYTE vector[kAesBlockSize];
    if (!Prepare(key, keyLength, iv, ivLength, vector, &cipher)) return nullptr;
    if (plainLength >= orv::kMaxCipherLength) {
      Report({CryptoStep::kEncrypt, orv::kStatusInvalidBufferSize});
      return nullptr;
    }
    HeapBuffer encrypted;
    if (Report(cipher.ExportKey()) ||
        Report(cipher.Encrypt(vector, plain, plainLength, &encrypted, cipherLength))) {
      return nullptr;
    }
    SelfTest(&cipher, vector, encrypted.get(), *cipherLength, plain, plainLength);
    return encrypted.release();
  });
}

BYTE* AesCbcDecrypt(const BYTE* cipherText, DWORD cipherLength, const BYTE* key, DWORD keyLength,
                    const BYTE* iv, DWORD ivLength, DWORD* plainLength) {
  return EmptyWithoutMemory([&]() -> BYTE* {
    orv::AesCbc cipher;
    BYTE vector[kAesBlockSize];
    if (!Prepare(key, keyLength, iv, ivLength, vector, &cipher)) return nullptr;
    HeapBuffer plain;
    if (Report(DecryptPadded(&cipher, vector, cipherText, cipherLength, &plain, plainLength))) {
      return nullptr;
    }
    return plain.release();
  });
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
  return EmptyWithoutMemory([=] {
    return orv::Sha256HexOf({reinterpret_cast<const char*>(data), length});
  });
}

CString ComputeSha256Hex(const CString& text, const CString& salt) {
  return EmptyWithoutMemory([&] {
    const CStringA bytes = orv::WideToUtf8(salt + text);
    return bytes.empty() ? CString() : orv::Sha256HexOf(bytes);
  });
}
