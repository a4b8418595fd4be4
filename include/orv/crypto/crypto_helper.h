#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// Text files that may be protected (encrypted), as configuration files are:
///
///     const CString text = CCryptoHelper::LoadFileUTF8(path, logger);  // plain or protected
///     const bool isDone = CCryptoHelper::AesEncryptFile(path, path + L".cnf", logger) == 0;

/// Loads and converts such files, which are recognised only by their first three bytes, "CNF".
/// Failures are logged at error level. Functions may be called from any thread; a null client is
/// allowed.
class ORV_EXPORT CCryptoHelper {
 public:
  /// Loads the text of a file, plain or protected, decoded from UTF-8; a byte-order mark is kept as
  /// U+FEFF. Returns an empty text on any failure, and for an empty file. Files of more than
  /// 10,000,000 bytes are refused. Throws `std::filesystem::filesystem_error` if the path exists
  /// but its size cannot be read.
  static CString LoadFileUTF8(const CString& path, CLoggerClient* client);

  /// Writes the protected (or plain) form of the source, which must be writable, to the target. An
  /// existing target file is deleted first; a folder is kept and is an error. The write itself is
  /// not checked. Returns 0 on success, 1 on failure. Throws like `LoadFileUTF8`.
  static DWORD AesEncryptFile(const CString& sourcePath, const CString& targetPath,
                              CLoggerClient* client);
  static DWORD AesDecryptFile(const CString& sourcePath, const CString& targetPath,
                              CLoggerClient* client);
};

namespace orv {

/// The first bytes of a protected file.
inline constexpr std::string_view kProtectedMarker = "CNF";

/// The largest file that `CCryptoHelper` loads, in bytes.
inline constexpr std::uintmax_t kMaxLoadedSize = 10'000'000;

/// Returns the protected form of a file's bytes, or nothing on failure. This and the next function
/// throw `std::bad_alloc` if memory runs out.
ORV_EXPORT std::optional<std::string> ProtectBytes(std::string_view plain);

/// Returns the plain bytes of a protected file, or nothing if it is invalid or incomplete.
ORV_EXPORT std::optional<std::string> UnprotectBytes(std::string_view bytes);

}  // namespace orv
