#include "tests/faults.h"

#include <windows.h>

#include <cstdlib>

namespace orv::test::faults {

void* Allocate(std::size_t size) { return Fails(Kind::kAllocation) ? nullptr : std::malloc(size); }

long OpenFiles() {
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  return static_cast<long>(handles);
}

long FilesNotRemoved() { return 0; }

}  // namespace orv::test::faults
