#pragma once

#include <cstddef>
#include <memory>

#include "orv/platform/types.h"

namespace orv {

/// Allocates from the process heap, which all modules of a process share, so that callers can free
/// buffers that they receive. Returns null when memory runs out; size 0 returns a buffer too.
void* HeapAllocate(std::size_t size);
/// Frees memory from `HeapAllocate`; null is ignored.
void HeapRelease(void* memory);

struct HeapDeleter {
  void operator()(BYTE* memory) const { HeapRelease(memory); }
};
/// An owned buffer from the process heap.
using HeapBuffer = std::unique_ptr<BYTE[], HeapDeleter>;

}  // namespace orv
