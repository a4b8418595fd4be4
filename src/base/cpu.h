#pragma once

#include <cstddef>

/// Run-time selection of vectorized code. Text, XML and imaging choose their kernels here, each
/// from its own table.

namespace orv {

/// The instruction sets that the library has kernels for; each includes those before it. Results
/// are bit-identical on every level. `kSse41` includes POPCNT, and `kAvx2` BMI1; `kAvx512` means F,
/// BW, VL, VBMI and VBMI2.
enum class CpuLevel { kPlain, kSse41, kAvx2, kAvx512 };

/// The highest level that this processor supports.
CpuLevel SupportedCpuLevel();

/// The level in use, determined once per process: the highest supported one, or a lower one if the
/// environment variable `ORV_CPU` names it (`plain`, `sse41`, `avx2`, `avx512`).
CpuLevel ActiveCpuLevel();

/// A kernel and the level that it needs.
template <typename Kernel>
struct LeveledKernel {
  CpuLevel level;
  Kernel kernel;
};

/// The best kernel for a level. Rows are ordered by level, and the first one is `kPlain`.
template <typename Kernel, std::size_t kRows>
Kernel KernelFor(CpuLevel level, const LeveledKernel<Kernel> (&rows)[kRows]) {
  std::size_t best = 0;
  while (best + 1 < kRows && rows[best + 1].level <= level) ++best;
  return rows[best].kernel;
}

}  // namespace orv
