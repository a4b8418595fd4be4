#include "base/utf8_blocks.h"

#include <array>
#include <bit>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace orv {
namespace {

void DecodeNothing(const char**, const char*, wchar_t**, const wchar_t*) {}
void EncodeNothing(const wchar_t**, const wchar_t*, char**, const char*) {}

#if defined(__x86_64__)

#define ORV_SSE41 __attribute__((target("sse4.1,popcnt")))

using Shuffle = std::array<std::uint8_t, 16>;

/// For each subset of eight two-byte lanes, the byte shuffle that moves them to the front.
constexpr auto kKeptLanes = [] {
  std::array<Shuffle, 256> shuffles{};
  for (unsigned kept = 0; kept < shuffles.size(); ++kept) {
    std::size_t at = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if ((kept >> lane & 1) == 0) continue;
      shuffles[kept][at++] = static_cast<std::uint8_t>(2 * lane);
      shuffles[kept][at++] = static_cast<std::uint8_t>(2 * lane + 1);
    }
  }
  return shuffles;
}();

/// For four four-byte lanes, the byte shuffle that drops the unused trailing bytes. Bit n of the
/// index means that lane n has a second byte, bit 4 + n that it has a third.
constexpr auto kUsedBytes = [] {
  std::array<Shuffle, 256> shuffles{};
  for (unsigned index = 0; index < shuffles.size(); ++index) {
    std::size_t at = 0;
    for (unsigned lane = 0; lane < 4; ++lane) {
      const unsigned size = 1 + (index >> lane & 1) + (index >> (4 + lane) & 1);
      for (unsigned i = 0; i < size; ++i) {
        shuffles[index][at++] = static_cast<std::uint8_t>(4 * lane + i);
      }
    }
  }
  return shuffles;
}();

ORV_SSE41 inline __m128i LoadShuffle(const Shuffle& shuffle) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(shuffle.data()));
}

/// A mask of the bytes that are at least `limit`.
ORV_SSE41 inline __m128i AtLeast(__m128i bytes, std::uint8_t limit) {
  return _mm_cmpeq_epi8(_mm_max_epu8(bytes, _mm_set1_epi8(static_cast<char>(limit))), bytes);
}

ORV_SSE41 inline unsigned Bits(__m128i set) {
  return static_cast<unsigned>(_mm_movemask_epi8(set));
}

/// The code units decoded at each of eight bytes, as if a sequence began there, and the errors
/// among the three-byte ones: overlong forms and surrogates.
struct Units {
  __m128i units;
  __m128i faults;
};

/// Takes eight bytes and the two that follow each, all widened to 16 bits.
ORV_SSE41 inline Units MakeUnits(__m128i first, __m128i second, __m128i third) {
  const __m128i six = _mm_set1_epi16(0x3F);
  const __m128i two = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(first, _mm_set1_epi16(0x1F)), 6),
                                   _mm_and_si128(second, six));
  const __m128i three = _mm_or_si128(_mm_slli_epi16(two, 6), _mm_and_si128(third, six));
  const __m128i isTwo = _mm_cmpgt_epi16(first, _mm_set1_epi16(0xBF));
  const __m128i isThree = _mm_cmpgt_epi16(first, _mm_set1_epi16(0xDF));
  const __m128i range = _mm_srli_epi16(three, 11);
  const __m128i isWrong = _mm_or_si128(_mm_cmpeq_epi16(range, _mm_setzero_si128()),
                                       _mm_cmpeq_epi16(range, _mm_set1_epi16(0xD800 >> 11)));
  return {_mm_blendv_epi8(_mm_blendv_epi8(first, two, isTwo), three, isThree),
          _mm_and_si128(isThree, isWrong)};
}

/// Writes the selected lanes, packed together; returns where the next unit goes.
ORV_SSE41 inline wchar_t* PutLanes(__m128i units, unsigned lanes, wchar_t* out) {
  const __m128i packed = _mm_shuffle_epi8(units, LoadShuffle(kKeptLanes[lanes]));
  auto* target = reinterpret_cast<__m128i*>(out);
  if constexpr (sizeof(wchar_t) == 2) {
    _mm_storeu_si128(target, packed);
  } else {
    _mm_storeu_si128(target, _mm_cvtepu16_epi32(packed));
    _mm_storeu_si128(target + 1, _mm_cvtepu16_epi32(_mm_srli_si128(packed, 8)));
  }
  return out + std::popcount(lanes);
}

/// Decodes sixteen bytes per step without a branch per sequence: a unit is computed for every byte,
/// and those of lead bytes are kept. Continuation bytes that fall into the next step are checked
/// there.
ORV_SSE41 void DecodeSse41(const char** at, const char* end, wchar_t** out, const wchar_t* full) {
  const char* next = *at;
  wchar_t* unit = *out;
  unsigned continued = 0;  // the step's leading bytes that must continue a sequence
  while (end - next >= kUtf8Block && unit <= full) {
    const auto* data = reinterpret_cast<const __m128i*>(next);
    const __m128i first = _mm_loadu_si128(data);
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(next + 1));
    const __m128i third = _mm_loadu_si128(reinterpret_cast<const __m128i*>(next + 2));
    const unsigned beyondAscii = Bits(first);
    if ((beyondAscii | continued) == 0 && Bits(_mm_loadu_si128(data + 1)) == 0) break;

    const unsigned leads = Bits(AtLeast(first, 0xC0));
    const unsigned leadsOfThree = Bits(AtLeast(first, 0xE0));
    const unsigned continuations = beyondAscii & ~leads;
    const unsigned expected = continued | leads << 1 | leadsOfThree << 2;
    const __m128i wrongLeads =
        _mm_or_si128(AtLeast(first, 0xF0),
                     _mm_cmpeq_epi8(_mm_and_si128(first, _mm_set1_epi8(static_cast<char>(0xFE))),
                                    _mm_set1_epi8(static_cast<char>(0xC0))));
    const __m128i zero = _mm_setzero_si128();
    const Units low = MakeUnits(_mm_unpacklo_epi8(first, zero), _mm_unpacklo_epi8(second, zero),
                                _mm_unpacklo_epi8(third, zero));
    const Units high = MakeUnits(_mm_unpackhi_epi8(first, zero), _mm_unpackhi_epi8(second, zero),
                                 _mm_unpackhi_epi8(third, zero));
    const __m128i faults = _mm_or_si128(wrongLeads, _mm_or_si128(low.faults, high.faults));
    if ((expected & 0xFFFF) != continuations || Bits(faults) != 0) break;
    continued = expected >> 16;
    const unsigned kept = ~continuations;
    unit = PutLanes(low.units, kept & 0xFF, unit);
    unit = PutLanes(high.units, kept >> 8 & 0xFF, unit);
    next += 16;
  }
  if (continued != 0) {
    // The last sequence may be incomplete.
    --unit;
    do {
      --next;
    } while ((*next & 0xC0) == 0x80);
  }
  *at = next;
  *out = unit;
}

/// Loads four units, one per 32-bit lane.
ORV_SSE41 inline __m128i LoadUnits(const wchar_t* text) {
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(text)));
  } else {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  }
}

ORV_SSE41 void EncodeSse41(const wchar_t** at, const wchar_t* end, char** out, const char* full) {
  const __m128i mark = _mm_set1_epi32(0x80);
  const __m128i six = _mm_set1_epi32(0x3F);
  const wchar_t* next = *at;
  char* byte = *out;
  while (end - next >= 4 && byte <= full) {
    const __m128i units = LoadUnits(next);
    const __m128i range = _mm_srli_epi32(units, 11);
    const __m128i isWrong = _mm_or_si128(_mm_cmpeq_epi32(range, _mm_set1_epi32(0xD800 >> 11)),
                                         _mm_cmpgt_epi32(range, _mm_set1_epi32(0xFFFF >> 11)));
    if (Bits(isWrong) != 0) break;
    const __m128i isTwo = _mm_cmpgt_epi32(units, _mm_set1_epi32(0x7F));
    const __m128i isThree = _mm_cmpgt_epi32(units, _mm_set1_epi32(0x7FF));
    const __m128i last = _mm_or_si128(mark, _mm_and_si128(units, six));
    const __m128i above = _mm_srli_epi32(units, 6);
    const __m128i two =
        _mm_or_si128(_mm_or_si128(_mm_set1_epi32(0xC0), above), _mm_slli_epi32(last, 8));
    const __m128i three =
        _mm_or_si128(_mm_or_si128(_mm_set1_epi32(0xE0), _mm_srli_epi32(units, 12)),
                     _mm_or_si128(_mm_slli_epi32(_mm_or_si128(mark, _mm_and_si128(above, six)), 8),
                                  _mm_slli_epi32(last, 16)));
    const __m128i lanes = _mm_blendv_epi8(_mm_blendv_epi8(units, two, isTwo), three, isThree);
    const auto used = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(isTwo)) |
                                            _mm_movemask_ps(_mm_castsi128_ps(isThree)) << 4);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(byte),
                     _mm_shuffle_epi8(lanes, LoadShuffle(kUsedBytes[used])));
    byte += 4 + std::popcount(used);
    next += 4;
  }
  *at = next;
  *out = byte;
}

#endif

}  // namespace

Utf8BlockDecoder Utf8BlockDecoderFor(CpuLevel level) {
  static constexpr LeveledKernel<Utf8BlockDecoder> kKernels[] = {
    {CpuLevel::kPlain, DecodeNothing},
#if defined(__x86_64__)
    {CpuLevel::kSse41, DecodeSse41},
#endif
  };
  return KernelFor(level, kKernels);
}

Utf8BlockEncoder Utf8BlockEncoderFor(CpuLevel level) {
  static constexpr LeveledKernel<Utf8BlockEncoder> kKernels[] = {
    {CpuLevel::kPlain, EncodeNothing},
#if defined(__x86_64__)
    {CpuLevel::kSse41, EncodeSse41},
#endif
  };
  return KernelFor(level, kKernels);
}

}  // namespace orv
