#include "orv/xml/markup_masks.h"

#include <algorithm>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orv {
namespace {

#if defined(__x86_64__)

// Units are narrowed to bytes first, four signs then cost four comparisons of 16 or 32 units.
// Saturation sends every unit beyond a byte to 0x00, 0x7F or 0xFF, none of which is a sign.

__m128i LoadBytes16(const wchar_t* text) {
  const auto* data = reinterpret_cast<const __m128i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_packus_epi16(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
  } else {
    const __m128i low = _mm_packs_epi32(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
    const __m128i high = _mm_packs_epi32(_mm_loadu_si128(data + 2), _mm_loadu_si128(data + 3));
    return _mm_packus_epi16(low, high);
  }
}

std::uint64_t Bits16(__m128i bytes, char sign) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(sign))));
}

void FillMasksSse2(const wchar_t* text, std::size_t words, MaskWord* masks) {
  for (std::size_t w = 0; w < words; ++w) {
    MaskWord word{};
    for (int part = 0; part < 64; part += 16, text += 16) {
      const __m128i bytes = LoadBytes16(text);
      word.less |= Bits16(bytes, '<') << part;
      word.greater |= Bits16(bytes, '>') << part;
      word.quote |= (Bits16(bytes, '"') | Bits16(bytes, '\'')) << part;
    }
    masks[w] = word;
  }
}

#define ORV_AVX2 __attribute__((target("avx2")))

/// Packing works within the two halves of a register; the permutation puts the bytes in order.
ORV_AVX2 inline __m256i LoadBytes32(const wchar_t* text) {
  const auto* data = reinterpret_cast<const __m256i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    const __m256i packed =
        _mm256_packus_epi16(_mm256_loadu_si256(data), _mm256_loadu_si256(data + 1));
    return _mm256_permute4x64_epi64(packed, 0b11'01'10'00);
  } else {
    const __m256i low = _mm256_packs_epi32(_mm256_loadu_si256(data), _mm256_loadu_si256(data + 1));
    const __m256i high =
        _mm256_packs_epi32(_mm256_loadu_si256(data + 2), _mm256_loadu_si256(data + 3));
    return _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high),
                                       _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  }
}

ORV_AVX2 inline std::uint64_t Bits32(__m256i bytes) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
}

ORV_AVX2 void FillMasksAvx2(const wchar_t* text, std::size_t words, MaskWord* masks) {
  const __m256i less = _mm256_set1_epi8('<');
  const __m256i greater = _mm256_set1_epi8('>');
  const __m256i doubleQuote = _mm256_set1_epi8('"');
  const __m256i singleQuote = _mm256_set1_epi8('\'');
  for (std::size_t w = 0; w < words; ++w) {
    MaskWord word{};
    for (int part = 0; part < 64; part += 32, text += 32) {
      const __m256i bytes = LoadBytes32(text);
      const __m256i quotes = _mm256_or_si256(_mm256_cmpeq_epi8(bytes, doubleQuote),
                                             _mm256_cmpeq_epi8(bytes, singleQuote));
      word.less |= Bits32(_mm256_cmpeq_epi8(bytes, less)) << part;
      word.greater |= Bits32(_mm256_cmpeq_epi8(bytes, greater)) << part;
      word.quote |= Bits32(quotes) << part;
    }
    masks[w] = word;
  }
}

#endif

void FillMasksPlain(const wchar_t* text, std::size_t words, MaskWord* masks) {
  for (std::size_t w = 0; w < words; ++w) {
    MaskWord word{};
    for (int bit = 0; bit < 64; ++bit, ++text) {
      word.less |= static_cast<std::uint64_t>(*text == L'<') << bit;
      word.greater |= static_cast<std::uint64_t>(*text == L'>') << bit;
      word.quote |= static_cast<std::uint64_t>(*text == L'"' || *text == L'\'') << bit;
    }
    masks[w] = word;
  }
}

}  // namespace

MaskFiller MaskFillerFor(CpuLevel level) {
  switch (level) {
#if defined(__x86_64__)
    case CpuLevel::kAvx2:
      return FillMasksAvx2;
    case CpuLevel::kSse41:
      return FillMasksSse2;
#endif
    default:
      return FillMasksPlain;
  }
}

void MarkupMasks::Mark(int from) {
  base_ = from & ~63;
  const int left = length_ - base_;
  if (left >= 64) {
    filled_ = std::min(left & ~63, kWindow);
    fill_(text_ + base_, filled_ / 64, masks_);
  } else {
    wchar_t tail[64] = {};
    std::copy_n(text_ + base_, left, tail);
    filled_ = 64;
    fill_(tail, 1, masks_);
  }
}

}  // namespace orv
