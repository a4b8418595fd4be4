#include "platform/heap.h"

#include <cstdlib>

namespace orv {

void* HeapAllocate(std::size_t size) { return std::malloc(size != 0 ? size : 1); }

void HeapRelease(void* memory) { std::free(memory); }

}  // namespace orv
