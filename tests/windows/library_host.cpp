// A foreign host process of the shared library.
//   orv_library_host reload LIBRARY ROUNDS  loads, uses and unloads the library; prints what each
//                                           resource of the process gained
//   orv_library_host exit PLUG_IN           ends while eight threads log through a plug-in

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "orv/devmode/devmode.h"
#include "tests/library_loader.h"
#include "tests/windows/handles.h"

namespace {

/// Resources in use by the process.
struct Usage {
  long tlsIndexes = 0;
  long heapBlocks = 0;
  long heapBytes = 0;
};

long UsedTlsIndexes() {
  constexpr long kMaxIndexes = 1088;
  std::vector<DWORD> rest;
  rest.reserve(kMaxIndexes);
  for (DWORD index = TlsAlloc(); index != TLS_OUT_OF_INDEXES; index = TlsAlloc()) {
    rest.push_back(index);
  }
  for (const DWORD index : rest) TlsFree(index);
  return kMaxIndexes - static_cast<long>(rest.size());
}

Usage Measure() {
  Usage usage;
  usage.tlsIndexes = UsedTlsIndexes();
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(64, heaps);
  for (DWORD i = 0; i < count && i < 64; ++i) {
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heaps[i], &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
      ++usage.heapBlocks;
      usage.heapBytes += static_cast<long>(entry.cbData);
    }
  }
  return usage;
}

using Request = HRESULT(CLoggerClient*, ConfigsCache*, const wchar_t*, DWORD, OEMDMPARAM*);
using Resources = HINSTANCE();
using Protect = std::optional<std::string>(std::string_view);

template <typename Function>
Function* Find(HMODULE library, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

/// Runs work on a thread that outlives the library.
class LastingThread {
 public:
  LastingThread() { CloseHandle(CreateThread(nullptr, 0, &Run, this, 0, nullptr)); }

  void Do(std::function<void()> work) {
    work_ = std::move(work);
    SetEvent(begin_);
    WaitForSingleObject(end_, INFINITE);
  }

 private:
  static DWORD WINAPI Run(void* self) {
    auto& thread = *static_cast<LastingThread*>(self);
    while (WaitForSingleObject(thread.begin_, INFINITE) == WAIT_OBJECT_0) {
      thread.work_();
      SetEvent(thread.end_);
    }
    return 0;
  }

  HANDLE begin_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  HANDLE end_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::function<void()> work_;
};

bool UseOnce(const char* path, LastingThread* thread) {
  const HMODULE library = LoadLibraryA(path);
  auto* const request = Find<Request>(library, "hrOEMDevMode");
  auto* const protect = Find<Protect>(
      library, "_ZN3orv12ProtectBytesB5cxx11ESt17basic_string_viewIcSt11char_traitsIcEE");
  auto* const resources = Find<Resources>(library, "GetResourcesDllInstanceHandle");
  if (request == nullptr || protect == nullptr || resources == nullptr) return false;
  OEMDMPARAM param{};
  param.cbSize = sizeof(param);
  tagOEMDEV record{};
  param.pOEMDMOut = &record;
  const bool hasSize = request(nullptr, nullptr, L"none", OEMDM_SIZE, &param) == S_OK;
  const bool hasFailed = request(nullptr, nullptr, L"none", OEMDM_DEFAULT, &param) == E_FAIL;
  const bool hasResources = resources() != nullptr;
  // The initialization vector's state belongs to the thread: this one, one that stays, one that
  // ends.
  int protectedTexts = 0;
  const auto protectText = [&] { protectedTexts += protect("text").has_value() ? 1 : 0; };
  protectText();
  thread->Do(protectText);
  std::thread(protectText).join();
  return FreeLibrary(library) && GetModuleHandleA("orv_shared.dll") == nullptr && hasSize &&
         hasFailed && hasResources && protectedTexts == 3;
}

int Reload(const char* path, int rounds) {
  // The system's libraries stay loaded, as in hosts that print.
  for (const char* name : {"bcrypt", "gdiplus", "shlwapi", "winspool.drv"}) LoadLibraryA(name);
  auto& thread = *new LastingThread;  // never ends
  const auto use = [&](int count) {
    while (count > 0 && UseOnce(path, &thread)) --count;
    return count == 0;
  };
  if (!use(20)) return 3;  // the system's own caches fill
  const Usage before = Measure();
  // The system opens and closes handles of its own at any time. A leak shows in each part.
  std::array<long, 3> handles;
  for (long& gained : handles) {
    const long open = orv::test::OpenHandles();
    if (!use(rounds / 3)) return 3;
    gained = orv::test::OpenHandles() - open;
  }
  const Usage after = Measure();
  std::ranges::sort(handles);
  std::printf("TLS indexes %ld\nhandles %ld\nheap blocks %ld\nheap bytes %ld\n",
              after.tlsIndexes - before.tlsIndexes, handles[1],
              after.heapBlocks - before.heapBlocks, after.heapBytes - before.heapBytes);
  return 0;
}

int Exit(const char* plugIn) {
  const HMODULE module = LoadLibraryA(plugIn);
  if (module == nullptr) return 3;
  auto* const logInThreads = Find<void(int)>(module, "LogInThreads");
  if (logInThreads == nullptr) return 4;
  logInThreads(8);
  return 0;  // the threads still log
}

}  // namespace

int main(int argc, char** argv) {
  orv::test::JoinScratchSettings();
  if (argc == 4 && std::strcmp(argv[1], "reload") == 0) return Reload(argv[2], std::atoi(argv[3]));
  if (argc == 3 && std::strcmp(argv[1], "exit") == 0) return Exit(argv[2]);
  return 2;
}
