#include "platform/registry_store.h"

#include "orv/platform/registry.h"

namespace orv {

RegistryStoreFacts ExamineRegistryStore(HKEY hive) {
  constexpr wchar_t kSoftware[] = L"Software";
  RegistryStoreFacts facts;
  RegistryKey key;
  facts.error = key.Open(hive, kSoftware, RegistryAccess::kRead);
  facts.isWritable = key.Open(hive, kSoftware, RegistryAccess::kReadWrite) == ERROR_SUCCESS;
  return facts;
}

void KeepRegistryUnchanged() {}

}  // namespace orv
