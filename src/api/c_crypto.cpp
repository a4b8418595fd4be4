#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "api/c_call.h"
#include "orv/c_api.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/platform/types.h"
#include "platform/cryptography.h"
#include "platform/files.h"
#include "platform/new_file.h"

namespace {

/// A conversion, and the error code if it fails.
struct Transform {
  std::optional<std::string> (*run)(std::string_view bytes);
  std::int32_t failure;
};
constexpr Transform kEncrypt = {orv::ProtectBytes, ORV_ERROR_INTERNAL};
constexpr Transform kDecrypt = {orv::UnprotectBytes, ORV_ERROR_INVALID};

std::string_view BytesFromC(const void* bytes, std::uint32_t length) {
  return {static_cast<const char*>(bytes), length};
}

std::int32_t TransformForC(const Transform& transform, const void* bytes, std::uint32_t bytesLength,
                           void* buffer, std::uint32_t capacity, std::uint32_t* length) {
  if (!orv::IsBuffer(bytes, bytesLength) || !orv::IsBuffer(buffer, capacity) || length == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=]() -> std::int32_t {
    const std::optional<std::string> result = transform.run(BytesFromC(bytes, bytesLength));
    if (!result) return transform.failure;
    return orv::CopyToC(*result, static_cast<char*>(buffer), capacity, length);
  });
}

/// Reads a file of less than 4 GiB, to its end: its size could change after it was asked for.
bool ReadFileForC(const std::wstring& path, std::string* bytes) {
  constexpr std::size_t kMaxSize = std::numeric_limits<std::uint32_t>::max();
  std::error_code error;
  if (!std::filesystem::is_regular_file(orv::ToPath(path), error)) return false;
  std::ifstream file(orv::ToPath(path), std::ios::binary);
  std::vector<char> part(1 << 16);
  while (file && bytes->size() <= kMaxSize) {
    file.read(part.data(), static_cast<std::streamsize>(part.size()));
    bytes->append(part.data(), static_cast<std::size_t>(file.gcount()));
  }
  return file.eof() && !file.bad() && bytes->size() <= kMaxSize;
}

std::int32_t TransformFileForC(const Transform& transform, const std::uint16_t* source,
                               std::uint32_t sourceLength, const std::uint16_t* target,
                               std::uint32_t targetLength) {
  if (!orv::IsRequiredText(source, sourceLength) || !orv::IsRequiredText(target, targetLength)) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=]() -> std::int32_t {
    std::string bytes;
    if (!ReadFileForC(orv::TextFromC(source, sourceLength), &bytes)) return ORV_ERROR_UNREADABLE;
    const std::optional<std::string> result = transform.run(bytes);
    if (!result) return transform.failure;
    orv::NewFile file;
    const bool isWritten =
        file.Open(orv::TextFromC(target, targetLength)) && file.Write(*result) && file.Commit();
    return isWritten ? ORV_OK : ORV_ERROR_UNWRITABLE;
  });
}

std::int32_t Hash(std::string_view bytes, std::uint8_t* digest) {
  BYTE result[orv::kSha256Size];
  const orv::CryptoFailure failure = orv::Sha256(reinterpret_cast<const BYTE*>(bytes.data()),
                                                 static_cast<DWORD>(bytes.size()), result);
  if (failure) return orv::IsOutOfMemory(failure) ? ORV_ERROR_MEMORY : ORV_ERROR_INTERNAL;
  std::memcpy(digest, result, sizeof(result));
  return ORV_OK;
}

}  // namespace

std::int32_t ORV_C_CALL orv_encrypt(const void* plain, std::uint32_t plain_length, void* buffer,
                                    std::uint32_t capacity, std::uint32_t* length) {
  return TransformForC(kEncrypt, plain, plain_length, buffer, capacity, length);
}

std::int32_t ORV_C_CALL orv_decrypt(const void* bytes, std::uint32_t bytes_length, void* buffer,
                                    std::uint32_t capacity, std::uint32_t* length) {
  return TransformForC(kDecrypt, bytes, bytes_length, buffer, capacity, length);
}

std::int32_t ORV_C_CALL orv_encrypt_file(const std::uint16_t* source, std::uint32_t source_length,
                                         const std::uint16_t* target, std::uint32_t target_length) {
  return TransformFileForC(kEncrypt, source, source_length, target, target_length);
}

std::int32_t ORV_C_CALL orv_decrypt_file(const std::uint16_t* source, std::uint32_t source_length,
                                         const std::uint16_t* target, std::uint32_t target_length) {
  return TransformFileForC(kDecrypt, source, source_length, target, target_length);
}

std::int32_t ORV_C_CALL orv_hash(const void* bytes, std::uint32_t length, std::uint8_t digest[32]) {
  if (!orv::IsBuffer(bytes, length) || digest == nullptr) return ORV_ERROR_ARGUMENT;
  return orv::CallFromC([=] { return Hash(BytesFromC(bytes, length), digest); });
}

std::int32_t ORV_C_CALL orv_hash_file(const std::uint16_t* path, std::uint32_t path_length,
                                      std::uint8_t digest[32]) {
  if (!orv::IsRequiredText(path, path_length) || digest == nullptr) {
    return ORV_ERROR_ARGUMENT;
  }
  return orv::CallFromC([=]() -> std::int32_t {
    std::string bytes;
    if (!ReadFileForC(orv::TextFromC(path, path_length), &bytes)) return ORV_ERROR_UNREADABLE;
    return Hash(bytes, digest);
  });
}
