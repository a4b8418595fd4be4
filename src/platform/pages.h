#pragma once

#include <cstddef>

namespace orv {

/// Maps fresh memory that is about to be written completely, in one system call. Where supported,
/// this halves the cost of faulting in the memory pages one at a time. A hint: contents do not
/// change.
void PopulatePages(void* memory, std::size_t size);

}  // namespace orv
