#include "platform/pages.h"

#include <sys/mman.h>

#include <cstdint>

namespace orv {

void PopulatePages(void* memory, std::size_t size) {
#if defined(MADV_POPULATE_WRITE)
  // Less comes from memory that the process has had before, as a rule.
  constexpr std::size_t kLeast = std::size_t{1} << 18;
  constexpr std::size_t kPage = 4096;
  if (size < kLeast) return;
  const std::size_t before = -reinterpret_cast<std::uintptr_t>(memory) % kPage;
  char* const first = static_cast<char*>(memory) + before;
  const std::size_t whole = (size - before) / kPage * kPage;
  // Where the last page is there, the heap has had the memory before.
  unsigned char isThere = 0;
  if (mincore(first + whole - kPage, kPage, &isThere) == 0 && (isThere & 1) != 0) return;
  madvise(first, whole, MADV_POPULATE_WRITE);
#else
  static_cast<void>(memory);
  static_cast<void>(size);
#endif
}

}  // namespace orv
