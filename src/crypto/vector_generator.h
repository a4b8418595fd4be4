#pragma once

namespace orv {

/// Returns the next number, 0 to 32767, of the calling thread's generator for initialization
/// vectors. It is the linear congruential generator with multiplier 214013 and increment 2531011;
/// bits 16 to 30 of its state are used. Kept for compatibility: it is never seeded, so every thread
/// produces the same sequence and protected files are reproducible.
int NextVectorNumber();

}  // namespace orv
