#include <algorithm>
#include <cstring>

#include "base/utf8.h"
#include "orv/xml/markup.h"

namespace {

constexpr int kReplacement = 0xFFFD;

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

bool CMarkup::DetectUTF8(const char* pText, int nTextLen, int* pnNonASCII, bool* pbErrorAtEnd) {
  int nonAscii = 0;
  bool isValid = true;
  bool errorAtEnd = false;
  const int length = nTextLen > 0 ? static_cast<int>(strnlen(pText, nTextLen)) : 0;
  for (int i = 0; i < length && isValid;) {
    const auto lead = static_cast<unsigned char>(pText[i++]);
    if (lead < 0x80) continue;
    ++nonAscii;
    if (lead >= 0xF8) {
      isValid = false;
      break;
    }
    // One continuation byte, two with the bit 0x20, three with 0x10 as well.
    int missing = (lead & 0x20) == 0 ? 1 : (lead & 0x10) == 0 ? 2 : 3;
    for (; missing > 0 && isValid; --missing) {
      if (i == length) {
        errorAtEnd = true;
        isValid = false;
      } else if (static_cast<unsigned char>(pText[i++]) < 0x80) {
        isValid = false;
      }
    }
  }
  if (pnNonASCII != nullptr) *pnNonASCII = nonAscii;
  if (pbErrorAtEnd != nullptr) *pbErrorAtEnd = errorAtEnd;
  return isValid;
}

int CMarkup::DecodeCharUTF8(const char*& pszUTF8, const char* pszUTF8End) {
  // A character has at most four bytes, and so has an ill-formed piece.
  const char* const start = pszUTF8;
  if (pszUTF8End == nullptr) {
    pszUTF8End = start;
    while (pszUTF8End - start < 4 && *pszUTF8End != 0) ++pszUTF8End;
  }
  if (start == pszUTF8End) return 0;
  const auto available = std::min<std::ptrdiff_t>(4, pszUTF8End - start);
  const orv::Utf8Character character =
      orv::DecodeUtf8Character({start, static_cast<std::size_t>(available)});
  pszUTF8 += character.length;
  return static_cast<int>(character.code);
}

void CMarkup::EncodeCharUTF8(int nUChar, char* pszUTF8, int& nUTF8Len) {
  const auto code = static_cast<std::uint32_t>(nUChar);
  if (code < 0x80) {
    nUTF8Len = 1;
  } else if (code < 0x800) {
    nUTF8Len = 2;
  } else {
    nUTF8Len = code < 0x10000 ? 3 : 4;
  }
  if (pszUTF8 == nullptr) return;
  constexpr unsigned char kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::uint32_t rest = code;
  for (int i = nUTF8Len - 1; i > 0; --i, rest >>= 6) {
    pszUTF8[i] = static_cast<char>(0x80 | (rest & 0x3F));
  }
  pszUTF8[0] = static_cast<char>(kLeads[nUTF8Len] | rest);
}

int CMarkup::DecodeCharUTF16(const wchar_t*& pszUTF16, const wchar_t* pszUTF16End) {
  const auto isEnd = [pszUTF16End](const wchar_t* at) {
    return pszUTF16End != nullptr ? at == pszUTF16End : *at == 0;
  };
  if (isEnd(pszUTF16)) return 0;
  const auto first = static_cast<std::uint32_t>(*pszUTF16++);
  if (IsHighSurrogate(first) && !isEnd(pszUTF16) && IsLowSurrogate(*pszUTF16)) {
    const auto second = static_cast<std::uint32_t>(*pszUTF16++);
    return static_cast<int>(0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00));
  }
  const bool isCharacter = first <= 0xFFFF && !IsHighSurrogate(first) && !IsLowSurrogate(first);
  return isCharacter ? static_cast<int>(first) : kReplacement;
}

void CMarkup::EncodeCharUTF16(int nUChar, wchar_t* pwszUTF16, int& nUTF16Len) {
  const bool isPair = nUChar > 0xFFFF;
  nUTF16Len = isPair ? 2 : 1;
  if (pwszUTF16 == nullptr) return;
  if (isPair) {
    pwszUTF16[0] = static_cast<wchar_t>(0xD800 | (nUChar - 0x10000) >> 10);
    pwszUTF16[1] = static_cast<wchar_t>(0xDC00 | (nUChar & 0x3FF));
  } else {
    pwszUTF16[0] = static_cast<wchar_t>(nUChar);
  }
}

int CMarkup::UTF16To8(char* pszUTF8, const wchar_t* pwszUTF16, int nUTF8Count) {
  return static_cast<int>(orv::WideToUtf8(pwszUTF16, pszUTF8, std::max(nUTF8Count, 0)));
}

int CMarkup::UTF8To16(wchar_t* pwszUTF16, const char* pszUTF8, int nUTF8Count) {
  const std::string_view bytes(pszUTF8, strnlen(pszUTF8, std::max(nUTF8Count, 0)));
  return static_cast<int>(orv::Utf8ToWide(bytes, pwszUTF16));
}
