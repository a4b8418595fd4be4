#include <algorithm>
#include <array>
#include <cstdint>

#include "xml/characters.h"

namespace orv {
namespace {

constexpr wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// A line has 64 characters, four for each group of three bytes.
constexpr std::size_t kGroupsInLine = 16;

/// The two characters for every twelve bits.
constexpr auto kPairs = [] {
  std::array<std::array<wchar_t, 2>, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  return pairs;
}();

const std::array<wchar_t, 2>& PairFor(int bits) { return kPairs.data()[bits]; }

/// The value of each character below 128. Kept for compatibility: characters outside the alphabet
/// are accepted. They have the value 0; those above `z` continue its sequence.
constexpr auto kValues = [] {
  std::array<std::uint8_t, 128> values{};
  for (std::size_t c = 0; c < values.size(); ++c) {
    std::size_t value = 0;
    if (c >= 'a') {
      value = c - 71;
    } else if (c >= 'A' && c <= 'Z') {
      value = c - 65;
    } else if (c >= '0' && c <= '9') {
      value = c + 4;
    } else if (c == '/') {
      value = 63;
    } else if (c == '+') {
      value = 62;
    }
    values[c] = static_cast<std::uint8_t>(value);
  }
  return values;
}();

/// Marks line breaks and padding, which are not six bits of data.
constexpr std::uint32_t kNotPlain = 1u << 31;

/// The value of each character below 128, shifted for each of the four positions in a group.
constexpr auto kShifted = [] {
  std::array<std::array<std::uint32_t, 128>, 4> shifted{};
  for (std::size_t position = 0; position < shifted.size(); ++position) {
    for (std::size_t c = 0; c < kValues.size(); ++c) {
      shifted[position][c] = (kValues[c] & 63u) << (18 - 6 * position);
    }
    auto& values = shifted[position];
    values['\r'] = values['\n'] = values['='] = kNotPlain;
  }
  return shifted;
}();

/// Decodes Base64 text into a buffer.
class Decoder {
 public:
  Decoder(std::wstring_view text, unsigned char* buffer, int size)
      : at_(text.data()), end_(at_ + text.size()), buffer_(buffer), size_(size) {}

  /// Decodes all the text, or as much as the buffer takes. Returns the number of bytes.
  int Run() {
    while (at_ != end_) {
      if (inGroup_ == 0 && padding_ == 0) DecodeWholeGroups();
      if (at_ == end_ || !DecodeCharacter(*at_++)) break;
    }
    return written_;
  }

 private:
  void Put(std::uint32_t group, int bytes) {
    for (int i = 0; i < bytes; ++i) {
      buffer_[written_++] = static_cast<unsigned char>(group >> (16 - 8 * i));
    }
  }

  /// Nearly all text is groups of four characters of the alphabet.
  void DecodeWholeGroups() {
    for (; end_ - at_ >= 4 && size_ - written_ >= 3; at_ += 4) {
      const auto any = static_cast<std::uint32_t>(at_[0] | at_[1] | at_[2] | at_[3]);
      if (any >= 128) return;
      const auto bits = [this](std::size_t i) { return kShifted[i].data()[at_[i]]; };
      const std::uint32_t group = bits(0) | bits(1) | bits(2) | bits(3);
      if ((group & kNotPlain) != 0) return;
      Put(group, 3);
    }
  }

  /// False if the buffer has no room for the group that this character completes.
  bool DecodeCharacter(wchar_t unit) {
    if (unit == L'\r' || unit == L'\n') return true;
    const auto code = static_cast<char32_t>(unit);
    std::uint32_t value = code < 128 ? kValues[code] : code - 71;
    if (unit == L'=') {
      value = 0;
      ++padding_;
    }
    bits_ = bits_ << 6 | (value & 63);
    if (++inGroup_ < 4) return true;
    const int bytes = 3 - std::min(padding_, 3);
    if (written_ + bytes > size_) return false;
    Put(bits_, bytes);
    inGroup_ = 0;
    bits_ = 0;
    return true;
  }

  const wchar_t* at_;
  const wchar_t* const end_;
  unsigned char* const buffer_;
  const int size_;
  int written_ = 0;
  int padding_ = 0;
  int inGroup_ = 0;  ///< characters of an incomplete group
  std::uint32_t bits_ = 0;
};

}  // namespace

std::wstring EncodeBase64(std::span<const unsigned char> data) {
  const unsigned char* bytes = data.data();
  const std::size_t groups = data.size() / 3;
  const std::size_t rest = data.size() % 3;
  // Kept for compatibility: a line break follows a padded last group, but not a short last line
  // that is not padded.
  const std::size_t allGroups = groups + (rest != 0 ? 1 : 0);
  const bool endsLine = allGroups % kGroupsInLine == 0;
  std::size_t size = 2 + allGroups * 4 + allGroups / kGroupsInLine * 2;
  if (rest != 0 && !endsLine) size += 2;

  std::wstring text(size, L'\0');
  wchar_t* at = text.data();
  const auto breakLine = [&at] {
    *at++ = L'\r';
    *at++ = L'\n';
  };
  breakLine();
  for (std::size_t group = 0; group < groups;) {
    const std::size_t lineEnd = std::min(groups, (group / kGroupsInLine + 1) * kGroupsInLine);
    for (; group < lineEnd; ++group, bytes += 3, at += 4) {
      const auto& high = PairFor(bytes[0] << 4 | bytes[1] >> 4);
      const auto& low = PairFor((bytes[1] & 15) << 8 | bytes[2]);
      at[0] = high[0];
      at[1] = high[1];
      at[2] = low[0];
      at[3] = low[1];
    }
    if (group % kGroupsInLine == 0) breakLine();
  }
  if (rest != 0) {
    const int second = rest == 2 ? bytes[1] : 0;
    const auto& high = PairFor(bytes[0] << 4 | second >> 4);
    *at++ = high[0];
    *at++ = high[1];
    *at++ = rest == 2 ? kAlphabet[(second & 15) << 2] : L'=';
    *at++ = L'=';
    breakLine();
  }
  return text;
}

int DecodeBase64(std::wstring_view text, unsigned char* buffer, int size) {
  if (size <= 0 || buffer == nullptr) return static_cast<int>((text.size() / 4 + 1) * 3);
  return Decoder(text, buffer, size).Run();
}

}  // namespace orv
