#include "orv/platform/pages.h"

#include <sys/mman.h>

#include <cstdint>

namespace orv {
namespace {

/// The distance from an address to the next large page.
std::size_t ToLargePage(const void* memory) {
  return -reinterpret_cast<std::uintptr_t>(memory) & (kLargePage - 1);
}

}  // namespace

void* AllocatePages(std::size_t size) {
  // One page more than asked for holds an aligned piece; what is around it is given back.
  const std::size_t reserved = size + kLargePage;
  void* const memory =
      mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  const std::size_t before = ToLargePage(memory);
  char* const pages = static_cast<char*>(memory) + before;
  if (before != 0) munmap(memory, before);
  if (before != kLargePage) munmap(pages + size, kLargePage - before);
  PreferLargePages(pages, size);
  return pages;
}

void ReleasePages(void* memory, std::size_t size) { munmap(memory, size); }

void PreferLargePages(void* memory, std::size_t size) {
#if defined(MADV_HUGEPAGE)
  const std::size_t before = ToLargePage(memory);
  if (size < before + kLargePage) return;
  const std::size_t whole = (size - before) & ~(kLargePage - 1);
  madvise(static_cast<char*>(memory) + before, whole, MADV_HUGEPAGE);
#endif
}

}  // namespace orv
