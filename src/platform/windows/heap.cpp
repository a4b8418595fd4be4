#include "platform/heap.h"

namespace orv {

void* HeapAllocate(std::size_t size) { return HeapAlloc(GetProcessHeap(), 0, size); }

void HeapRelease(void* memory) {
  if (memory != nullptr) HeapFree(GetProcessHeap(), 0, memory);
}

}  // namespace orv
