#pragma once

#include "orv/logging/logger.h"
#include "orv/platform/types.h"

namespace orv {

/// Why a text could not be loaded.
struct TextFailure {
  bool isOutOfMemory = false;
  CString reason;  ///< for people, without the path; empty if memory ran out
};

/// What `CCryptoHelper::LoadFileUTF8` does. Describes a failure, which returns an empty text.
CString LoadProtectedText(const CString& path, CLoggerClient* client, TextFailure* failure);

}  // namespace orv
