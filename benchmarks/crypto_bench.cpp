/// The cipher and the digest, compared with direct OpenSSL calls that do the same work.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstring>
#include <memory>
#include <vector>

#include "orv/crypto/encryption_aes.h"
#include "platform/heap.h"

namespace {

constexpr BYTE kKey[33] = "A94E27C1B08D4F6E93D5C2E718B04A6F";
constexpr BYTE kInitVector[17] = "PHQGHUMEAYLNLFDX";

using orv::HeapBuffer;
using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

std::vector<BYTE> Plain(const benchmark::State& state) {
  std::vector<BYTE> plain(static_cast<std::size_t>(state.range(0)));
  for (std::size_t i = 0; i < plain.size(); ++i) plain[i] = static_cast<BYTE>(i * 31);
  return plain;
}

void Finish(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

HeapBuffer Buffer(std::size_t size) {
  return HeapBuffer(static_cast<BYTE*>(orv::HeapAllocate(size)));
}

/// Encrypt or decrypt into a new buffer and return the length of the result.
DWORD BareEncrypt(const BYTE* plain, DWORD length, HeapBuffer* cipher) {
  *cipher = Buffer(length + 16);
  const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  int done = 0;
  int rest = 0;
  EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, kKey, kInitVector);
  EVP_EncryptUpdate(context.get(), cipher->get(), &done, plain, static_cast<int>(length));
  EVP_EncryptFinal_ex(context.get(), cipher->get() + done, &rest);
  return static_cast<DWORD>(done + rest);
}
DWORD BareDecrypt(const BYTE* cipher, DWORD length, HeapBuffer* plain) {
  *plain = Buffer(length);
  const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  int done = 0;
  int rest = 0;
  EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, kKey, kInitVector);
  EVP_DecryptUpdate(context.get(), plain->get(), &done, cipher, static_cast<int>(length));
  EVP_DecryptFinal_ex(context.get(), plain->get() + done, &rest);
  return static_cast<DWORD>(done + rest);
}

void EncryptOurs(benchmark::State& state) {
  const std::vector<BYTE> plain = Plain(state);
  const DWORD size = static_cast<DWORD>(plain.size());
  for (auto _ : state) {
    DWORD length = 0;
    const HeapBuffer cipher(AesCbcEncrypt(kKey, 32, kInitVector, 16, plain.data(), size, &length));
    benchmark::DoNotOptimize(cipher.get());
  }
  Finish(state);
}
/// Includes the decryption and comparison by which the library verifies each encryption.
void EncryptBare(benchmark::State& state) {
  const std::vector<BYTE> plain = Plain(state);
  const DWORD size = static_cast<DWORD>(plain.size());
  for (auto _ : state) {
    HeapBuffer cipher;
    HeapBuffer again;
    const DWORD length = BareEncrypt(plain.data(), size, &cipher);
    BareDecrypt(cipher.get(), length, &again);
    if (std::memcmp(again.get(), plain.data(), size) != 0) state.SkipWithError("differs");
    benchmark::DoNotOptimize(cipher.get());
  }
  Finish(state);
}
void DecryptOurs(benchmark::State& state) {
  const std::vector<BYTE> plain = Plain(state);
  HeapBuffer cipher;
  const DWORD size = BareEncrypt(plain.data(), static_cast<DWORD>(plain.size()), &cipher);
  for (auto _ : state) {
    DWORD length = 0;
    const HeapBuffer again(AesCbcDecrypt(cipher.get(), size, kKey, 32, kInitVector, 16, &length));
    benchmark::DoNotOptimize(again.get());
  }
  Finish(state);
}
void DecryptBare(benchmark::State& state) {
  const std::vector<BYTE> plain = Plain(state);
  HeapBuffer cipher;
  const DWORD size = BareEncrypt(plain.data(), static_cast<DWORD>(plain.size()), &cipher);
  for (auto _ : state) {
    HeapBuffer again;
    BareDecrypt(cipher.get(), size, &again);
    benchmark::DoNotOptimize(again.get());
  }
  Finish(state);
}

/// The digest function takes ownership of its buffer, so both sides allocate and free one.
void DigestOurs(benchmark::State& state) {
  const std::vector<BYTE> plain = Plain(state);
  for (auto _ : state) {
    HeapBuffer buffer = Buffer(plain.size());
    std::memcpy(buffer.get(), plain.data(), plain.size());
    benchmark::DoNotOptimize(Sha256Hex(buffer.release(), static_cast<DWORD>(plain.size())));
  }
  Finish(state);
}
void DigestBare(benchmark::State& state) {
  const std::vector<BYTE> plain = Plain(state);
  for (auto _ : state) {
    const HeapBuffer buffer = Buffer(plain.size());
    std::memcpy(buffer.get(), plain.data(), plain.size());
    BYTE digest[32];
    EVP_Digest(buffer.get(), plain.size(), digest, nullptr, EVP_sha256(), nullptr);
    CString text;
    text.reserve(64);
    for (const BYTE value : digest) {
      text.push_back(L"0123456789abcdef"[value >> 4]);
      text.push_back(L"0123456789abcdef"[value & 15]);
    }
    benchmark::DoNotOptimize(text);
  }
  Finish(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(1024)->Arg(1 << 20); }
BENCHMARK(EncryptOurs)->Apply(Sizes);
BENCHMARK(EncryptBare)->Apply(Sizes);
BENCHMARK(DecryptOurs)->Apply(Sizes);
BENCHMARK(DecryptBare)->Apply(Sizes);
BENCHMARK(DigestOurs)->Apply(Sizes);
BENCHMARK(DigestBare)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
