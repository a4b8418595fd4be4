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
  // The first processors with SSE4.1 lack POPCNT, and a virtual machine may hide any instructions.
  if (!__builtin_cpu_supports("sse4.1") || !__builtin_cpu_supports("popcnt")) {
    return CpuLevel::kPlain;
  }
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi")) return CpuLevel::kSse41;
  const bool hasAvx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                         __builtin_cpu_supports("avx512vl") &&
                         __builtin_cpu_supports("avx512vbmi") &&
                         __builtin_cpu_supports("avx512vbmi2");
  return hasAvx512 ? CpuLevel::kAvx512 : CpuLevel::kAvx2;
#else
  return CpuLevel::kPlain;
#endif
}

CpuLevel ActiveCpuLevel() {
  static const CpuLevel level = ChooseCpuLevel();
  return level;
}

}  // namespace orv
