#pragma once

#include <bit>

#include "xml/names.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Searches for the end of names, values and texts. They compare eight code units at a time and are
/// inline, because most texts are short.

namespace orv {

#if defined(__SSE2__)

/// Loads code units as signed 16-bit numbers; larger ones saturate.
inline __m128i LoadEightUnits(const wchar_t* text) {
  const auto* data = reinterpret_cast<const __m128i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_loadu_si128(data);
  } else {
    return _mm_packs_epi32(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
  }
}

/// The first of eight code units that a comparison selected; at least one is.
inline int FirstFound(int byteMask) {
  return std::countr_zero(static_cast<unsigned>(byteMask)) / 2;
}

/// Loads sixteen code units as signed 8-bit numbers; larger ones saturate.
inline __m128i LoadSixteenUnits(const wchar_t* text) {
  return _mm_packs_epi16(LoadEightUnits(text), LoadEightUnits(text + 8));
}

#endif

/// Returns the first of two ASCII code units in a range of text, or the end of the range.
inline const wchar_t* FindEither(const wchar_t* at, const wchar_t* end, wchar_t a, wchar_t b) {
#if defined(__SSE2__)
  const __m128i as = _mm_set1_epi16(static_cast<short>(a));
  const __m128i bs = _mm_set1_epi16(static_cast<short>(b));
  for (; end - at >= 8; at += 8) {
    const __m128i units = LoadEightUnits(at);
    const int found =
        _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi16(units, as), _mm_cmpeq_epi16(units, bs)));
    if (found != 0) return at + FirstFound(found);
  }
#endif
  while (at != end && *at != a && *at != b) ++at;
  return at;
}

/// Finds the first code unit of a set in a range of text; its end if there is none. The set
/// contains only code units below `0`, and `=`, `>` and `?`, which covers everything that ends
/// names.
inline const wchar_t* FindNameEnd(const wchar_t* at, const wchar_t* end, UnitSet ends) {
#if defined(__SSE2__)
  const __m128i zero = _mm_set1_epi16(L'0');
  const __m128i less = _mm_set1_epi16(L'<');
  const __m128i commercialAt = _mm_set1_epi16(L'@');
  while (end - at >= 8) {
    const __m128i units = LoadEightUnits(at);
    const __m128i delimiters =
        _mm_and_si128(_mm_cmpgt_epi16(units, less), _mm_cmplt_epi16(units, commercialAt));
    const int found = _mm_movemask_epi8(_mm_or_si128(_mm_cmplt_epi16(units, zero), delimiters));
    if (found == 0) {
      at += 8;
    } else {
      at += FirstFound(found);
      if (ends.Has(*at)) return at;
      ++at;
    }
  }
#endif
  while (at != end && !ends.Has(*at)) ++at;
  return at;
}

}  // namespace orv
