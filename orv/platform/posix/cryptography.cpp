#include "orv/platform/cryptography.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <vector>

namespace orv {
namespace {

// Looked up once and kept: otherwise the library searches its providers for every operation.

const EVP_CIPHER* Cipher(const char* name) { return EVP_CIPHER_fetch(nullptr, name, nullptr); }

const EVP_CIPHER* CipherFor(std::size_t keyLength) {
  if (keyLength == 16) {
    static const EVP_CIPHER* const aes128 = Cipher("AES-128-CBC");
    return aes128;
  }
  if (keyLength == 24) {
    static const EVP_CIPHER* const aes192 = Cipher("AES-192-CBC");
    return aes192;
  }
  static const EVP_CIPHER* const aes256 = Cipher("AES-256-CBC");
  return aes256;
}

const EVP_MD* Sha256Algorithm() {
  static const EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  return sha256;
}

struct ContextDeleter {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

}  // namespace

struct AesCbc::State {
  std::unique_ptr<EVP_CIPHER_CTX, ContextDeleter> context{EVP_CIPHER_CTX_new()};
  std::vector<BYTE> key;
  std::vector<BYTE> exported;

  ~State() {
    OPENSSL_cleanse(key.data(), key.size());
    OPENSSL_cleanse(exported.data(), exported.size());
  }
};

AesCbc::AesCbc() : state_(std::make_unique<State>()) {}
AesCbc::~AesCbc() = default;

CryptoFailure AesCbc::SetKey(const BYTE* key, DWORD keyLength) {
  if (state_->context == nullptr) return {CryptoStep::kAllocate, 0};
  state_->key.assign(key, key + keyLength);
  return {};
}

CryptoFailure AesCbc::Encrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* plain,
                              DWORD plainLength, HeapBuffer* cipher, DWORD* cipherLength) {
  const DWORD padded = (plainLength / kAesBlockSize + 1) * kAesBlockSize;
  cipher->reset(static_cast<BYTE*>(HeapAllocate(padded)));
  if (*cipher == nullptr) return {CryptoStep::kAllocate, 0};
  EVP_CIPHER_CTX* const context = state_->context.get();
  int length = 0;
  int rest = 0;
  if (EVP_EncryptInit_ex(context, CipherFor(state_->key.size()), nullptr, state_->key.data(),
                         vector) != 1 ||
      EVP_EncryptUpdate(context, cipher->get(), &length, plain, static_cast<int>(plainLength)) !=
          1 ||
      EVP_EncryptFinal_ex(context, cipher->get() + length, &rest) != 1) {
    return {CryptoStep::kEncrypt, kStatusUnsuccessful};
  }
  *cipherLength = static_cast<DWORD>(length + rest);
  return {};
}

CryptoFailure AesCbc::Decrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* cipher,
                              DWORD cipherLength, HeapBuffer* plain) {
  plain->reset(static_cast<BYTE*>(HeapAllocate(cipherLength)));
  if (*plain == nullptr) return {CryptoStep::kAllocate, 0};
  EVP_CIPHER_CTX* const context = state_->context.get();
  int length = 0;
  if (EVP_DecryptInit_ex(context, CipherFor(state_->key.size()), nullptr, state_->key.data(),
                         vector) != 1 ||
      EVP_CIPHER_CTX_set_padding(context, 0) != 1 ||
      EVP_DecryptUpdate(context, plain->get(), &length, cipher, static_cast<int>(cipherLength)) !=
          1) {
    return {CryptoStep::kDecrypt, kStatusUnsuccessful};
  }
  return {};
}

CryptoFailure AesCbc::ExportKey() {
  state_->exported = state_->key;
  return {};
}

CryptoFailure AesCbc::DestroyKey() {
  OPENSSL_cleanse(state_->key.data(), state_->key.size());
  return {};
}

CryptoFailure AesCbc::ImportKey() {
  state_->key = state_->exported;
  return {};
}

CryptoFailure Sha256(const BYTE* data, DWORD length, BYTE (&digest)[kSha256Size]) {
  const std::unique_ptr<EVP_MD_CTX, ContextDeleter> context(EVP_MD_CTX_new());
  if (context == nullptr || EVP_DigestInit_ex(context.get(), Sha256Algorithm(), nullptr) != 1) {
    return {CryptoStep::kCreateHash, kStatusUnsuccessful};
  }
  if (EVP_DigestUpdate(context.get(), data, length) != 1) {
    return {CryptoStep::kHashData, kStatusUnsuccessful};
  }
  if (EVP_DigestFinal_ex(context.get(), digest, nullptr) != 1) {
    return {CryptoStep::kFinishHash, kStatusUnsuccessful};
  }
  return {};
}

}  // namespace orv
