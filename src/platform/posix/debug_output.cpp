#include "platform/debug_output.h"

#include <syslog.h>

#include "base/utf8.h"

namespace orv {

void WriteSystemDebugOutput(const std::wstring& text) {
  syslog(LOG_USER | LOG_DEBUG, "%s", WideToUtf8(text).c_str());
}

}  // namespace orv
