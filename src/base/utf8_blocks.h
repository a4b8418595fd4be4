#pragma once

#include "base/cpu.h"

namespace orv {

/// Bytes, and units, that may have to stand behind the place that is converted.
inline constexpr int kUtf8Block = 32;

/// Converts well-formed UTF-8 of characters below U+10000 in blocks. Both pointers move behind what
/// was converted, always whole characters; it stops in front of what else there is, at plain ASCII
/// that goes on for a while, close to `end` and behind `full`. Writes at most 32 units behind
/// `full`, of which those behind the final place mean nothing.
using Utf8BlockDecoder = void (*)(const char** at, const char* end, wchar_t** out,
                                  const wchar_t* full);

/// The way back: stops in front of surrogates and units that are none. Writes at most 48 bytes
/// behind `full`.
using Utf8BlockEncoder = void (*)(const wchar_t** at, const wchar_t* end, char** out,
                                  const char* full);

/// The conversions for an instruction set. They only save time: the plain ones convert nothing.
Utf8BlockDecoder Utf8BlockDecoderFor(CpuLevel level);
Utf8BlockEncoder Utf8BlockEncoderFor(CpuLevel level);

}  // namespace orv
