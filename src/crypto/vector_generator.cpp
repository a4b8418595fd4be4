#include "crypto/vector_generator.h"

#include <cstdint>

namespace orv {

int NextVectorNumber() {
  thread_local std::uint32_t state = 1;
  state = state * 214013u + 2531011u;
  return static_cast<int>((state >> 16) & 0x7FFF);
}

}  // namespace orv
