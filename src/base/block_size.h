#pragma once

namespace orv {

#ifdef ORV_TINY_BLOCKS
inline constexpr bool kHasTinyBlocks = true;
#else
inline constexpr bool kHasTinyBlocks = false;
#endif

/// The size of the blocks in which text or entries are processed: `usual`, but `tiny` in sanitized
/// builds. There every test with a few elements or lines crosses block boundaries, where faults
/// hide. No result depends on this size.
template <typename Size>
constexpr Size BlockSize(Size usual, Size tiny) {
  return kHasTinyBlocks ? tiny : usual;
}

}  // namespace orv
