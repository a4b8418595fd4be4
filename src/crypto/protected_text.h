#pragma once

#include "orv/logging/logger.h"
#include "orv/platform/types.h"

namespace orv {

/// Why a text could not be loaded.
struct TextFailure {
  bool isOutOfMemory = false;
  CString reason;  ///< for people, without the path; empty if memory ran out
};

/// Reasons that the system does not give.
inline constexpr wchar_t kTooLargeFile[] = L"larger than 10,000,000 bytes";
inline constexpr wchar_t kEmptyFile[] = L"the file is empty";
inline constexpr wchar_t kChangedFile[] = L"the file changed while it was read";
inline constexpr wchar_t kDamagedFile[] = L"the protected content is damaged";
inline constexpr wchar_t kEmptyContent[] = L"the protected content is empty";

/// What `CCryptoHelper::LoadFileUTF8` does. Describes a failure, which returns an empty text.
CString LoadProtectedText(const CString& path, CLoggerClient* client, TextFailure* failure);

}  // namespace orv
