#include "xml/delimiters.h"

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

constexpr UnitSet kDelimiters(L"<>\"'");

std::size_t FindDelimitersPlain(const wchar_t* text, std::size_t blocks, std::uint32_t first,
                                std::uint32_t* offsets) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < blocks * kDelimiterBlock; ++i) {
    offsets[count] = first + static_cast<std::uint32_t>(i);
    count += kDelimiters.Has(text[i]);
  }
  return count;
}

#if defined(__x86_64__)

/// Writes the offsets of a block's set bits and returns their number. Writes eight at a time, so
/// that the loop branch is nearly always predicted.
inline std::size_t WriteOffsets(std::uint64_t bits, std::uint32_t first, std::uint32_t* offsets) {
  const auto count = static_cast<std::size_t>(std::popcount(bits));
  for (std::size_t written = 0; written < count; written += 8) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i) {
      offsets[written + i] = first + static_cast<std::uint32_t>(std::countr_zero(bits));
      bits &= bits - 1;
    }
  }
  return count;
}

// Code units are narrowed to bytes first; larger ones saturate to a byte that is not a delimiter.
// The delimiters differ in their low four bits. A byte is a delimiter if it equals the table entry
// for its low bits, so one shuffle and one comparison find all four.

#define ORV_SSE41 __attribute__((target("sse4.1,popcnt")))
#define ORV_AVX2 __attribute__((target("avx2,bmi,popcnt")))
#define ORV_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,popcnt")))

/// The delimiter for each value of the low four bits; entry 0 differs from a zero code unit.
ORV_SSE41 inline __m128i DelimiterTable() {
  return _mm_setr_epi8(-1, 0, '"', 0, 0, 0, 0, '\'', 0, 0, 0, 0, '<', 0, '>', 0);
}

ORV_SSE41 std::size_t FindDelimitersSse41(const wchar_t* text, std::size_t blocks,
                                          std::uint32_t first, std::uint32_t* offsets) {
  const __m128i table = DelimiterTable();
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kDelimiterBlock) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < kDelimiterBlock; part += 16, text += 16) {
      const __m128i bytes = NarrowUnits(text);
      const __m128i found = _mm_cmpeq_epi8(bytes, _mm_shuffle_epi8(table, bytes));
      const auto mask = static_cast<std::uint16_t>(_mm_movemask_epi8(found));
      bits |= static_cast<std::uint64_t>(mask) << part;
    }
    count += WriteOffsets(bits, first, offsets + count);
  }
  return count;
}

/// Packs within each 128-bit lane, then permutes the bytes into order.
ORV_AVX2 inline __m256i LoadBytes32(const wchar_t* text) {
  const auto* data = reinterpret_cast<const __m256i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    const __m256i packed =
        _mm256_packus_epi16(_mm256_loadu_si256(data), _mm256_loadu_si256(data + 1));
    return _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0));
  } else {
    const __m256i low = _mm256_packs_epi32(_mm256_loadu_si256(data), _mm256_loadu_si256(data + 1));
    const __m256i high =
        _mm256_packs_epi32(_mm256_loadu_si256(data + 2), _mm256_loadu_si256(data + 3));
    return _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high),
                                       _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  }
}

ORV_AVX2 std::size_t FindDelimitersAvx2(const wchar_t* text, std::size_t blocks,
                                        std::uint32_t first, std::uint32_t* offsets) {
  const __m256i table = _mm256_broadcastsi128_si256(DelimiterTable());
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kDelimiterBlock) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < kDelimiterBlock; part += 32, text += 32) {
      const __m256i bytes = LoadBytes32(text);
      const __m256i found = _mm256_cmpeq_epi8(bytes, _mm256_shuffle_epi8(table, bytes));
      const auto mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(found));
      bits |= static_cast<std::uint64_t>(mask) << part;
    }
    count += WriteOffsets(bits, first, offsets + count);
  }
  return count;
}

// GCC 12 warns about values that its own header leaves undefined on purpose.
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

constexpr auto kBlockOffsets = [] {
  std::array<std::uint8_t, kDelimiterBlock> units{};
  for (std::size_t i = 0; i < kDelimiterBlock; ++i) units[i] = static_cast<std::uint8_t>(i);
  return units;
}();

/// Compresses the bytes 0 to 63 by the mask, which yields the offsets within a block.
ORV_AVX512 std::size_t FindDelimitersAvx512(const wchar_t* text, std::size_t blocks,
                                            std::uint32_t first, std::uint32_t* offsets) {
  const __m512i units = _mm512_loadu_si512(kBlockOffsets.data());
  const __m512i table = _mm512_broadcast_i32x4(DelimiterTable());
  std::size_t count = 0;
  for (; blocks > 0; --blocks, first += kDelimiterBlock, text += kDelimiterBlock) {
    const __m512i bytes = LoadBytes64(text);
    const __mmask64 found = _mm512_cmpeq_epi8_mask(bytes, _mm512_shuffle_epi8(table, bytes));
    const __m512i start = _mm512_set1_epi32(static_cast<int>(first));
    __m512i places = _mm512_maskz_compress_epi8(found, units);
    std::uint32_t* end = offsets + count;
    count += static_cast<std::size_t>(std::popcount(static_cast<std::uint64_t>(found)));
    do {
      const __m512i sixteen = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(places));
      _mm512_storeu_si512(end, _mm512_add_epi32(start, sixteen));
      places = _mm512_shuffle_i64x2(places, places, _MM_SHUFFLE(0, 3, 2, 1));
      end += 16;
    } while (end < offsets + count);
  }
  return count;
}

#pragma GCC diagnostic pop

#endif

/// Code units from which a text is too large for the first cache levels.
constexpr int kLongText = (1 << 20) / sizeof(wchar_t);

/// Prefetches one memory page ahead; the hardware prefetcher stops at page boundaries. Prefetching
/// beyond the end of the text is harmless.
void PrefetchAhead(const wchar_t* text, std::size_t blocks) {
  constexpr std::uintptr_t kMemoryPage = 4096;
  constexpr std::uintptr_t kCacheLine = 64;
  const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(text) + kMemoryPage;
  const std::uintptr_t end = first + blocks * kDelimiterBlock * sizeof(wchar_t);
  for (std::uintptr_t line = first; line < end; line += kCacheLine) {
    __builtin_prefetch(reinterpret_cast<const void*>(line));
  }
}

}  // namespace

DelimiterScanner DelimiterScannerFor(CpuLevel level) {
  static constexpr LeveledKernel<DelimiterScanner> kScanners[] = {
    {CpuLevel::kPlain, FindDelimitersPlain},
#if defined(__x86_64__)
    {CpuLevel::kSse41, FindDelimitersSse41},
    {CpuLevel::kAvx2, FindDelimitersAvx2},
    {CpuLevel::kAvx512, FindDelimitersAvx512},
#endif
  };
  return KernelFor(level, kScanners);
}

DelimiterBatches::Batch DelimiterBatches::Next() {
  std::size_t count = 0;
  while (count == 0 && scanned_ < length_) {
    const auto first = static_cast<std::uint32_t>(scanned_);
    const auto left = static_cast<std::size_t>(length_ - scanned_);
    if (left >= kDelimiterBlock) {
      const std::size_t blocks = std::min(left / kDelimiterBlock, kBlocks);
      if (length_ >= kLongText) PrefetchAhead(text_ + scanned_, blocks);
      count = scan_(text_ + scanned_, blocks, first, offsets_);
      scanned_ += static_cast<int>(blocks * kDelimiterBlock);
    } else {
      wchar_t tail[kDelimiterBlock] = {};
      std::copy_n(text_ + scanned_, left, tail);
      count = scan_(tail, 1, first, offsets_);
      scanned_ = length_;
    }
    if (copy_ != nullptr) copy_->AdvanceTo(static_cast<std::size_t>(scanned_));
  }
  if (count == 0) {
    offsets_[0] = static_cast<std::uint32_t>(length_);
    count = 1;
  }
  return {offsets_, offsets_ + count};
}

}  // namespace orv
