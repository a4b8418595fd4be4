#pragma once

/// SIMD vectors under one name for both instruction sets, for files that are compiled once for
/// each. A vector has one half of 128 bits (SSE4.1) or two (AVX2). Shuffles, packs and unpacks work
/// within halves, so a loop written for one half processes both halves with AVX2. Where a
/// function takes two addresses, the second one belongs to the second half; SSE4.1 ignores it.

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace orv {
namespace {

using Half = __m128i;

inline Half LoadHalf(const void* from) { return _mm_loadu_si128(static_cast<const Half*>(from)); }
inline void StoreHalf(void* to, Half value) { _mm_storeu_si128(static_cast<Half*>(to), value); }

/// Prefetches what a loop reads one kilobyte later; the address may be outside the pixels.
inline void PrefetchAhead(const void* from) {
  const auto ahead = reinterpret_cast<std::uintptr_t>(from) + 1024;
  _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_T0);
}

#if defined(__AVX2__)

using Vec = __m256i;
using VecFloat = __m256;
constexpr int kHalves = 2;

inline Vec Load(const void* first, const void* second) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(first)), LoadHalf(second), 1);
}
inline Vec LoadAll(const void* from) { return _mm256_loadu_si256(static_cast<const Vec*>(from)); }
inline void StoreAll(void* to, Vec value) { _mm256_storeu_si256(static_cast<Vec*>(to), value); }
inline void Store(void* first, void* second, Vec value) {
  StoreHalf(first, _mm256_castsi256_si128(value));
  StoreHalf(second, _mm256_extracti128_si256(value, 1));
}
inline Vec Both(Half half) { return _mm256_broadcastsi128_si256(half); }
inline Half LastHalf(Vec value) { return _mm256_extracti128_si256(value, 1); }

inline Vec Zero() { return _mm256_setzero_si256(); }
inline Vec Set8(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
inline Vec Set16(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
inline Vec Set32(int value) { return _mm256_set1_epi32(value); }

inline Vec And(Vec a, Vec b) { return _mm256_and_si256(a, b); }
inline Vec AndNot(Vec a, Vec b) { return _mm256_andnot_si256(a, b); }
inline Vec Or(Vec a, Vec b) { return _mm256_or_si256(a, b); }
inline Vec Shuffle(Vec value, Vec indexes) { return _mm256_shuffle_epi8(value, indexes); }
inline Vec SubSaturated8(Vec a, Vec b) { return _mm256_subs_epu8(a, b); }
inline Vec Equal8(Vec a, Vec b) { return _mm256_cmpeq_epi8(a, b); }
inline Vec Greater8(Vec a, Vec b) { return _mm256_cmpgt_epi8(a, b); }
inline std::uint32_t SignBits8(Vec v) {
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(v));
}
constexpr std::uint32_t kAllSignBits8 = 0xFFFFFFFF;

inline Vec Add16(Vec a, Vec b) { return _mm256_add_epi16(a, b); }
inline Vec Sub16(Vec a, Vec b) { return _mm256_sub_epi16(a, b); }
inline Vec Min16(Vec a, Vec b) { return _mm256_min_epi16(a, b); }
inline Vec Mul16(Vec a, Vec b) { return _mm256_mullo_epi16(a, b); }
inline Vec MulHigh16(Vec a, Vec b) { return _mm256_mulhi_epu16(a, b); }
inline Vec Equal16(Vec a, Vec b) { return _mm256_cmpeq_epi16(a, b); }
inline Vec Greater16(Vec a, Vec b) { return _mm256_cmpgt_epi16(a, b); }
template <int n>
Vec ShiftLeft16(Vec v) {
  return _mm256_slli_epi16(v, n);
}
template <int n>
Vec ShiftRight16(Vec v) {
  return _mm256_srli_epi16(v, n);
}
template <int n>
Vec ShiftArithmetic16(Vec v) {
  return _mm256_srai_epi16(v, n);
}
inline Vec UnpackLow16(Vec a, Vec b) { return _mm256_unpacklo_epi16(a, b); }
inline Vec UnpackHigh16(Vec a, Vec b) { return _mm256_unpackhi_epi16(a, b); }
inline Vec UnpackLow32(Vec a, Vec b) { return _mm256_unpacklo_epi32(a, b); }
inline Vec UnpackHigh32(Vec a, Vec b) { return _mm256_unpackhi_epi32(a, b); }
inline Vec UnpackLow64(Vec a, Vec b) { return _mm256_unpacklo_epi64(a, b); }
inline Vec UnpackHigh64(Vec a, Vec b) { return _mm256_unpackhi_epi64(a, b); }

/// Moves every 16-bit lane up by one; the last lane of `below` becomes the first.
inline Vec ShiftLanesUp(Vec value, Vec below) {
  return _mm256_alignr_epi8(value, _mm256_permute2x128_si256(below, value, 0x21), 14);
}
inline Vec ShiftLanesUp(Vec value, Half below) {
  const Vec lower =
      _mm256_inserti128_si256(_mm256_castsi128_si256(below), _mm256_castsi256_si128(value), 1);
  return _mm256_alignr_epi8(value, lower, 14);
}

inline Vec Add32(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
inline Vec Sub32(Vec a, Vec b) { return _mm256_sub_epi32(a, b); }
inline Vec Mul32(Vec a, Vec b) { return _mm256_mullo_epi32(a, b); }
inline Vec Equal32(Vec a, Vec b) { return _mm256_cmpeq_epi32(a, b); }
inline Vec MulAddPairs(Vec a, Vec b) { return _mm256_madd_epi16(a, b); }
inline Vec Pack32(Vec a, Vec b) { return _mm256_packus_epi32(a, b); }
inline Vec PackSigned32(Vec a, Vec b) { return _mm256_packs_epi32(a, b); }
inline Vec PackSigned16(Vec a, Vec b) { return _mm256_packs_epi16(a, b); }
template <int n>
Vec ShiftRight32(Vec v) {
  return _mm256_srli_epi32(v, n);
}
inline std::uint32_t SignBits32(Vec v) {
  return static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(v)));
}

inline VecFloat SetFloat(float value) { return _mm256_set1_ps(value); }
inline VecFloat AddF(VecFloat a, VecFloat b) { return _mm256_add_ps(a, b); }
inline VecFloat SubF(VecFloat a, VecFloat b) { return _mm256_sub_ps(a, b); }
inline VecFloat MulF(VecFloat a, VecFloat b) { return _mm256_mul_ps(a, b); }
inline VecFloat MaxF(VecFloat a, VecFloat b) { return _mm256_max_ps(a, b); }
inline Vec LessF(VecFloat a, VecFloat b) {
  return _mm256_castps_si256(_mm256_cmp_ps(a, b, _CMP_LT_OQ));
}
inline VecFloat ToFloat(Vec v) { return _mm256_cvtepi32_ps(v); }
inline Vec Truncate(VecFloat v) { return _mm256_cvttps_epi32(v); }
inline VecFloat AsFloat(Vec v) { return _mm256_castsi256_ps(v); }
inline Vec AsBits(VecFloat v) { return _mm256_castps_si256(v); }
inline VecFloat LookUp(const float* table, Vec indexes) {
  return _mm256_i32gather_ps(table, indexes, 4);
}

#else

using Vec = Half;
using VecFloat = __m128;
constexpr int kHalves = 1;

inline Vec Load(const void* first, const void*) { return LoadHalf(first); }
inline Vec LoadAll(const void* from) { return LoadHalf(from); }
inline void StoreAll(void* to, Vec value) { StoreHalf(to, value); }
inline void Store(void* first, void*, Vec value) { StoreHalf(first, value); }
inline Vec Both(Half half) { return half; }
inline Half LastHalf(Vec value) { return value; }

inline Vec Zero() { return _mm_setzero_si128(); }
inline Vec Set8(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
inline Vec Set16(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
inline Vec Set32(int value) { return _mm_set1_epi32(value); }

inline Vec And(Vec a, Vec b) { return _mm_and_si128(a, b); }
inline Vec AndNot(Vec a, Vec b) { return _mm_andnot_si128(a, b); }
inline Vec Or(Vec a, Vec b) { return _mm_or_si128(a, b); }
inline Vec Shuffle(Vec value, Vec indexes) { return _mm_shuffle_epi8(value, indexes); }
inline Vec SubSaturated8(Vec a, Vec b) { return _mm_subs_epu8(a, b); }
inline Vec Equal8(Vec a, Vec b) { return _mm_cmpeq_epi8(a, b); }
inline Vec Greater8(Vec a, Vec b) { return _mm_cmpgt_epi8(a, b); }
inline std::uint32_t SignBits8(Vec v) { return static_cast<std::uint32_t>(_mm_movemask_epi8(v)); }
constexpr std::uint32_t kAllSignBits8 = 0xFFFF;

inline Vec Add16(Vec a, Vec b) { return _mm_add_epi16(a, b); }
inline Vec Sub16(Vec a, Vec b) { return _mm_sub_epi16(a, b); }
inline Vec Min16(Vec a, Vec b) { return _mm_min_epi16(a, b); }
inline Vec Mul16(Vec a, Vec b) { return _mm_mullo_epi16(a, b); }
inline Vec MulHigh16(Vec a, Vec b) { return _mm_mulhi_epu16(a, b); }
inline Vec Equal16(Vec a, Vec b) { return _mm_cmpeq_epi16(a, b); }
inline Vec Greater16(Vec a, Vec b) { return _mm_cmpgt_epi16(a, b); }
template <int n>
Vec ShiftLeft16(Vec v) {
  return _mm_slli_epi16(v, n);
}
template <int n>
Vec ShiftRight16(Vec v) {
  return _mm_srli_epi16(v, n);
}
template <int n>
Vec ShiftArithmetic16(Vec v) {
  return _mm_srai_epi16(v, n);
}
inline Vec UnpackLow16(Vec a, Vec b) { return _mm_unpacklo_epi16(a, b); }
inline Vec UnpackHigh16(Vec a, Vec b) { return _mm_unpackhi_epi16(a, b); }
inline Vec UnpackLow32(Vec a, Vec b) { return _mm_unpacklo_epi32(a, b); }
inline Vec UnpackHigh32(Vec a, Vec b) { return _mm_unpackhi_epi32(a, b); }
inline Vec UnpackLow64(Vec a, Vec b) { return _mm_unpacklo_epi64(a, b); }
inline Vec UnpackHigh64(Vec a, Vec b) { return _mm_unpackhi_epi64(a, b); }
inline Vec ShiftLanesUp(Vec value, Half below) { return _mm_alignr_epi8(value, below, 14); }

inline Vec Add32(Vec a, Vec b) { return _mm_add_epi32(a, b); }
inline Vec Sub32(Vec a, Vec b) { return _mm_sub_epi32(a, b); }
inline Vec Mul32(Vec a, Vec b) { return _mm_mullo_epi32(a, b); }
inline Vec Equal32(Vec a, Vec b) { return _mm_cmpeq_epi32(a, b); }
inline Vec MulAddPairs(Vec a, Vec b) { return _mm_madd_epi16(a, b); }
inline Vec Pack32(Vec a, Vec b) { return _mm_packus_epi32(a, b); }
inline Vec PackSigned32(Vec a, Vec b) { return _mm_packs_epi32(a, b); }
inline Vec PackSigned16(Vec a, Vec b) { return _mm_packs_epi16(a, b); }
template <int n>
Vec ShiftRight32(Vec v) {
  return _mm_srli_epi32(v, n);
}
inline std::uint32_t SignBits32(Vec v) {
  return static_cast<std::uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(v)));
}

inline VecFloat SetFloat(float value) { return _mm_set1_ps(value); }
inline VecFloat AddF(VecFloat a, VecFloat b) { return _mm_add_ps(a, b); }
inline VecFloat SubF(VecFloat a, VecFloat b) { return _mm_sub_ps(a, b); }
inline VecFloat MulF(VecFloat a, VecFloat b) { return _mm_mul_ps(a, b); }
inline VecFloat MaxF(VecFloat a, VecFloat b) { return _mm_max_ps(a, b); }
inline Vec LessF(VecFloat a, VecFloat b) { return _mm_castps_si128(_mm_cmplt_ps(a, b)); }
inline VecFloat ToFloat(Vec v) { return _mm_cvtepi32_ps(v); }
inline Vec Truncate(VecFloat v) { return _mm_cvttps_epi32(v); }
inline VecFloat AsFloat(Vec v) { return _mm_castsi128_ps(v); }
inline Vec AsBits(VecFloat v) { return _mm_castps_si128(v); }
inline VecFloat LookUp(const float* table, Vec indexes) {
  return _mm_setr_ps(table[_mm_extract_epi32(indexes, 0)], table[_mm_extract_epi32(indexes, 1)],
                     table[_mm_extract_epi32(indexes, 2)], table[_mm_extract_epi32(indexes, 3)]);
}

#endif

/// Hides a constant from the optimizer, so that multiplying by it remains one instruction.
inline Vec Opaque(Vec constant) {
  asm("" : "+x"(constant));
  return constant;
}

/// Shuffle indexes for both halves; -1 yields a zero byte.
inline Vec Indexes(int i0, int i1, int i2, int i3, int i4, int i5, int i6, int i7, int i8, int i9,
                   int i10, int i11, int i12, int i13, int i14, int i15) {
  const auto c = [](int i) { return static_cast<char>(i); };
  return Both(_mm_setr_epi8(c(i0), c(i1), c(i2), c(i3), c(i4), c(i5), c(i6), c(i7), c(i8), c(i9),
                            c(i10), c(i11), c(i12), c(i13), c(i14), c(i15)));
}

}  // namespace
}  // namespace orv
