#pragma once

namespace orv {

/// The instruction sets that the library has code for, each including those before it. Every
/// level computes the same bits.
enum class CpuLevel { kPlain, kSse41, kAvx2 };

/// The best level that this processor runs.
CpuLevel SupportedCpuLevel();

/// The level in use, chosen once a process: the best supported one, or the lower one that the
/// environment variable `ORV_CPU` (`plain`, `sse41`, `avx2`) asks for.
CpuLevel ActiveCpuLevel();

}  // namespace orv
