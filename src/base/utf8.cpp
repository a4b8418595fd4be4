#include "base/utf8.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/block_size.h"
#include "base/cpu.h"
#include "base/narrow.h"
#include "base/utf8_blocks.h"
#include "orv/text/utf8.h"

namespace orv {
namespace {

/// What may follow the lead bytes of a range. The limits of the first continuation byte exclude
/// overlong forms, surrogates and code points above U+10FFFF (the Unicode Standard, table 3-7).
struct Lead {
  std::uint8_t first;  ///< the first lead byte of the range
  std::uint8_t last;
  std::uint8_t length;  ///< continuation bytes; 0 for a byte that is not a lead byte
  std::uint8_t low;     ///< the limits of the first continuation byte
  std::uint8_t high;
};
constexpr Lead kLeads[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};
constexpr auto kLeadOf = [] {
  std::array<Lead, 256> table{};
  for (const Lead& lead : kLeads) {
    for (unsigned byte = lead.first; byte <= lead.last; ++byte) table[byte] = lead;
  }
  return table;
}();

// Text is converted into a buffer that stays in the processor's cache and appended in runs, so no
// code unit of the result is written past its end or zeroed first. A run is full before the end of
// the buffer, so that a step needs no check of its own.

/// The part of the buffer after a full run. No step writes more.
constexpr std::size_t kRoom = 100;
constexpr std::size_t kRunBuffer = BlockSize<std::size_t>(4096, kRoom + 8);

/// Units that are checked and copied at once.
constexpr std::ptrdiff_t kAsciiBlock = 32;
/// Units that are encoded one by one before the next check for a block.
constexpr std::ptrdiff_t kFewUnits = 24;
/// At most three bytes for a unit, and four for a surrogate pair that ends outside the few.
static_assert(3 * kFewUnits + 4 <= kRoom);

/// The bits that are clear in every ASCII byte.
constexpr std::uint64_t kNotAscii = 0x8080808080808080;

bool IsAscii(const char* block) {
  std::uint64_t words[4];
  static_assert(sizeof(words) == kAsciiBlock);
  std::memcpy(words, block, kAsciiBlock);
  return ((words[0] | words[1] | words[2] | words[3]) & kNotAscii) == 0;
}

/// Converts units to another width, one by one.
template <std::size_t kCount, typename Source, typename Unit>
inline void CopyUnits(const Source* __restrict source, Unit* __restrict target) {
  using Value = std::make_unsigned_t<Source>;
  for (std::size_t i = 0; i < kCount; ++i) {
    target[i] = static_cast<Unit>(static_cast<Value>(source[i]));
  }
}

/// Writes a block of units as bytes. Returns false unless all are ASCII; the bytes are then
/// undefined.
inline bool CopyAscii(const wchar_t* block, char* target) {
#if defined(__SSE2__)
  const auto* units = reinterpret_cast<const __m128i*>(block);
  constexpr std::size_t kLoads = kAsciiBlock * sizeof(wchar_t) / sizeof(__m128i);
  __m128i bits = _mm_setzero_si128();
  for (std::size_t i = 0; i < kLoads; ++i) bits = _mm_or_si128(bits, _mm_loadu_si128(units + i));
  auto* bytes = reinterpret_cast<__m128i*>(target);
  _mm_storeu_si128(bytes, NarrowUnits(block));
  _mm_storeu_si128(bytes + 1, NarrowUnits(block + 16));
  const __m128i beyond = sizeof(wchar_t) == 2 ? _mm_set1_epi16(~0x7F) : _mm_set1_epi32(~0x7F);
  const __m128i isAscii = _mm_cmpeq_epi8(_mm_and_si128(bits, beyond), _mm_setzero_si128());
  return _mm_movemask_epi8(isAscii) == 0xFFFF;
#else
  // Collecting the bits first keeps the loop free of branches, so that the compiler can vectorize
  // it.
  std::uint32_t bits = 0;
  for (std::ptrdiff_t i = 0; i < kAsciiBlock; ++i) bits |= static_cast<std::uint32_t>(block[i]);
  CopyUnits<kAsciiBlock>(block, target);
  return bits < 0x80;
#endif
}

/// Decodes the multi-byte sequence at `start`, or the maximal ill-formed subsequence there.
inline Utf8Character DecodeMultiByte(const char* start, const char* end) {
  const auto byte = static_cast<std::uint8_t>(*start);
  const Lead& lead = kLeadOf[byte];
  // The bits of the lead byte below its length marker.
  char32_t code = byte & (0x3Fu >> lead.length);
  std::uint8_t low = lead.low;
  std::uint8_t high = lead.high;
  const char* at = start + 1;
  for (unsigned remaining = lead.length; remaining > 0; --remaining, ++at) {
    const auto next = at != end ? static_cast<std::uint8_t>(*at) : std::uint8_t{0};
    if (next < low || next > high) return {kReplacement, static_cast<std::size_t>(at - start)};
    code = (code << 6) | (next & 0x3Fu);
    low = 0x80;
    high = 0xBF;
  }
  if (lead.length == 0) code = kReplacement;
  return {code, static_cast<std::size_t>(at - start)};
}

/// Writes a code point as one or two code units; returns where the next one goes.
inline wchar_t* PutWide(char32_t code, wchar_t* out) {
  if (code < 0x10000) {
    *out++ = static_cast<wchar_t>(code);
  } else {
    *out++ = static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
    *out++ = static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
  }
  return out;
}

/// Converts consecutive non-ASCII sequences from `*at` on, up to `end` or a full run; returns where
/// the next code unit goes.
inline wchar_t* DecodeNonAscii(const char** at, const char* end, wchar_t* out,
                               const wchar_t* full) {
  const char* next = *at;
  do {
    // Recognises a well-formed sequence of two, three or four bytes by the marker bits of all its
    // bytes at once; the first byte is the lowest. `DecodeMultiByte` handles all others.
    if (end - next >= 4) {
      std::uint32_t four;
      std::memcpy(&four, next, 4);
      if ((four & 0xC0E0) == 0x80C0 && (four & 0x1E) != 0) {
        *out++ = static_cast<wchar_t>((four & 0x1F) << 6 | (four >> 8 & 0x3F));
        next += 2;
        continue;
      }
      if ((four & 0xC0C0F0) == 0x8080E0) {
        const char32_t code = (four & 0x0F) << 12 | (four >> 2 & 0xFC0) | (four >> 16 & 0x3F);
        if (code >= 0x800 && (code < 0xD800 || code >= 0xE000)) {
          *out++ = static_cast<wchar_t>(code);
          next += 3;
          continue;
        }
      }
      if ((four & 0xC0C0C0F8) == 0x808080F0) {
        const char32_t code = (four & 0x07) << 18 | (four << 4 & 0x3F000) | (four >> 10 & 0xFC0) |
                              (four >> 24 & 0x3F);
        if (code >= 0x10000 && code <= 0x10FFFF) {
          out = PutWide(code, out);
          next += 4;
          continue;
        }
      }
    }
    const Utf8Character character = DecodeMultiByte(next, end);
    next += character.length;
    out = PutWide(character.code, out);
  } while (next != end && static_cast<std::uint8_t>(*next) >= 0x80 && out < full);
  *at = next;
  return out;
}

/// Passes the decoded text to `take` in runs.
template <typename Take>
void DecodeRuns(std::string_view bytes, Take take) {
  static_assert(std::endian::native == std::endian::little);
  const Utf8BlockDecoder decodeBlocks = Utf8BlockDecoderFor(ActiveCpuLevel());
  wchar_t run[kRunBuffer];
  const wchar_t* const full = run + kRunBuffer - kRoom;
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  while (at != end) {
    wchar_t* out = run;
    while (at != end && out <= full) {
      // Copies 16 bytes and keeps the leading ASCII ones.
      if (end - at >= 16) {
        std::uint64_t words[2];
        std::memcpy(words, at, 16);
        CopyUnits<16>(at, out);
        const std::uint64_t low = words[0] & kNotAscii;
        const std::uint64_t high = words[1] & kNotAscii;
        const int ascii = low != 0 ? std::countr_zero(low) / 8 : 8 + std::countr_zero(high) / 8;
        at += ascii;
        out += ascii;
        if (ascii == 16) {
          while (end - at >= kAsciiBlock && out <= full && IsAscii(at)) {
            CopyUnits<kAsciiBlock>(at, out);
            at += kAsciiBlock;
            out += kAsciiBlock;
          }
          continue;
        }
      } else if (static_cast<std::uint8_t>(*at) < 0x80) {
        *out++ = static_cast<wchar_t>(*at++);
        continue;
      }
      decodeBlocks(&at, end, &out, full);
      // What the block decoder leaves: rare sequences and the end of the text.
      if (at != end && static_cast<std::uint8_t>(*at) >= 0x80 && out <= full) {
        out = DecodeNonAscii(&at, end, out, full);
      }
    }
    take(run, static_cast<std::size_t>(out - run));
  }
}

/// Encodes the code point at `*at` and advances past it; returns where the next byte goes. An
/// unpaired surrogate and a value that is not a UTF-16 code unit become U+FFFD.
inline char* PutUtf8(const wchar_t** at, const wchar_t* end, char* out) {
  auto code = static_cast<char32_t>(*(*at)++);
  if (code < 0x80) {
    *out++ = static_cast<char>(code);
  } else if (code < 0x800) {
    *out++ = static_cast<char>(0xC0 | code >> 6);
    *out++ = static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0xD800 || code - 0xE000 < 0x2000) {
    *out++ = static_cast<char>(0xE0 | code >> 12);
    *out++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
    *out++ = static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0xDC00 && *at != end && **at >= 0xDC00 && **at < 0xE000) {
    code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<char32_t>(*(*at)++) - 0xDC00);
    *out++ = static_cast<char>(0xF0 | code >> 18);
    *out++ = static_cast<char>(0x80 | (code >> 12 & 0x3F));
    *out++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
    *out++ = static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out = std::ranges::copy(kReplacementUtf8, out).out;
  }
  return out;
}

/// Passes the UTF-8 of a text to `take` in runs; no run ends within a code point.
template <typename Take>
void EncodeRuns(std::wstring_view text, Take take) {
  const Utf8BlockEncoder encodeBlocks = Utf8BlockEncoderFor(ActiveCpuLevel());
  char run[kRunBuffer];
  const char* const full = run + kRunBuffer - kRoom;
  const wchar_t* at = text.data();
  const wchar_t* const end = at + text.size();
  while (at != end) {
    char* out = run;
    while (at != end && out <= full) {
      if (end - at >= kAsciiBlock && CopyAscii(at, out)) {
        at += kAsciiBlock;
        out += kAsciiBlock;
        continue;
      }
      const char* const before = out;
      encodeBlocks(&at, end, &out, full);
      if (out != before) continue;
      const wchar_t* const few = at + std::min(kFewUnits, end - at);
      while (at < few) out = PutUtf8(&at, end, out);
    }
    take(run, static_cast<std::size_t>(out - run));
  }
}

}  // namespace

Utf8Character DecodeUtf8Character(std::string_view bytes) {
  const auto first = static_cast<std::uint8_t>(bytes[0]);
  if (first < 0x80) return {first, 1};
  return DecodeMultiByte(bytes.data(), bytes.data() + bytes.size());
}

std::wstring Utf8ToWide(std::string_view bytes) {
  std::wstring text;
  text.reserve(bytes.size());
  DecodeRuns(bytes, [&text](const wchar_t* run, std::size_t count) { text.append(run, count); });
  return text;
}

std::size_t Utf8ToWide(std::string_view bytes, wchar_t* target) {
  std::size_t total = 0;
  DecodeRuns(bytes, [&](const wchar_t* run, std::size_t count) {
    if (target != nullptr) std::copy_n(run, count, target + total);
    total += count;
  });
  return total;
}

std::string WideToUtf8(std::wstring_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  AppendUtf8(text, &bytes);
  return bytes;
}

void AppendUtf8(std::wstring_view text, std::string* bytes) {
  EncodeRuns(text, [bytes](const char* run, std::size_t count) { bytes->append(run, count); });
}

std::size_t WideToUtf8(std::wstring_view text, char* target, std::size_t room) {
  std::size_t total = 0;
  bool isCut = false;
  EncodeRuns(text, [&](const char* run, std::size_t count) {
    if (isCut) return;
    if (target != nullptr) {
      if (count > room - total) {
        isCut = true;
        count = room - total;
        // Never cut within a code point.
        while (count > 0 && (run[count] & 0xC0) == 0x80) --count;
      }
      std::copy_n(run, count, target + total);
    }
    total += count;
  });
  return total;
}

std::string ToUtf8(std::wstring_view text) { return WideToUtf8(text); }
std::wstring FromUtf8(std::string_view bytes) { return Utf8ToWide(bytes); }

}  // namespace orv
