#include "platform/pages.h"

namespace orv {

// Windows has no such call for memory that has not been written yet.
void PopulatePages(void*, std::size_t) {}

}  // namespace orv
