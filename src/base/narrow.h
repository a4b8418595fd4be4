#pragma once

#if defined(__SSE2__)

#include <emmintrin.h>

namespace orv {

/// Packs 16 code units into bytes. Saturation turns every unit above 0xFF into 0x00, 0x7F or 0xFF.
inline __m128i NarrowUnits(const wchar_t* text) {
  const auto* data = reinterpret_cast<const __m128i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_packus_epi16(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
  } else {
    const __m128i low = _mm_packs_epi32(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
    const __m128i high = _mm_packs_epi32(_mm_loadu_si128(data + 2), _mm_loadu_si128(data + 3));
    return _mm_packus_epi16(low, high);
  }
}

}  // namespace orv

#endif
