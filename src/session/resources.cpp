#include "orv/session/resources.h"

#include <atomic>
#include <new>
#include <string>

#include "base/product.h"
#include "orv/text/format.h"
#include "platform/debug_output.h"
#include "platform/files.h"
#include "platform/modules.h"

namespace {

std::atomic<HINSTANCE> cachedHandle{nullptr};

HINSTANCE Open() {
  const std::wstring name = orv::Format(L"%lsresources", orv::kFamilyPrefix);
  std::wstring path;
  orv::GetModulePath(orv::OwnModule(), &path);
  path.resize(path.size() - orv::FileNameOf(path).size());
  const HINSTANCE handle = orv::LoadResourceModule(path + name + L".dll");
  if (handle == nullptr) {
    orv::WriteDebugOutput(
        orv::Format(L"%lsshared.dll: Unable to load library '%ls.dll'. Error code: %d",
                    orv::kFamilyPrefix, name.c_str(), static_cast<int>(GetLastError())));
  }
  return handle;
}

}  // namespace

HINSTANCE GetResourcesDllInstanceHandle() {
  HINSTANCE handle = cachedHandle.load(std::memory_order_acquire);
  if (handle != nullptr) return handle;
  try {
    handle = Open();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  // Another thread may have stored a handle meanwhile; either can be used.
  if (handle != nullptr) cachedHandle.store(handle, std::memory_order_release);
  return handle;
}
