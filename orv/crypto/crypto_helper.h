#pragma once

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

  /// Writes the protected (plain) form of the source, which must be writable, to the target; an
  /// existing target is deleted first. 0 on success, 1 on failure. Throws as `LoadFileUTF8`.
  static DWORD AesEncryptFile(const CString& sourcePath, const CString& targetPath,
                              CLoggerClient* client);
  static DWORD AesDecryptFile(const CString& sourcePath, const CString& targetPath,
                              CLoggerClient* client);
};
