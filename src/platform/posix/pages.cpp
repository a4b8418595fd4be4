#include "platform/pages.h"

#include <sys/mman.h>

#include <cstdint>

namespace orv {

void PopulatePages(void* memory, std::size_t size) {
#if defined(MADV_POPULATE_WRITE)
  // Smaller blocks usually come from memory that the process has used before.
  constexpr std::size_t kMinSize = std::size_t{1} << 18;
  constexpr std::size_t kPage = 4096;
  if (size < kMinSize) return;
  const std::size_t before = -reinterpret_cast<std::uintptr_t>(memory) % kPage;
  char* const first = static_cast<char*>(memory) + before;
  const std::size_t whole = (size - before) / kPage * kPage;
  // If the last memory page is resident, the heap has used the block before.
  unsigned char isResident = 0;
  if (mincore(first + whole - kPage, kPage, &isResident) == 0 && (isResident & 1) != 0) return;
  madvise(first, whole, MADV_POPULATE_WRITE);
#else
  static_cast<void>(memory);
  static_cast<void>(size);
#endif
}

}  // namespace orv
