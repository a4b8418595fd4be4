#pragma once

#include "orv/logging/logger.h"
#include "orv/platform/types.h"

namespace orv {

/// What `CCryptoHelper::LoadFileUTF8` does. `*isOutOfMemory` becomes true if it fails because
/// memory ran out.
CString LoadProtectedText(const CString& path, CLoggerClient* client, bool* isOutOfMemory);

}  // namespace orv
