#include "xml/text_coding.h"

#include <algorithm>
#include <cstdint>

#include "base/utf8.h"
#include "orv/xml/markup.h"
#include "platform/code_pages.h"
#include "xml/characters.h"
#include "xml/encodings.h"

namespace orv {
namespace {

using namespace std::string_view_literals;

/// The first bytes of a file that identify its encoding.
struct Signature {
  std::string_view bytes;
  TextForm form;
  bool isBigEndian;
  bool isMark;
  const wchar_t* name;
};

/// A longer signature precedes its prefixes. Without a byte-order mark the first character is a `<`
/// or a line break.
constexpr Signature kSignatures[] = {
    {"\xEF\xBB\xBF"sv, TextForm::kUtf8, false, true, L"UTF-8"},
    {"\xFF\xFE\0\0"sv, TextForm::kUtf32, false, true, L"UTF-32"},
    {"\0\0\xFE\xFF"sv, TextForm::kUtf32, true, true, L"UTF-32"},
    {"\xFF\xFE"sv, TextForm::kUtf16, false, true, L"UTF-16LE"},
    {"\xFE\xFF"sv, TextForm::kUtf16, true, true, L"UTF-16BE"},
    {"<\0\0\0"sv, TextForm::kUtf32, false, false, L"UTF-32"},
    {"\r\0\0\0"sv, TextForm::kUtf32, false, false, L"UTF-32"},
    {"\n\0\0\0"sv, TextForm::kUtf32, false, false, L"UTF-32"},
    {"\0\0\0<"sv, TextForm::kUtf32, true, false, L"UTF-32"},
    {"\0\0\0\r"sv, TextForm::kUtf32, true, false, L"UTF-32"},
    {"\0\0\0\n"sv, TextForm::kUtf32, true, false, L"UTF-32"},
    {"<\0"sv, TextForm::kUtf16, false, false, L"UTF-16LE"},
    {"\r\0"sv, TextForm::kUtf16, false, false, L"UTF-16LE"},
    {"\n\0"sv, TextForm::kUtf16, false, false, L"UTF-16LE"},
    {"\0<"sv, TextForm::kUtf16, true, false, L"UTF-16BE"},
    {"\0\r"sv, TextForm::kUtf16, true, false, L"UTF-16BE"},
    {"\0\n"sv, TextForm::kUtf16, true, false, L"UTF-16BE"},
};

/// The `<?` of a declaration in all EBCDIC code pages, and the few pages that cover its other
/// characters.
constexpr std::string_view kEbcdicDeclaration = "\x4C\x6F"sv;
constexpr int kEbcdicPages[] = {37, 1026, 20905};

/// The number of bytes in which a declaration is searched for.
constexpr std::size_t kMaxDeclarationEnd = 2048;

bool IsKnownPage(int codePage) {
  std::wstring nothing;
  bool lost = false;
  return codePage > 0 && DecodeCodePage(codePage, {}, &nothing, &lost);
}

/// Whether a code page has multi-byte characters or shift states.
bool IsMultiByte(int page) {
  constexpr int kMultiBytePages[] = {932,   936,   949,   950,   1361,  10001, 10002,
                                     10003, 10008, 20932, 20936, 20949, 54936, 65000};
  return std::find(std::begin(kMultiBytePages), std::end(kMultiBytePages), page) !=
             std::end(kMultiBytePages) ||
         (page >= 20000 && page <= 20005) || (page >= 50220 && page <= 52936) ||
         (page >= 57002 && page <= 57011);
}

/// Whether bytes below 0x30 of a multi-byte code page are never part of a longer character.
bool HasOnlyHighTrailBytes(int page) {
  constexpr int kHighPages[] = {932,   936,   949,   950,   1361,  10001, 10002, 10003,
                                10008, 20936, 20949, 51932, 51936, 51949, 54936};
  return std::find(std::begin(kHighPages), std::end(kHighPages), page) != std::end(kHighPages);
}

/// The encoding that bytes declare. Every narrow encoding writes a declaration as ASCII or EBCDIC
/// does.
std::wstring DeclaredInBytes(std::string_view head) {
  std::wstring text;
  if (head.starts_with(kEbcdicDeclaration)) {
    for (const int page : kEbcdicPages) {
      bool lost = false;
      text.clear();
      if (!DecodeCodePage(page, head, &text, &lost)) continue;
      std::wstring declared = DeclaredEncoding(text.c_str());
      if (EncodingCodePage(declared) > 0) return declared;
    }
    return {};
  }
  for (const char byte : head) text += static_cast<wchar_t>(static_cast<std::uint8_t>(byte));
  return DeclaredEncoding(text.c_str());
}

std::size_t CountOf(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) ++count;
  return count;
}

/// The code unit of `kSize` bytes at an address.
template <std::size_t kSize>
std::uint32_t UnitAt(const char* bytes, bool isBigEndian) {
  std::uint32_t unit = 0;
  for (std::size_t i = 0; i < kSize; ++i) {
    const auto byte = static_cast<std::uint8_t>(bytes[isBigEndian ? i : kSize - 1 - i]);
    unit = unit << 8 | byte;
  }
  return unit;
}

template <std::size_t kSize>
void AppendUnit(std::uint32_t unit, bool isBigEndian, std::string* bytes) {
  for (std::size_t i = 0; i < kSize; ++i) {
    *bytes += static_cast<char>(unit >> 8 * (isBigEndian ? kSize - 1 - i : i));
  }
}

/// The length of UTF-8 text without a last character that is cut off.
std::size_t WholeUtf8(std::string_view bytes) {
  for (std::size_t back = 1; back <= std::min<std::size_t>(3, bytes.size()); ++back) {
    const auto byte = static_cast<std::uint8_t>(bytes[bytes.size() - back]);
    if (byte < 0x80) break;
    if (byte < 0xC0) continue;
    const std::size_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    return length > back ? bytes.size() - back : bytes.size();
  }
  return bytes.size();
}

/// The code units that UTF-7 need not write in Base64: sets D and O of RFC 2152, and white space.
constexpr std::wstring_view kUtf7Direct =
    L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
    L"'(),-./:? \t\r\n!\"#$%&*;<=>@[]^_`{|}";

bool IsUtf7Direct(wchar_t unit) { return kUtf7Direct.find(unit) != kUtf7Direct.npos; }

/// Whether a code unit is not UTF-16: half a surrogate pair without the other half, or a wide
/// character that exceeds 16 bits, as Linux allows.
bool IsInvalidUnit(std::wstring_view text, std::size_t at) {
  const auto isHalf = [text](std::size_t i, std::uint32_t half) {
    return i < text.size() && (static_cast<std::uint32_t>(text[i]) & ~0x3FFu) == half;
  };
  constexpr std::uint32_t kHigh = 0xD800;
  constexpr std::uint32_t kLow = 0xDC00;
  if (const auto code = static_cast<std::uint32_t>(text[at]); code > 0xFFFF) return true;
  if (isHalf(at, kHigh)) return !isHalf(at + 1, kLow);
  return isHalf(at, kLow) && (at == 0 || !isHalf(at - 1, kHigh));
}

/// Appends text in UTF-7; true if it contains an invalid unit. The encoders of both platforms
/// write markup in Base64, which makes the declaration unreadable.
bool EncodeUtf7(std::wstring_view text, std::string* bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  bool hasLost = false;
  for (std::size_t at = 0; at < text.size();) {
    if (IsUtf7Direct(text[at])) {
      *bytes += static_cast<char>(text[at++]);
      continue;
    }
    *bytes += '+';
    std::uint32_t bits = 0;
    int count = 0;                         // of the bits that are not written yet
    const bool isPlus = text[at] == L'+';  // written as "+-"
    if (isPlus) ++at;
    for (; !isPlus && at < text.size() && !IsUtf7Direct(text[at]) && text[at] != L'+'; ++at) {
      const bool isLost = IsInvalidUnit(text, at);
      hasLost |= isLost;
      bits = bits << 16 | static_cast<std::uint32_t>(isLost ? L'?' : text[at]);
      for (count += 16; count >= 6; count -= 6) *bytes += kDigits[bits >> (count - 6) & 63];
    }
    if (count > 0) *bytes += kDigits[bits << (6 - count) & 63];
    *bytes += '-';
  }
  return hasLost;
}

/// Appends text in a code page; true if it lacks some of the characters.
bool EncodeNarrow(int page, std::wstring_view text, std::string* bytes) {
  if (page == kUtf7Page) return EncodeUtf7(text, bytes);
  bool hasLost = false;
  return !EncodeCodePage(page, text, bytes, &hasLost) || hasLost;
}

}  // namespace

std::string_view TextEncoding::Mark() const {
  if (!hasMark) return {};
  for (const Signature& signature : kSignatures) {
    if (signature.isMark && signature.form == form && signature.isBigEndian == isBigEndian) {
      return signature.bytes;
    }
  }
  return {};
}

TextEncoding DetectEncoding(std::string_view bytes, bool isWhole) {
  for (const Signature& signature : kSignatures) {
    if (bytes.starts_with(signature.bytes)) {
      return {.form = signature.form,
              .isBigEndian = signature.isBigEndian,
              .hasMark = signature.isMark,
              .name = signature.name};
    }
  }

  const std::wstring declared = DeclaredInBytes(bytes.substr(0, kMaxDeclarationEnd));
  const int page = EncodingCodePage(declared);
  if (page == kUtf8Page) return {};
  // Wide encodings were recognized above: such a declaration in a narrow file is wrong.
  if (page != kUtf16Page && page != kUtf16BigEndianPage && page != kUtf32Page &&
      IsKnownPage(page)) {
    return {.form = TextForm::kCodePage, .codePage = page, .name = declared};
  }

  int nonAscii = 0;
  bool errorAtEnd = false;
  const bool isUtf8 =
      DetectUtf8(bytes.substr(0, 1 << 30), &nonAscii, &errorAtEnd) || (errorAtEnd && !isWhole);
  if (isUtf8) return {.isDetected = nonAscii > 0, .unsupported = declared};
  return {.form = TextForm::kCodePage,
          .codePage = SystemCodePage(),
          .name = L"ANSI",
          .unsupported = declared};
}

TextEncoding EncodingFor(const std::wstring& doc, int docFlags) {
  if ((docFlags & CMarkup::DOC_UTF16LEFILE) != 0) {
    return {.form = TextForm::kUtf16, .hasMark = true, .name = L"UTF-16LE"};
  }
  if ((docFlags & CMarkup::DOC_UTF16BEFILE) != 0) {
    return {.form = TextForm::kUtf16, .isBigEndian = true, .hasMark = true, .name = L"UTF-16BE"};
  }
  // A mark takes precedence over the declaration, as it does when a file is read.
  if ((docFlags & CMarkup::DOC_UTF8MARK) != 0) return {.hasMark = true};
  const std::wstring declared = DeclaredEncoding(doc.c_str());
  const int page = EncodingCodePage(declared);
  switch (page) {
    case kUtf16Page:
      return {.form = TextForm::kUtf16, .hasMark = true, .name = L"UTF-16LE"};
    case kUtf16BigEndianPage:
      return {.form = TextForm::kUtf16, .isBigEndian = true, .hasMark = true, .name = L"UTF-16BE"};
    case kUtf32Page: {
      const bool isBigEndian = declared.ends_with(L"BE") || declared.ends_with(L"be");
      return {
          .form = TextForm::kUtf32, .isBigEndian = isBigEndian, .hasMark = true, .name = L"UTF-32"};
    }
    default:
      if (declared.empty() || page == kUtf8Page) return {};
      if (!IsKnownPage(page)) return {.unsupported = declared};
      return {.form = TextForm::kCodePage, .codePage = page, .name = declared};
  }
}

/// The length of the bytes without a last character that is cut off.
std::size_t TextDecoder::WholeLength(std::string_view bytes) const {
  switch (encoding_.form) {
    case TextForm::kUtf8:
      return WholeUtf8(bytes);
    case TextForm::kUtf16:
      return bytes.size() / 2 * 2;
    case TextForm::kUtf32:
      return bytes.size() / 4 * 4;
    case TextForm::kCodePage:
      break;
  }
  if (!IsMultiByte(encoding_.codePage)) return bytes.size();
  if (HasOnlyHighTrailBytes(encoding_.codePage)) return LengthToCharacterEnd(bytes);
  // At the end of a line no character is cut off and no shift is active.
  const std::size_t lineEnd = bytes.rfind('\n');
  return lineEnd != bytes.npos ? lineEnd + 1 : 0;
}

void TextDecoder::Decode(std::string_view bytes, bool isLast, std::wstring* text) {
  if (!waiting_.empty()) {
    waiting_ += bytes;
    bytes = waiting_;
  }
  const std::size_t whole = WholeLength(bytes);
  const std::size_t before = text->size();
  if (isLast) {
    truncated_ = whole < bytes.size() && encoding_.form != TextForm::kCodePage;
    DecodeWhole(bytes, text);
  } else {
    DecodeWhole(bytes.substr(0, whole), text);
    waiting_ = std::string(bytes.substr(whole));
  }

  if (text->find(L'\0', before) == text->npos) return;
  const auto end =
      std::remove(text->begin() + static_cast<std::ptrdiff_t>(before), text->end(), L'\0');
  nulls_ += static_cast<int>(text->end() - end);
  text->erase(end, text->end());
}

void TextDecoder::DecodeWhole(std::string_view bytes, std::wstring* text) {
  const bool swapped = encoding_.isBigEndian;
  switch (encoding_.form) {
    case TextForm::kUtf8: {
      const std::size_t before = text->size();
      if (before == 0) {
        *text = Utf8ToWide(bytes);
      } else {
        *text += Utf8ToWide(bytes);
      }
      // Replacement characters that the file itself contains are not a loss.
      const auto added = std::count(text->begin() + static_cast<std::ptrdiff_t>(before),
                                    text->end(), kReplacement);
      if (static_cast<std::size_t>(added) > CountOf(bytes, kReplacementUtf8)) hasLost_ = true;
      break;
    }
    case TextForm::kUtf16:
      text->reserve(text->size() + bytes.size() / 2);
      for (std::size_t i = 0; i + 2 <= bytes.size(); i += 2) {
        *text += static_cast<wchar_t>(UnitAt<2>(bytes.data() + i, swapped));
      }
      break;
    case TextForm::kUtf32:
      text->reserve(text->size() + bytes.size() / 4);
      for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        std::uint32_t code = UnitAt<4>(bytes.data() + i, swapped);
        if (code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
          code = kReplacement;
          hasLost_ = true;
        }
        AppendCharUtf16(static_cast<int>(code), text);
      }
      break;
    case TextForm::kCodePage:
      DecodeCodePage(encoding_.codePage, bytes, text, &hasLost_);
      break;
  }
}

void TextEncoder::Encode(std::wstring_view text, bool isLast, std::string* bytes) {
  if (!waiting_.empty()) {
    waiting_ += text;
    text = waiting_;
  }
  std::size_t whole = text.size();
  if (!isLast && EndsInsidePair(text.substr(0, whole))) --whole;
  if (EncodeWhole(text.substr(0, whole), bytes) && lost_ == kNothing) {
    lost_ = passed_ + FindLost(text.substr(0, whole));
  }
  passed_ += whole;
  waiting_ = std::wstring(text.substr(whole));
}

/// The position of the first character that the encoding lacks in a text that contains one.
std::size_t TextEncoder::FindLost(std::wstring_view text) const {
  // The text before `first` encodes, the text before `end` does not.
  std::size_t first = 0;
  std::size_t end = text.size();
  while (end - first > 2) {
    std::size_t middle = first + (end - first) / 2;
    if (EndsInsidePair(text.substr(0, middle))) ++middle;
    std::string bytes;
    (EncodeWhole(text.substr(first, middle - first), &bytes) ? end : first) = middle;
  }
  std::string bytes;
  const bool isFirst =
      EndsInsidePair(text.substr(first, 1)) || EncodeWhole(text.substr(first, 1), &bytes);
  return isFirst ? first : first + 1;
}

/// Appends encoded text; true if the encoding lacks some of its characters.
bool TextEncoder::EncodeWhole(std::wstring_view text, std::string* bytes) const {
  const bool swapped = encoding_.isBigEndian;
  bool hasLost = false;
  switch (encoding_.form) {
    case TextForm::kUtf8: {
      const std::string encoded = WideToUtf8(text);
      const auto own = std::count(text.begin(), text.end(), kReplacement);
      if (CountOf(encoded, kReplacementUtf8) > static_cast<std::size_t>(own)) hasLost = true;
      *bytes += encoded;
      break;
    }
    case TextForm::kUtf16:
      bytes->reserve(bytes->size() + text.size() * 2);
      for (const wchar_t unit : text) {
        AppendUnit<2>(static_cast<std::uint32_t>(unit), swapped, bytes);
      }
      break;
    case TextForm::kUtf32: {
      bytes->reserve(bytes->size() + text.size() * 4);
      const wchar_t* at = text.data();
      const wchar_t* const end = at + text.size();
      while (at != end) {
        const bool isOwn = *at == kReplacement;
        const int code = DecodeCharUtf16(&at, end);
        if (code == kReplacement && !isOwn) hasLost = true;
        AppendUnit<4>(static_cast<std::uint32_t>(code), swapped, bytes);
      }
      break;
    }
    case TextForm::kCodePage:
      hasLost = EncodeNarrow(encoding_.codePage, text, bytes);
      break;
  }
  return hasLost;
}

}  // namespace orv
