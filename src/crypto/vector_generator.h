#pragma once

namespace orv {

/// The next number, 0 to 32767, of the calling thread's generator for initialisation vectors: the
/// linear congruential generator with multiplier 214013 and increment 2531011, of whose state bits
/// 16 to 30 are taken. Kept for compatibility: it is never seeded, so every thread goes through the
/// same numbers, and protected files are reproducible.
int NextVectorNumber();

}  // namespace orv
