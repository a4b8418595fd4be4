#pragma once

#include "base/cpu.h"

namespace orv {

/// A block conversion needs this many bytes or code units of input to make progress.
inline constexpr int kUtf8Block = 32;

/// Converts well-formed UTF-8 of code points below U+10000 in blocks and advances both pointers
/// past what was converted, always whole code points. Stops before any other sequence, before a
/// long ASCII run, near `end`, and past `full`. Writes at most 32 code units past `full`; those
/// after the final position are undefined.
using Utf8BlockDecoder = void (*)(const char** at, const char* end, wchar_t** out,
                                  const wchar_t* full);

/// The reverse conversion. Stops before surrogates and invalid code units. Writes at most 48 bytes
/// past `full`.
using Utf8BlockEncoder = void (*)(const wchar_t** at, const wchar_t* end, char** out,
                                  const char* full);

/// The conversions for an instruction set. They are an optimization only: the plain ones convert
/// nothing, and the caller's scalar code does the work.
Utf8BlockDecoder Utf8BlockDecoderFor(CpuLevel level);
Utf8BlockEncoder Utf8BlockEncoderFor(CpuLevel level);

}  // namespace orv
