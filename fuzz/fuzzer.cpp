#include "fuzz/targets.h"

/// A libFuzzer program for the target selected by the build.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orv::fuzz::ORV_FUZZ_TARGET({data, size});
  return 0;
}
