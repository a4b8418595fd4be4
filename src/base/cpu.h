#pragma once

namespace orv {

/// The instruction sets that the library has code for, each including those before it. Every
/// level computes the same bits. The last one stands for the byte operations of AVX-512 (F, BW, VL,
/// VBMI and VBMI2).
enum class CpuLevel { kPlain, kSse41, kAvx2, kAvx512 };

/// The best level that this processor runs.
CpuLevel SupportedCpuLevel();

/// The level in use, chosen once a process: the best supported one, or the lower one that the
/// environment variable `ORV_CPU` (`plain`, `sse41`, `avx2`, `avx512`) asks for.
CpuLevel ActiveCpuLevel();

}  // namespace orv
