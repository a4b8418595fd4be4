#pragma once

#include <new>

namespace orv {

/// Returns what `work` returns, or `failure` when memory runs out.
template <typename Result, typename Work>
Result OrOutOfMemory(Result failure, Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return failure;
  }
}

}  // namespace orv
