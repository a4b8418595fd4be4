#include "orv/text/utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace orv {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// What may follow a lead byte: the number of continuation bytes, and the range of the first of
/// them, which excludes overlong forms, surrogates and code points above U+10FFFF (the Unicode
/// Standard, table 3-7). A length of 0 marks a byte that leads nothing.
struct Lead {
  std::uint8_t first;
  std::uint8_t last;
  std::uint8_t length;
  std::uint8_t low;
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

/// Collects converted units in a buffer that stays in the processor's cache and appends them in
/// runs: each unit of the result is written to memory once, without being zeroed before.
template <typename Unit>
class RunWriter {
 public:
  static constexpr std::size_t kRun = 4096;

  explicit RunWriter(std::basic_string<Unit>* target) : target_(target) {}

  /// Room for `count` units (no more than `kRun`); `Advance` takes what was filled.
  Unit* Reserve(std::size_t count) {
    if (kRun - used_ < count) Flush();
    return run_ + used_;
  }
  void Advance(std::size_t count) { used_ += count; }
  /// Appends what is still in the buffer; the last call of every conversion.
  void Flush() {
    target_->append(run_, used_);
    used_ = 0;
  }

 private:
  std::basic_string<Unit>* target_;
  std::size_t used_ = 0;
  Unit run_[kRun];
};

constexpr std::size_t kAsciiBlock = 32;

bool IsAscii(const char* block) {
  std::uint64_t words[kAsciiBlock / 8];
  std::memcpy(words, block, kAsciiBlock);
  return ((words[0] | words[1] | words[2] | words[3]) & 0x8080808080808080u) == 0;
}

bool IsAscii(const wchar_t* block) {
  // Summing the bits keeps the loop free of branches, so that it is done in vectors.
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < kAsciiBlock; ++i) bits |= static_cast<std::uint32_t>(block[i]);
  return bits < 0x80;
}

/// Copies whole blocks of ASCII, the common case, as long as they last; returns where they end.
template <typename Source, typename Unit>
const Source* CopyAscii(const Source* at, const Source* end, RunWriter<Unit>* writer) {
  while (static_cast<std::size_t>(end - at) >= kAsciiBlock && IsAscii(at)) {
    Unit* target = writer->Reserve(kAsciiBlock);
    for (std::size_t i = 0; i < kAsciiBlock; ++i) target[i] = static_cast<Unit>(at[i]);
    writer->Advance(kAsciiBlock);
    at += kAsciiBlock;
  }
  return at;
}

/// The character of more than one byte, or the maximal ill-formed piece, that begins at `start`.
inline Utf8Character DecodeMultiByte(const char* start, const char* end) {
  const auto byte = static_cast<std::uint8_t>(*start);
  const Lead& lead = kLeadOf[byte];
  // The bits of the lead byte below its length marker.
  char32_t code = byte & (0x3Fu >> lead.length);
  std::uint8_t low = lead.low;
  std::uint8_t high = lead.high;
  const char* at = start + 1;
  for (unsigned missing = lead.length; missing > 0; --missing, ++at) {
    const auto next = at != end ? static_cast<std::uint8_t>(*at) : std::uint8_t{0};
    if (next < low || next > high) return {kReplacement, static_cast<std::size_t>(at - start)};
    code = (code << 6) | (next & 0x3Fu);
    low = 0x80;
    high = 0xBF;
  }
  if (lead.length == 0) code = kReplacement;
  return {code, static_cast<std::size_t>(at - start)};
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
  RunWriter<wchar_t> writer(&text);
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  while (at != end) {
    at = CopyAscii(at, end, &writer);
    // One block character by character before the next look for plain blocks.
    wchar_t* const start = writer.Reserve(2 * kAsciiBlock);
    wchar_t* out = start;
    for (std::size_t n = 0; n < kAsciiBlock && at != end; ++n) {
      const auto byte = static_cast<std::uint8_t>(*at);
      if (byte < 0x80) {
        *out++ = static_cast<wchar_t>(byte);
        ++at;
        continue;
      }
      const Utf8Character character = DecodeMultiByte(at, end);
      at += character.length;
      if (character.code < 0x10000) {
        *out++ = static_cast<wchar_t>(character.code);
      } else {
        *out++ = static_cast<wchar_t>(0xD800 + ((character.code - 0x10000) >> 10));
        *out++ = static_cast<wchar_t>(0xDC00 + ((character.code - 0x10000) & 0x3FF));
      }
    }
    writer.Advance(static_cast<std::size_t>(out - start));
  }
  writer.Flush();
  return text;
}

std::string WideToUtf8(std::wstring_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  RunWriter<char> writer(&bytes);
  const wchar_t* at = text.data();
  const wchar_t* const end = at + text.size();
  while (at != end) {
    at = CopyAscii(at, end, &writer);
    char* const start = writer.Reserve(4 * kAsciiBlock);
    char* out = start;
    const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(byte); };
    for (std::size_t n = 0; n < kAsciiBlock && at != end; ++n) {
      auto code = static_cast<char32_t>(*at++);
      if (code < 0x80) {
        put(code);
        continue;
      }
      if (code >= 0xD800 && code < 0xDC00 && at != end && *at >= 0xDC00 && *at < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<char32_t>(*at++) - 0xDC00);
      } else if ((code >= 0xD800 && code < 0xE000) || code > 0xFFFF) {
        code = kReplacement;  // an unpaired surrogate, or no unit at all
      }
      if (code < 0x800) {
        put(0xC0 | (code >> 6));
      } else {
        if (code < 0x10000) {
          put(0xE0 | (code >> 12));
        } else {
          put(0xF0 | (code >> 18));
          put(0x80 | ((code >> 12) & 0x3F));
        }
        put(0x80 | ((code >> 6) & 0x3F));
      }
      put(0x80 | (code & 0x3F));
    }
    writer.Advance(static_cast<std::size_t>(out - start));
  }
  writer.Flush();
  return bytes;
}

}  // namespace orv
