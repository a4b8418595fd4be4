#include "xml/signs.h"

#include <algorithm>
#include <array>
#include <bit>

#include "base/narrow.h"
#include "xml/names.h"

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

// Units are narrowed to bytes first; those beyond a byte become no sign. The signs differ in their
// low four bits, so that a byte is a sign when it is the one that the table has there: one shuffle
// and one comparison find all four.

#define ORV_SSE41 __attribute__((target("sse4.1,popcnt")))
#define ORV_AVX2 __attribute__((target("avx2,bmi,popcnt")))
#define ORV_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,popcnt")))

/// The sign with the low bits of the index; at 0 a byte that a zero unit does not equal.
ORV_SSE41 inline __m128i SignTable() {
  return _mm_setr_epi8(-1, 0, '"', 0, 0, 0, 0, '\'', 0, 0, 0, 0, '<', 0, '>', 0);
}

ORV_SSE41 std::size_t FindSignsSse41(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                     std::uint32_t* signs) {
  const __m128i table = SignTable();
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kSignBlock) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < kSignBlock; part += 16, text += 16) {
      const __m128i bytes = NarrowUnits(text);
      const __m128i found = _mm_cmpeq_epi8(bytes, _mm_shuffle_epi8(table, bytes));
      const auto mask = static_cast<std::uint16_t>(_mm_movemask_epi8(found));
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
  const __m256i table = _mm256_broadcastsi128_si256(SignTable());
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kSignBlock) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < kSignBlock; part += 32, text += 32) {
      const __m256i bytes = LoadBytes32(text);
      const __m256i found = _mm256_cmpeq_epi8(bytes, _mm256_shuffle_epi8(table, bytes));
      const auto mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(found));
      bits |= static_cast<std::uint64_t>(mask) << part;
    }
    count += WritePlaces(bits, first, signs + count);
  }
  return count;
}

// GCC 12 warns of values that its own header leaves undefined on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

ORV_AVX512 inline __m512i LoadBytes64(const wchar_t* text) {
  if constexpr (sizeof(wchar_t) == 2) {
    const __m512i packed =
        _mm512_packus_epi16(_mm512_loadu_si512(text), _mm512_loadu_si512(text + 32));
    return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
  } else {
    const __m512i low = _mm512_packs_epi32(_mm512_loadu_si512(text), _mm512_loadu_si512(text + 16));
    const __m512i high =
        _mm512_packs_epi32(_mm512_loadu_si512(text + 32), _mm512_loadu_si512(text + 48));
    return _mm512_permutexvar_epi32(
        _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15),
        _mm512_packus_epi16(low, high));
  }
}

constexpr auto kUnitsOfBlock = [] {
  std::array<std::uint8_t, kSignBlock> units{};
  for (std::size_t i = 0; i < kSignBlock; ++i) units[i] = static_cast<std::uint8_t>(i);
  return units;
}();

/// Places are the bytes 0 to 63 whose bits are set, moved together.
ORV_AVX512 std::size_t FindSignsAvx512(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                       std::uint32_t* signs) {
  const __m512i units = _mm512_loadu_si512(kUnitsOfBlock.data());
  const __m512i table = _mm512_broadcast_i32x4(SignTable());
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kSignBlock, text += kSignBlock) {
    const __m512i bytes = LoadBytes64(text);
    const __mmask64 found = _mm512_cmpeq_epi8_mask(bytes, _mm512_shuffle_epi8(table, bytes));
    const __m512i start = _mm512_set1_epi32(static_cast<int>(first));
    __m512i places = _mm512_maskz_compress_epi8(found, units);
    std::uint32_t* end = signs + count;
    count += static_cast<std::size_t>(std::popcount(static_cast<std::uint64_t>(found)));
    do {
      const __m512i sixteen = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(places));
      _mm512_storeu_si512(end, _mm512_add_epi32(start, sixteen));
      places = _mm512_shuffle_i64x2(places, places, 0b00'11'10'01);
      end += 16;
    } while (end < signs + count);
  }
  return count;
}

#pragma GCC diagnostic pop

#endif

/// Units from which on a text is not to be had from the near caches.
constexpr int kLongText = (1 << 20) / sizeof(wchar_t);

/// Asks for what is looked at a page of memory later: the processor by itself looks ahead no
/// further than to the end of a page. What lies behind the text does no harm.
void PrefetchAhead(const wchar_t* text, std::size_t blocks) {
  constexpr std::uintptr_t kPage = 4096;
  constexpr std::uintptr_t kCacheLine = 64;
  const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(text) + kPage;
  const std::uintptr_t end = first + blocks * kSignBlock * sizeof(wchar_t);
  for (std::uintptr_t line = first; line < end; line += kCacheLine) {
    __builtin_prefetch(reinterpret_cast<const void*>(line));
  }
}

}  // namespace

SignFinder SignFinderFor(CpuLevel level) {
  switch (level) {
#if defined(__x86_64__)
    case CpuLevel::kAvx512:
      return FindSignsAvx512;
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
      if (length_ >= kLongText) PrefetchAhead(text_ + found_, blocks);
      count = find_(text_ + found_, blocks, first, signs_);
      found_ += static_cast<int>(blocks * kSignBlock);
    } else {
      wchar_t tail[kSignBlock] = {};
      std::copy_n(text_ + found_, left, tail);
      count = find_(tail, 1, first, signs_);
      found_ = length_;
    }
    if (copy_ != nullptr) copy_->To(static_cast<std::size_t>(found_));
  }
  if (count == 0) {
    signs_[0] = static_cast<std::uint32_t>(length_);
    count = 1;
  }
  return {signs_, signs_ + count};
}

}  // namespace orv
