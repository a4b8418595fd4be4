#include "platform/cryptography.h"

#include <windows.h>

#include <bcrypt.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <utility>
#include <vector>

#include "platform/unload.h"

namespace orv {
namespace {

// Not defined in all versions of the system headers.
constexpr wchar_t kOpaqueKeyBlob[] = L"OpaqueKeyBlob";

bool Succeeded(NTSTATUS status) { return status >= 0; }

/// Whether a call that only queried a size succeeded: systems return success or "buffer too small".
bool HasSize(NTSTATUS status) {
  constexpr auto kBufferTooSmall = static_cast<NTSTATUS>(0xC0000023);
  return Succeeded(status) || status == kBufferTooSmall;
}

CryptoFailure Failed(CryptoStep step, NTSTATUS status) {
  return {step, static_cast<std::uint32_t>(status)};
}

/// An algorithm's provider. Opening it loads the algorithm, so the first user opens it and all
/// threads share it. It is closed when the library is unloaded, but not at process exit, where that
/// could wait for threads that no longer exist. (Pseudo-handles, which need no closing, require
/// Windows 10.)
class Provider {
 public:
  constexpr Provider(const wchar_t* algorithm, const wchar_t* chainingMode, void (*close)())
      : algorithm_(algorithm), chainingMode_(chainingMode), close_(close) {}

  CryptoFailure Open() {
    if (handle_.load() != nullptr) return {};
    BCRYPT_ALG_HANDLE handle = nullptr;
    NTSTATUS status = BCryptOpenAlgorithmProvider(&handle, algorithm_, nullptr, 0);
    if (!Succeeded(status)) return Failed(CryptoStep::kOpenProvider, status);
    CryptoFailure failure;
    if (chainingMode_ != nullptr) {
      status =
          BCryptSetProperty(handle, BCRYPT_CHAINING_MODE,
                            reinterpret_cast<BYTE*>(const_cast<wchar_t*>(chainingMode_)),
                            static_cast<ULONG>((wcslen(chainingMode_) + 1) * sizeof(wchar_t)), 0);
      if (!Succeeded(status)) failure = Failed(CryptoStep::kChainingMode, status);
    }
    BCRYPT_ALG_HANDLE none = nullptr;
    if (failure || !handle_.compare_exchange_strong(none, handle)) {
      BCryptCloseAlgorithmProvider(handle, 0);  // unusable, or another thread was faster
    } else {
      AtUnload(close_);
    }
    return failure;
  }

  CryptoFailure Get(const wchar_t* property, DWORD* value) {
    ULONG size = 0;
    const NTSTATUS status =
        BCryptGetProperty(get(), property, reinterpret_cast<BYTE*>(value), sizeof *value, &size, 0);
    return Succeeded(status) ? CryptoFailure{} : Failed(CryptoStep::kProperty, status);
  }

  void Close() {
    if (BCRYPT_ALG_HANDLE handle = handle_.exchange(nullptr)) {
      BCryptCloseAlgorithmProvider(handle, 0);
    }
  }

  BCRYPT_ALG_HANDLE get() const { return handle_.load(); }

 private:
  const wchar_t* const algorithm_;
  const wchar_t* const chainingMode_;  ///< null for algorithms without one
  void (*const close_)();              ///< closes this provider
  std::atomic<BCRYPT_ALG_HANDLE> handle_ = nullptr;
};

extern Provider aesProvider;
extern Provider sha256Provider;
constinit Provider aesProvider(BCRYPT_AES_ALGORITHM, BCRYPT_CHAIN_MODE_CBC,
                               [] { aesProvider.Close(); });
constinit Provider sha256Provider(BCRYPT_SHA256_ALGORITHM, nullptr, [] { sha256Provider.Close(); });

HeapBuffer AllocateBuffer(DWORD size) { return HeapBuffer(static_cast<BYTE*>(HeapAllocate(size))); }

}  // namespace

struct AesCbc::State {
  HeapBuffer object;  ///< where the provider keeps the key; must outlive it
  DWORD objectLength = 0;
  BCRYPT_KEY_HANDLE key = nullptr;
  std::vector<BYTE> blob;

  ~State() {
    if (key != nullptr) BCryptDestroyKey(key);
    if (object != nullptr) SecureZeroMemory(object.get(), objectLength);
    if (!blob.empty()) SecureZeroMemory(blob.data(), blob.size());
  }
};

AesCbc::AesCbc() : state_(std::make_unique<State>()) {}
AesCbc::~AesCbc() = default;

CryptoFailure AesCbc::SetKey(const BYTE* key, DWORD keyLength) {
  State& state = *state_;
  if (CryptoFailure failure = aesProvider.Open()) return failure;
  if (CryptoFailure failure = aesProvider.Get(BCRYPT_OBJECT_LENGTH, &state.objectLength)) {
    return failure;
  }
  state.object = AllocateBuffer(state.objectLength);
  if (state.object == nullptr) return {CryptoStep::kAllocate, 0};
  const NTSTATUS status =
      BCryptGenerateSymmetricKey(aesProvider.get(), &state.key, state.object.get(),
                                 state.objectLength, const_cast<BYTE*>(key), keyLength, 0);
  if (!Succeeded(status)) return Failed(CryptoStep::kGenerateKey, status);
  return {};
}

CryptoFailure AesCbc::Encrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* plain,
                              DWORD plainLength, HeapBuffer* cipher, DWORD* cipherLength) {
  // Each call advances the initialization vector that it receives.
  BYTE chain[kAesBlockSize];
  std::memcpy(chain, vector, sizeof chain);
  BYTE* const input = const_cast<BYTE*>(plain);
  NTSTATUS status = BCryptEncrypt(state_->key, input, plainLength, nullptr, chain, sizeof chain,
                                  nullptr, 0, cipherLength, BCRYPT_BLOCK_PADDING);
  if (!HasSize(status)) return Failed(CryptoStep::kEncrypt, status);
  const DWORD size = *cipherLength;
  *cipher = AllocateBuffer(size);
  if (*cipher == nullptr) return {CryptoStep::kAllocate, 0};
  std::memcpy(chain, vector, sizeof chain);
  status = BCryptEncrypt(state_->key, input, plainLength, nullptr, chain, sizeof chain,
                         cipher->get(), size, cipherLength, BCRYPT_BLOCK_PADDING);
  return Succeeded(status) ? CryptoFailure{} : Failed(CryptoStep::kEncrypt, status);
}

CryptoFailure AesCbc::Decrypt(const BYTE (&vector)[kAesBlockSize], const BYTE* cipher,
                              DWORD cipherLength, HeapBuffer* plain) {
  *plain = AllocateBuffer(cipherLength);
  if (*plain == nullptr) return {CryptoStep::kAllocate, 0};
  BYTE chain[kAesBlockSize];
  std::memcpy(chain, vector, sizeof chain);
  ULONG length = 0;
  const NTSTATUS status =
      BCryptDecrypt(state_->key, const_cast<BYTE*>(cipher), cipherLength, nullptr, chain,
                    sizeof chain, plain->get(), cipherLength, &length, 0);
  return Succeeded(status) ? CryptoFailure{} : Failed(CryptoStep::kDecrypt, status);
}

CryptoFailure AesCbc::ExportKey() {
  ULONG size = 0;
  NTSTATUS status = BCryptExportKey(state_->key, nullptr, kOpaqueKeyBlob, nullptr, 0, &size, 0);
  if (!HasSize(status)) return Failed(CryptoStep::kExportKey, status);
  state_->blob.resize(size);
  status =
      BCryptExportKey(state_->key, nullptr, kOpaqueKeyBlob, state_->blob.data(), size, &size, 0);
  return Succeeded(status) ? CryptoFailure{} : Failed(CryptoStep::kExportKey, status);
}

CryptoFailure AesCbc::DestroyKey() {
  const NTSTATUS status = BCryptDestroyKey(std::exchange(state_->key, nullptr));
  return Succeeded(status) ? CryptoFailure{} : Failed(CryptoStep::kDestroyKey, status);
}

CryptoFailure AesCbc::ImportKey() {
  std::memset(state_->object.get(), 0, state_->objectLength);
  const NTSTATUS status = BCryptImportKey(
      aesProvider.get(), nullptr, kOpaqueKeyBlob, &state_->key, state_->object.get(),
      state_->objectLength, state_->blob.data(), static_cast<ULONG>(state_->blob.size()), 0);
  return Succeeded(status) ? CryptoFailure{} : Failed(CryptoStep::kImportKey, status);
}

CryptoFailure Sha256(const BYTE* data, DWORD length, BYTE (&digest)[kSha256Size]) {
  if (CryptoFailure failure = sha256Provider.Open()) return failure;
  DWORD objectLength = 0;
  if (CryptoFailure failure = sha256Provider.Get(BCRYPT_OBJECT_LENGTH, &objectLength))
    return failure;
  const HeapBuffer object = AllocateBuffer(objectLength);
  if (object == nullptr) return {CryptoStep::kAllocate, 0};
  BCRYPT_HASH_HANDLE hash = nullptr;
  NTSTATUS status =
      BCryptCreateHash(sha256Provider.get(), &hash, object.get(), objectLength, nullptr, 0, 0);
  if (!Succeeded(status)) return Failed(CryptoStep::kCreateHash, status);
  CryptoFailure failure;
  status = BCryptHashData(hash, const_cast<BYTE*>(data), length, 0);
  if (!Succeeded(status)) {
    failure = Failed(CryptoStep::kHashData, status);
  } else if (status = BCryptFinishHash(hash, digest, kSha256Size, 0); !Succeeded(status)) {
    failure = Failed(CryptoStep::kFinishHash, status);
  }
  BCryptDestroyHash(hash);
  return failure;
}

}  // namespace orv
