#pragma once

#include <cstddef>

namespace orv {

/// Makes fresh memory, all of which is about to be written, present in one go: where the system can
/// do that, it takes half the time of doing it page by page as they are written. A hint; the
/// contents stay as they are.
void PopulatePages(void* memory, std::size_t size);

}  // namespace orv
