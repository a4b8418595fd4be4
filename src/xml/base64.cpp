#include <array>

#include "orv/xml/markup.h"

namespace {

constexpr wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// A line holds 64 characters, each group of three bytes makes four.
constexpr std::size_t kGroupsInLine = 16;

/// Two characters for every twelve bits.
constexpr auto kPairs = [] {
  std::array<std::array<wchar_t, 2>, 4096> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kAlphabet[i >> 6], kAlphabet[i & 63]};
  return pairs;
}();

/// The six bits of each character below 128. Kept for compatibility: those that belong to no
/// alphabet count as 0, but what lies above `z` counts on from there; neither is refused.
constexpr auto kValues = [] {
  std::array<std::uint8_t, 128> values{};
  for (int c = 0; c < 128; ++c) {
    int value = 0;
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

/// Marks the characters that are more than six bits of data: line breaks and padding.
constexpr std::uint32_t kNotPlain = 1u << 31;

/// The bits of each character below 128 where they stand in its group, by its place there.
constexpr auto kPlaced = [] {
  std::array<std::array<std::uint32_t, 128>, 4> placed{};
  for (std::size_t place = 0; place < placed.size(); ++place) {
    for (std::size_t c = 0; c < kValues.size(); ++c) {
      placed[place][c] = (kValues[c] & 63u) << (18 - 6 * place);
    }
    for (const char c : {'\r', '\n', '='}) placed[place][c] = kNotPlain;
  }
  return placed;
}();

}  // namespace

std::wstring CMarkup::EncodeBase64(const unsigned char* pBuffer, int nBufferLen) {
  const std::size_t length = nBufferLen > 0 ? nBufferLen : 0;
  const std::size_t groups = length / 3;
  const std::size_t rest = length % 3;
  // A last group that is padded is followed by a line break, one that is not only by its line's.
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
    for (; group < lineEnd; ++group, pBuffer += 3, at += 4) {
      const auto& high = kPairs[pBuffer[0] << 4 | pBuffer[1] >> 4];
      const auto& low = kPairs[(pBuffer[1] & 15) << 8 | pBuffer[2]];
      at[0] = high[0];
      at[1] = high[1];
      at[2] = low[0];
      at[3] = low[1];
    }
    if (group % kGroupsInLine == 0) breakLine();
  }
  if (rest != 0) {
    const int second = rest == 2 ? pBuffer[1] : 0;
    const auto& high = kPairs[pBuffer[0] << 4 | second >> 4];
    *at++ = high[0];
    *at++ = high[1];
    *at++ = rest == 2 ? kAlphabet[(second & 15) << 2] : L'=';
    *at++ = L'=';
    breakLine();
  }
  return text;
}

int CMarkup::DecodeBase64(const std::wstring& strBase64, unsigned char* pBuffer, int nBufferLen) {
  if (nBufferLen <= 0 || pBuffer == nullptr) {
    return static_cast<int>((strBase64.size() / 4 + 1) * 3);
  }
  const wchar_t* at = strBase64.data();
  const wchar_t* const end = at + strBase64.size();
  int written = 0;
  int padding = 0;
  int inGroup = 0;
  unsigned bits = 0;
  while (at != end) {
    // The usual group stands whole: four plain characters at a time.
    if (inGroup == 0 && padding == 0) {
      while (end - at >= 4 && nBufferLen - written >= 3) {
        const auto any = static_cast<std::uint32_t>(at[0] | at[1] | at[2] | at[3]);
        if (any >= 128) break;
        const std::uint32_t group =
            kPlaced[0][at[0]] | kPlaced[1][at[1]] | kPlaced[2][at[2]] | kPlaced[3][at[3]];
        if ((group & kNotPlain) != 0) break;
        pBuffer[written] = static_cast<unsigned char>(group >> 16);
        pBuffer[written + 1] = static_cast<unsigned char>(group >> 8);
        pBuffer[written + 2] = static_cast<unsigned char>(group);
        written += 3;
        at += 4;
      }
      if (at == end) break;
    }
    const wchar_t unit = *at++;
    if (unit == L'\r' || unit == L'\n') continue;
    const auto code = static_cast<std::uint32_t>(unit);
    unsigned value = code < 128 ? kValues[code] : code - 71;
    if (unit == L'=') {
      value = 0;
      ++padding;
    }
    bits = bits << 6 | (value & 63);
    if (++inGroup < 4) continue;
    const int bytes = 3 - std::min(padding, 3);
    if (written + bytes > nBufferLen) break;
    for (int i = 0; i < bytes; ++i) {
      pBuffer[written++] = static_cast<unsigned char>(bits >> (16 - 8 * i));
    }
    inGroup = 0;
    bits = 0;
  }
  return written;
}
