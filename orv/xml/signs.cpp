#include "orv/xml/signs.h"

#include <algorithm>
#include <bit>

#include "orv/xml/names.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orv {
namespace {

constexpr UnitSet kSigns(L"<>\"'");

std::size_t FindSignsPlain(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                           std::uint32_t* signs) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < blocks * kSignBlock; ++i) {
    signs[count] = first + static_cast<std::uint32_t>(i);
    count += kSigns.Has(text[i]) ? 1 : 0;
  }
  return count;
}

#if defined(__x86_64__)

/// Writes the places of a block's set bits and returns their number. Eight are written at a time,
/// so that their number is hardly ever a branch taken wrongly.
inline std::size_t WritePlaces(std::uint64_t bits, std::uint32_t first, std::uint32_t* places) {
  const auto count = static_cast<std::size_t>(std::popcount(bits));
  for (std::size_t written = 0; written < count; written += 8) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i) {
      places[written + i] = first + static_cast<std::uint32_t>(std::countr_zero(bits));
      bits &= bits - 1;
    }
  }
  return count;
}

// Units are narrowed to bytes first, four signs then cost four comparisons of 16 or 32 units.
// Saturation sends every unit beyond a byte to 0x00, 0x7F or 0xFF, none of which is a sign.

#define ORV_SSE41 __attribute__((target("sse4.1,popcnt")))
#define ORV_AVX2 __attribute__((target("avx2,bmi,popcnt")))

ORV_SSE41 inline __m128i LoadBytes16(const wchar_t* text) {
  const auto* data = reinterpret_cast<const __m128i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_packus_epi16(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
  } else {
    const __m128i low = _mm_packs_epi32(_mm_loadu_si128(data), _mm_loadu_si128(data + 1));
    const __m128i high = _mm_packs_epi32(_mm_loadu_si128(data + 2), _mm_loadu_si128(data + 3));
    return _mm_packus_epi16(low, high);
  }
}

ORV_SSE41 std::size_t FindSignsSse41(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                     std::uint32_t* signs) {
  const __m128i less = _mm_set1_epi8('<');
  const __m128i greater = _mm_set1_epi8('>');
  const __m128i doubleQuote = _mm_set1_epi8('"');
  const __m128i singleQuote = _mm_set1_epi8('\'');
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kSignBlock) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < kSignBlock; part += 16, text += 16) {
      const __m128i bytes = LoadBytes16(text);
      const __m128i brackets =
          _mm_or_si128(_mm_cmpeq_epi8(bytes, less), _mm_cmpeq_epi8(bytes, greater));
      const __m128i quotes =
          _mm_or_si128(_mm_cmpeq_epi8(bytes, doubleQuote), _mm_cmpeq_epi8(bytes, singleQuote));
      const auto mask =
          static_cast<std::uint16_t>(_mm_movemask_epi8(_mm_or_si128(brackets, quotes)));
      bits |= static_cast<std::uint64_t>(mask) << part;
    }
    count += WritePlaces(bits, first, signs + count);
  }
  return count;
}

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

ORV_AVX2 std::size_t FindSignsAvx2(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                   std::uint32_t* signs) {
  const __m256i less = _mm256_set1_epi8('<');
  const __m256i greater = _mm256_set1_epi8('>');
  const __m256i doubleQuote = _mm256_set1_epi8('"');
  const __m256i singleQuote = _mm256_set1_epi8('\'');
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kSignBlock) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < kSignBlock; part += 32, text += 32) {
      const __m256i bytes = LoadBytes32(text);
      const __m256i brackets =
          _mm256_or_si256(_mm256_cmpeq_epi8(bytes, less), _mm256_cmpeq_epi8(bytes, greater));
      const __m256i quotes = _mm256_or_si256(_mm256_cmpeq_epi8(bytes, doubleQuote),
                                             _mm256_cmpeq_epi8(bytes, singleQuote));
      const auto mask =
          static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_or_si256(brackets, quotes)));
      bits |= static_cast<std::uint64_t>(mask) << part;
    }
    count += WritePlaces(bits, first, signs + count);
  }
  return count;
}

#endif

}  // namespace

SignFinder SignFinderFor(CpuLevel level) {
  switch (level) {
#if defined(__x86_64__)
    case CpuLevel::kAvx2:
      return FindSignsAvx2;
    case CpuLevel::kSse41:
      return FindSignsSse41;
#endif
    default:
      return FindSignsPlain;
  }
}

SignPieces::Piece SignPieces::More() {
  std::size_t count = 0;
  while (count == 0 && found_ < length_) {
    const auto first = static_cast<std::uint32_t>(found_);
    const auto left = static_cast<std::size_t>(length_ - found_);
    if (left >= kSignBlock) {
      const std::size_t blocks = std::min(left / kSignBlock, kBlocks);
      count = find_(text_ + found_, blocks, first, signs_);
      found_ += static_cast<int>(blocks * kSignBlock);
    } else {
      wchar_t tail[kSignBlock] = {};
      std::copy_n(text_ + found_, left, tail);
      count = find_(tail, 1, first, signs_);
      found_ = length_;
    }
  }
  if (count == 0) {
    signs_[0] = static_cast<std::uint32_t>(length_);
    count = 1;
  }
  return {signs_, signs_ + count};
}

}  // namespace orv
