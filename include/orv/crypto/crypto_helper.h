#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// Files that may be stored protected: recognised by their first three bytes, "CNF", and nothing
/// else. Failures are logged at error level. Any thread may call; a null client is allowed.
class ORV_EXPORT CCryptoHelper {
 public:
  /// The text of a file, plain or protected, decoded from UTF-8; a byte-order mark stays as U+FEFF.
  /// Empty on any failure, and for an empty file. Files of more than 10,000,000 bytes are refused.
  /// Throws `std::filesystem::filesystem_error` when the size of what exists cannot be read.
  static CString LoadFileUTF8(const CString& path, CLoggerClient* client);

  /// Writes the protected (plain) form of the source, which must be writable, to the target. A
  /// target file is deleted first; a folder stays and is an error. The write itself is not checked.
  /// 0 on success, 1 on failure. Throws as `LoadFileUTF8`.
  static DWORD AesEncryptFile(const CString& sourcePath, const CString& targetPath,
                              CLoggerClient* client);
  static DWORD AesDecryptFile(const CString& sourcePath, const CString& targetPath,
                              CLoggerClient* client);
};

namespace orv {

/// The first bytes of a protected file.
inline constexpr std::string_view kProtectedMarker = "CNF";

/// The bytes of the protected form of a file with these bytes; nothing when they cannot be made.
/// This and the next throw `std::bad_alloc` when there is no memory to hand the result out.
ORV_EXPORT std::optional<std::string> ProtectBytes(std::string_view plain);
/// The plain bytes of a protected file; nothing when it is none, or not whole.
ORV_EXPORT std::optional<std::string> UnprotectBytes(std::string_view bytes);

}  // namespace orv
