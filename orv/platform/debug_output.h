#pragma once

#include <string>

namespace orv {

/// Sends a text to whoever debugs the process: the debugger on Windows, the system log elsewhere.
void WriteDebugOutput(const std::wstring& text);

/// Redirects what `WriteDebugOutput` sends, for tests that read it; null restores the system's own.
/// Set it while no other thread writes.
using DebugOutputSink = void (*)(const std::wstring& text);
void SetDebugOutputSink(DebugOutputSink sink);

}  // namespace orv
