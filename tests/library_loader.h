#pragma once

namespace orv::test {

/// Loads a shared library by its path; null on failure.
void* LoadSharedLibrary(const char* path);
/// An export of a loaded library; null if missing.
void* FindSymbol(void* library, const char* name);
void UnloadSharedLibrary(void* library);
/// Uses the settings store of the test that started this program.
void JoinScratchSettings();

}  // namespace orv::test
