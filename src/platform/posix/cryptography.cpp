#include "platform/cryptography.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <atomic>
#include <vector>

namespace orv {
namespace {

/// An algorithm that is fetched once and kept: otherwise the library searches its providers for
/// every operation. If fetching fails, for example without memory, the next use tries again.
template <typename Algorithm, Algorithm* (*fetch)(OSSL_LIB_CTX*, const char*, const char*),
          void (*release)(Algorithm*)>
class Fetched {
 public:
  constexpr explicit Fetched(const char* name) : name_(name) {}

  const Algorithm* Get() {
    Algorithm* known = known_.load(std::memory_order_acquire);
    if (known != nullptr) return known;
    Algorithm* const found = fetch(nullptr, name_, nullptr);
    if (found == nullptr || known_.compare_exchange_strong(known, found)) return found;
    release(found);  // another thread was faster
    return known;
  }

 private:
  const char* name_;
  std::atomic<Algorithm*> known_{nullptr};
};

using FetchedCipher = Fetched<EVP_CIPHER, EVP_CIPHER_fetch, EVP_CIPHER_free>;
constinit FetchedCipher aes128("AES-128-CBC");
constinit FetchedCipher aes192("AES-192-CBC");
constinit FetchedCipher aes256("AES-256-CBC");
constinit Fetched<EVP_MD, EVP_MD_fetch, EVP_MD_free> sha256("SHA256");

const EVP_CIPHER* CipherFor(std::size_t keyLength) {
  return (keyLength == 16 ? aes128 : keyLength == 24 ? aes192 : aes256).Get();
}

/// The failure of a step that only allocates: its arguments are valid. Without an algorithm, the
/// step failed because no provider has it, or because memory ran out while it was fetched.
CryptoFailure NotReady(CryptoStep step, const void* algorithm) {
  bool isMissing = false;
  bool isWithoutMemory = false;
  while (const unsigned long error = algorithm == nullptr ? ERR_get_error() : 0) {
    isMissing |= ERR_GET_REASON(error) == ERR_R_UNSUPPORTED;
    isWithoutMemory |= ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE;
  }
  return {step, isMissing && !isWithoutMemory ? kStatusUnsuccessful : kStatusNoMemory};
}

}  // namespace

struct ContextDeleter {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

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
  const EVP_CIPHER* const algorithm = CipherFor(state_->key.size());
  if (EVP_EncryptInit_ex(context, algorithm, nullptr, state_->key.data(), vector) != 1) {
    return NotReady(CryptoStep::kEncrypt, algorithm);
  }
  if (EVP_EncryptUpdate(context, cipher->get(), &length, plain, static_cast<int>(plainLength)) !=
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
  const EVP_CIPHER* const algorithm = CipherFor(state_->key.size());
  if (EVP_DecryptInit_ex(context, algorithm, nullptr, state_->key.data(), vector) != 1) {
    return NotReady(CryptoStep::kDecrypt, algorithm);
  }
  if (EVP_CIPHER_CTX_set_padding(context, 0) != 1 ||
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
  if (context == nullptr) return {CryptoStep::kCreateHash, kStatusNoMemory};
  const EVP_MD* const algorithm = sha256.Get();
  if (EVP_DigestInit_ex(context.get(), algorithm, nullptr) != 1) {
    return NotReady(CryptoStep::kCreateHash, algorithm);
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
