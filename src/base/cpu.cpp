#include "base/cpu.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace orv {
namespace {

CpuLevel ChooseCpuLevel() {
  constexpr struct {
    std::string_view name;
    CpuLevel level;
  } kNames[] = {{"plain", CpuLevel::kPlain},
                {"sse41", CpuLevel::kSse41},
                {"avx2", CpuLevel::kAvx2},
                {"avx512", CpuLevel::kAvx512}};

  const CpuLevel supported = SupportedCpuLevel();
  const char* asked = std::getenv("ORV_CPU");
  if (asked == nullptr) return supported;
  for (const auto& [name, level] : kNames) {
    if (name == asked) return std::min(level, supported);
  }
  return supported;
}

}  // namespace

CpuLevel SupportedCpuLevel() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512f") &&
      __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2")) {
    return CpuLevel::kAvx512;
  }
  if (__builtin_cpu_supports("avx2")) return CpuLevel::kAvx2;
  if (__builtin_cpu_supports("sse4.1")) return CpuLevel::kSse41;
#endif
  return CpuLevel::kPlain;
}

CpuLevel ActiveCpuLevel() {
  static const CpuLevel level = ChooseCpuLevel();
  return level;
}

}  // namespace orv
