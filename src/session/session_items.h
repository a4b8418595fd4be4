#pragma once

#include <cstdint>

namespace orv {

/// The id under which this process finds the session's items: that of the system host that started
/// it, otherwise its own. Throws `std::bad_alloc` without memory.
std::uint32_t SessionItemsProcess();

}  // namespace orv
