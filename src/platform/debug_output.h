#pragma once

#include <string>

namespace orv {

/// Sends text to the attached debugger on Windows, and to the system log on Linux.
void WriteDebugOutput(const std::wstring& text);

/// Redirects `WriteDebugOutput`, for tests; null restores the system's output. The sink is called
/// on the writing thread, without a lock.
using DebugOutputSink = void (*)(const std::wstring& text);
void SetDebugOutputSink(DebugOutputSink sink);

/// The system's debugger output, used by `WriteDebugOutput`.
void WriteSystemDebugOutput(const std::wstring& text);

}  // namespace orv
