#pragma once

#include <cstddef>

namespace orv {

/// The size of the large pages of the processors that the library runs on.
inline constexpr std::size_t kLargePage = std::size_t{1} << 21;

/// Zeroed memory of whole large pages, backed by such where the system has them: filling it then
/// takes a fraction of the time. Null when there is no memory.
void* AllocatePages(std::size_t size);
/// Gives back what `AllocatePages` gave for that size.
void ReleasePages(void* memory, std::size_t size);

/// Asks that memory that is about to be filled for the first time be backed by large pages. A hint,
/// without effect on small pieces and where the system has nothing like it.
void PreferLargePages(void* memory, std::size_t size);

}  // namespace orv
