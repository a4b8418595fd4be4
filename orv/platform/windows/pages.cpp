#include "orv/platform/pages.h"

#include "orv/platform/types.h"

namespace orv {

void* AllocatePages(std::size_t size) {
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void ReleasePages(void* memory, std::size_t) { VirtualFree(memory, 0, MEM_RELEASE); }

// Large pages take a privilege that no driver has.
void PreferLargePages(void*, std::size_t) {}

}  // namespace orv
