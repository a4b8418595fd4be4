#pragma once

#include <cstddef>
#include <memory>

#include "orv/platform/types.h"

namespace orv {

/// Memory from the process heap, the one heap that every module of a process shares: buffers that
/// callers free come from here. Null when there is no memory; a size of 0 gives a buffer too.
void* HeapAllocate(std::size_t size);
/// Frees what `HeapAllocate` gave; null is ignored.
void HeapRelease(void* memory);

struct HeapDeleter {
  void operator()(BYTE* memory) const { HeapRelease(memory); }
};
/// A buffer from the process heap that is freed with its owner.
using HeapBuffer = std::unique_ptr<BYTE[], HeapDeleter>;

}  // namespace orv
