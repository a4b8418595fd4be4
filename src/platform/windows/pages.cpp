#include "platform/pages.h"

namespace orv {

// Windows has no such call for memory that holds nothing yet.
void PopulatePages(void*, std::size_t) {}

}  // namespace orv
