/// A plug-in of the shared library that logs from many threads, and once more when it is detached.

#include <windows.h>

#include <atomic>

#include "orv/logging/logger.h"

namespace {

CLoggerClient* client = nullptr;
std::atomic<int> started{0};

DWORD WINAPI LogForEver(void*) {
  for (bool isFirst = true;; isFirst = false) {
    CLogger::LOG_ERROR(client, L"A line", L"Thread");
    if (isFirst) ++started;
  }
}

}  // namespace

/// Returns when each of the threads has logged.
extern "C" __declspec(dllexport) void LogInThreads(int count) {
  for (int i = 0; i < count; ++i)
    CloseHandle(CreateThread(nullptr, 0, LogForEver, nullptr, 0, nullptr));
  while (started < count) Sleep(1);
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    client = new CLoggerClient;  // never deleted: the threads use it until the process ends
    client->Initialize(module);
    CLogger::StartLogging(client);
  } else if (reason == DLL_PROCESS_DETACH) {
    CLogger::LOG_ERROR(client, L"The last line", L"Detach");
  }
  return TRUE;
}
