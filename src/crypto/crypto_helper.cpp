#include "orv/crypto/crypto_helper.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "base/utf8.h"
#include "crypto/cipher_result.h"
#include "crypto/protected_text.h"
#include "orv/crypto/encryption_aes.h"
#include "platform/cryptography.h"
#include "platform/files.h"
#include "platform/heap.h"

using orv::HeapBuffer;
using orv::kProtectedMarker;
using orv::LogFormat;

namespace {

/// The key text of every protected file: its characters are the key bytes.
constexpr char kKeyText[] = "A94E27C1B08D4F6E93D5C2E718B04A6F";
constexpr wchar_t kNoLoadBuffer[] = L"Unable to allocate buffer for reading in the file %ls";
constexpr wchar_t kNoBuffer[] =
    L"Fatal Error: Unable to allocate buffer for reading the input file!";
constexpr std::uintmax_t kMaxConvertedSize = std::numeric_limits<DWORD>::max();

CString ToText(const BYTE* bytes, std::size_t size) {
  return orv::Utf8ToWide({reinterpret_cast<const char*>(bytes), size});
}

HeapBuffer AllocateFor(std::uintmax_t size) {
  if (size > kMaxConvertedSize) return nullptr;
  return HeapBuffer(static_cast<BYTE*>(orv::HeapAllocate(static_cast<std::size_t>(size))));
}

/// Reads an open file, which had `size` bytes before it was opened. Returns false, with the reason,
/// if it has fewer or more, because another one has replaced it or somebody writes to it.
bool ReadWhole(std::filebuf* file, std::uintmax_t size, BYTE* buffer, std::wstring* reason) {
  using Traits = std::filebuf::traits_type;
  const auto wanted = static_cast<std::streamsize>(size);
  try {
    *reason = orv::kChangedFile;
    return file->sgetn(reinterpret_cast<char*>(buffer), wanted) == wanted &&
           Traits::eq_int_type(file->sgetc(), Traits::eof());
  } catch (const std::ios_base::failure&) {  // a read error
    *reason = orv::FileErrorText();
    return false;
  }
}

/// Runs a conversion; running out of memory is a failure.
template <typename Conversion>
DWORD Converted(CLoggerClient* client, Conversion convert) {
  try {
    return convert();
  } catch (const std::bad_alloc&) {
    CLogger::Log(eLogLevelError, client, kNoBuffer, nullptr);
    return 1;
  }
}

/// Opens and reads the source of a conversion. Returns null, with the reason logged, on failure.
HeapBuffer ReadSource(const CString& path, DWORD* length, CLoggerClient* client) {
  const std::filesystem::path file = orv::ToPath(path);
  std::filebuf stream;
  const auto fail = [&] {
    LogFormat(eLogLevelError, client, nullptr, L"Unable to open the source file %ls\r\n",
              path.c_str());
    return HeapBuffer();
  };
  if (stream.open(file, std::ios::in | std::ios::out | std::ios::binary) == nullptr) return fail();
  const std::uintmax_t size = std::filesystem::file_size(file);
  HeapBuffer buffer = AllocateFor(size);
  if (buffer == nullptr) {
    CLogger::Log(eLogLevelError, client, kNoBuffer, nullptr);
    return nullptr;
  }
  // A partly read source must not replace a good target.
  std::wstring reason;
  if (!ReadWhole(&stream, size, buffer.get(), &reason)) return fail();
  *length = static_cast<DWORD>(size);
  return buffer;
}

/// Replaces the target with these bytes. A folder is kept, and opening it fails.
DWORD WriteTarget(const CString& path, const BYTE* bytes, DWORD length, CLoggerClient* client) {
  const std::filesystem::path file = orv::ToPath(path);
  std::error_code ignored;
  if (!std::filesystem::is_directory(file, ignored)) std::filesystem::remove(file, ignored);
  orv::ExclusiveFile target;
  if (!target.Open(file)) {
    LogFormat(eLogLevelError, client, nullptr, L"Fatal Error: Unable to create target file %ls\r\n",
              path.c_str());
    return 1;
  }
  // Kept for compatibility: 0 once the target is open, whether or not the write succeeds.
  target.Write(bytes, length);
  return 0;
}

/// Converts bytes by `convert(cipher, bytes, length)`. Returns nothing on failure, but throws if
/// memory runs out.
std::optional<std::string> ConvertedBytes(std::string_view bytes,
                                          orv::CipherResult (*convert)(const CEncryptionAES&,
                                                                       const BYTE*, DWORD)) {
  if (bytes.size() > kMaxConvertedSize) return std::nullopt;
  const CEncryptionAES cipher(kKeyText, CStringA(kProtectedMarker));
  if (cipher.m_pKey == nullptr) throw std::bad_alloc();
  const orv::CipherResult result = convert(cipher, reinterpret_cast<const BYTE*>(bytes.data()),
                                           static_cast<DWORD>(bytes.size()));
  if (orv::IsOutOfMemory(result.failure)) throw std::bad_alloc();
  if (result.failure) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(result.bytes.get()), result.length);
}

bool IsProtected(const BYTE* bytes, DWORD length) {
  return std::string_view(reinterpret_cast<const char*>(bytes), length)
      .starts_with(kProtectedMarker);
}

/// Loads a file. Running out of memory is either logged and reported in `*failure`, or thrown.
CString LoadText(const CString& path, CLoggerClient* client, orv::TextFailure* failure) {
  const auto fail = [&](const wchar_t* format, CString reason) {
    failure->reason = std::move(reason);
    LogFormat(eLogLevelError, client, nullptr, format, path.c_str());
    return CString();
  };
  constexpr wchar_t kCannotOpen[] = L"Unable to open the file %ls";

  const std::filesystem::path file = orv::ToPath(path);
  std::error_code unreadable;
  if (!std::filesystem::exists(file, unreadable)) {
    return fail(L"The file %ls does not exist", orv::FileErrorText());
  }
  const std::uintmax_t size = std::filesystem::file_size(file);
  if (size > orv::kMaxLoadedSize) {
    return fail(L"The file %ls is too large", orv::kTooLargeFile);
  }

  std::filebuf stream;
  stream.pubsetbuf(nullptr, 0);  // one read, straight into the buffer
  if (stream.open(file, std::ios::in | std::ios::binary) == nullptr) {
    return fail(kCannotOpen, orv::FileErrorText());
  }
  HeapBuffer buffer = AllocateFor(size);
  if (buffer == nullptr) {
    failure->isOutOfMemory = true;
    return fail(kNoLoadBuffer, {});
  }
  std::wstring reason;
  if (!ReadWhole(&stream, size, buffer.get(), &reason)) return fail(kCannotOpen, reason);
  const auto length = static_cast<DWORD>(size);

  if (!IsProtected(buffer.get(), length)) {
    CString text = ToText(buffer.get(), length);
    if (text.empty()) {
      return fail(L"Unable to convert unencrypted file content to UTF-8 for file %ls",
                  orv::kEmptyFile);
    }
    return text;
  }

  CEncryptionAES cipher(kKeyText, CStringA(kProtectedMarker));
  if (cipher.m_nErrorCode != 0) {
    LogFormat(eLogLevelError, client, nullptr,
              L"Error in CEncryptionAES initialization for file %ls. Error code = %d", path.c_str(),
              cipher.m_nErrorCode);
    failure->isOutOfMemory = true;
    return {};
  }
  DWORD code = 0;
  const orv::CipherResult plain = orv::Unprotect(cipher, buffer.get(), length, &code);
  buffer.reset();  // released before the largest buffer, the text, is allocated
  if (plain.failure) {
    failure->isOutOfMemory = orv::IsOutOfMemory(plain.failure);
    if (!failure->isOutOfMemory) failure->reason = orv::kDamagedFile;
    LogFormat(eLogLevelError, client, nullptr,
              L"Error in CEncryptionAES::DecryptAsBytes for file %ls. Error code = %d",
              path.c_str(), code);
    return {};
  }
  CString text = ToText(plain.bytes.get(), plain.length);
  if (text.empty()) {
    return fail(L"Unable to convert decrypted file content to UTF-8 for file %ls",
                orv::kEmptyContent);
  }
  return text;
}

DWORD Encrypt(const CString& sourcePath, const CString& targetPath, CLoggerClient* client) {
  DWORD length = 0;
  HeapBuffer source = ReadSource(sourcePath, &length, client);
  if (source == nullptr) return 1;
  CEncryptionAES cipher(kKeyText, CStringA(kProtectedMarker));
  DWORD protectedLength = 0;
  const HeapBuffer result(cipher.EncryptAsBytes(source.get(), length, &protectedLength));
  source.reset();
  if (result == nullptr) {
    LogFormat(eLogLevelError, client, nullptr,
              L"Error %d while encrypting the content of file %ls\r\n", cipher.m_nErrorCode,
              sourcePath.c_str());
    return 1;
  }
  return WriteTarget(targetPath, result.get(), protectedLength, client);
}

DWORD Decrypt(const CString& sourcePath, const CString& targetPath, CLoggerClient* client) {
  DWORD length = 0;
  HeapBuffer source = ReadSource(sourcePath, &length, client);
  if (source == nullptr) return 1;
  CEncryptionAES cipher(kKeyText, CStringA(kProtectedMarker));
  DWORD plainLength = 0;
  DWORD code = 0;
  const HeapBuffer plain(cipher.DecryptAsBytes(source.get(), length, &plainLength, &code));
  source.reset();
  if (plain == nullptr) {
    LogFormat(eLogLevelError, client, nullptr,
              L"Error %d while decrypting the content of file %ls\r\n", code, sourcePath.c_str());
    return 1;
  }
  return WriteTarget(targetPath, plain.get(), plainLength, client);
}

}  // namespace

CString CCryptoHelper::LoadFileUTF8(const CString& path, CLoggerClient* client) {
  orv::TextFailure ignored;
  return orv::LoadProtectedText(path, client, &ignored);
}

DWORD CCryptoHelper::AesEncryptFile(const CString& sourcePath, const CString& targetPath,
                                    CLoggerClient* client) {
  return Converted(client, [&] { return Encrypt(sourcePath, targetPath, client); });
}

DWORD CCryptoHelper::AesDecryptFile(const CString& sourcePath, const CString& targetPath,
                                    CLoggerClient* client) {
  return Converted(client, [&] { return Decrypt(sourcePath, targetPath, client); });
}

namespace orv {

CString LoadProtectedText(const CString& path, CLoggerClient* client, TextFailure* failure) {
  LogFormat(eLogLevelTrace, client, nullptr, L"Loading file %ls", path.c_str());
  try {
    return LoadText(path, client, failure);
  } catch (const std::bad_alloc&) {
    failure->isOutOfMemory = true;
    LogFormat(eLogLevelError, client, nullptr, kNoLoadBuffer, path.c_str());
    return {};
  }
}

std::optional<std::string> ProtectBytes(std::string_view plain) {
  return ConvertedBytes(plain, [](const CEncryptionAES& cipher, const BYTE* bytes, DWORD length) {
    return Protect(cipher, bytes, length);
  });
}

std::optional<std::string> UnprotectBytes(std::string_view bytes) {
  return ConvertedBytes(bytes, [](const CEncryptionAES& cipher, const BYTE* data, DWORD length) {
    DWORD ignored = 0;
    return Unprotect(cipher, data, length, &ignored);
  });
}

}  // namespace orv
