#include "xml/characters.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/utf8.h"

namespace orv {
namespace {

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

bool DetectUtf8(std::string_view bytes, int* nonAscii, bool* errorAtEnd) {
  int leadBytes = 0;
  bool isValid = true;
  bool isCutOff = false;
  const std::size_t length = strnlen(bytes.data(), bytes.size());
  for (std::size_t i = 0; i < length && isValid;) {
    const auto lead = static_cast<unsigned char>(bytes[i++]);
    if (lead < 0x80) continue;
    ++leadBytes;
    if (lead >= 0xF8) {
      isValid = false;
      break;
    }
    // One continuation byte, two with the bit 0x20, three with 0x10 as well.
    int missing = (lead & 0x20) == 0 ? 1 : (lead & 0x10) == 0 ? 2 : 3;
    for (; missing > 0 && isValid; --missing) {
      if (i == length) {
        isCutOff = true;
        isValid = false;
      } else if (static_cast<unsigned char>(bytes[i++]) < 0x80) {
        isValid = false;
      }
    }
  }
  if (nonAscii != nullptr) *nonAscii = leadBytes;
  if (errorAtEnd != nullptr) *errorAtEnd = isCutOff;
  return isValid;
}

int DecodeCharUtf8(const char** at, const char* end) {
  // A character has at most four bytes, and so has an ill-formed sequence.
  const char* const start = *at;
  if (end == nullptr) {
    end = start;
    while (end - start < 4 && *end != 0) ++end;
  }
  if (start == end) return 0;
  const auto available = std::min<std::ptrdiff_t>(4, end - start);
  const Utf8Character character = DecodeUtf8Character({start, static_cast<std::size_t>(available)});
  *at += character.length;
  return static_cast<int>(character.code);
}

void EncodeCharUtf8(int character, char* target, int* length) {
  const auto code = static_cast<std::uint32_t>(character);
  if (code < 0x80) {
    *length = 1;
  } else if (code < 0x800) {
    *length = 2;
  } else {
    *length = code < 0x10000 ? 3 : 4;
  }
  if (target == nullptr) return;
  constexpr unsigned char kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::uint32_t rest = code;
  for (int i = *length - 1; i > 0; --i, rest >>= 6) {
    target[i] = static_cast<char>(0x80 | (rest & 0x3F));
  }
  target[0] = static_cast<char>(kLeads[*length] | rest);
}

int DecodeCharUtf16(const wchar_t** at, const wchar_t* end) {
  const auto isEnd = [end](const wchar_t* unit) {
    return end != nullptr ? unit == end : *unit == 0;
  };
  if (isEnd(*at)) return 0;
  const auto first = static_cast<char32_t>(*(*at)++);
  if (IsHighSurrogate(first) && !isEnd(*at)) {
    const auto second = static_cast<char32_t>(**at);
    if (IsLowSurrogate(second)) {
      ++*at;
      return static_cast<int>(0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00));
    }
  }
  const bool isCharacter = first <= 0xFFFF && !IsHighSurrogate(first) && !IsLowSurrogate(first);
  return isCharacter ? static_cast<int>(first) : kReplacement;
}

void EncodeCharUtf16(int code, wchar_t* target, int* length) {
  const bool isPair = code > 0xFFFF;
  *length = isPair ? 2 : 1;
  if (target == nullptr) return;
  if (isPair) {
    target[0] = static_cast<wchar_t>(0xD800 | (code - 0x10000) >> 10);
    target[1] = static_cast<wchar_t>(0xDC00 | (code & 0x3FF));
  } else {
    target[0] = static_cast<wchar_t>(code);
  }
}

void AppendCharUtf16(int code, std::wstring* text) {
  wchar_t units[2];
  int count = 0;
  EncodeCharUtf16(code, units, &count);
  *text += std::wstring_view(units, units + count);
}

}  // namespace orv
