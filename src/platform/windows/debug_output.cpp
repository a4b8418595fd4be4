#include "platform/debug_output.h"

#include <windows.h>

namespace orv {

void WriteSystemDebugOutput(const std::wstring& text) { OutputDebugStringW(text.c_str()); }

}  // namespace orv
