#pragma once

#include <string>

namespace orv {

/// Sends a text to whoever debugs the process: the debugger on Windows, the system log elsewhere.
void WriteDebugOutput(const std::wstring& text);

/// Redirects what `WriteDebugOutput` sends, for tests that read it; null restores the system's own.
/// The sink is called by every thread that writes, without a lock.
using DebugOutputSink = void (*)(const std::wstring& text);
void SetDebugOutputSink(DebugOutputSink sink);

/// The system's own debugger output, which `WriteDebugOutput` uses.
void WriteSystemDebugOutput(const std::wstring& text);

}  // namespace orv
