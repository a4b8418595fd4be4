#pragma once

#include <cstdint>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Character classes of markup, and the comparison of names.

namespace orv {

/// A set of code units below 64 with a fast membership test.
class UnitSet {
 public:
  constexpr explicit UnitSet(std::wstring_view units) {
    for (const wchar_t unit : units) bits_ |= std::uint64_t{1} << unit;
  }

  constexpr bool Has(wchar_t unit) const {
    const auto code = static_cast<char32_t>(unit);
    return code < 64 && (bits_ >> code & 1) != 0;
  }

 private:
  std::uint64_t bits_ = 0;
};

inline constexpr UnitSet kWhiteSpace(L" \n\t\r");
inline constexpr UnitSet kPathNameEnds({L"\0 /=", 4});
inline constexpr UnitSet kTagNameEnds(L" \n\t\r/>");

constexpr bool IsWhiteSpace(wchar_t unit) { return kWhiteSpace.Has(unit); }

constexpr bool IsDigit(wchar_t unit) { return unit >= L'0' && unit <= L'9'; }

constexpr bool IsQuote(wchar_t unit) { return unit == L'"' || unit == L'\''; }

/// Whether a code unit after `<` begins a tag name: any above `9` except eleven punctuation marks.
constexpr bool IsNameStart(wchar_t unit) {
  const auto code = static_cast<char32_t>(unit);
  if (code <= L'9') return false;
  if (code > L'`') return true;
  constexpr std::uint64_t kPunctuation = [] {
    std::uint64_t bits = 0;
    for (const wchar_t mark : std::wstring_view(L";<=>?@[\\]^`")) bits |= 1ull << (mark - L'9');
    return bits;
  }();
  return (kPunctuation >> (code - L'9') & 1) == 0;
}

/// Whether a code unit ends a tag name in markup.
constexpr bool EndsTagName(wchar_t unit) { return kTagNameEnds.Has(unit); }

/// Whether a code unit ends a name in a path; zero is the end of the path.
constexpr bool EndsPathName(wchar_t unit) {
  return kPathNameEnds.Has(unit) || unit == L'[' || unit == L']';
}

constexpr wchar_t ToUpperAscii(wchar_t unit) {
  return unit >= L'a' && unit <= L'z' ? static_cast<wchar_t>(unit - L'a' + L'A') : unit;
}

constexpr wchar_t ToLowerAscii(wchar_t unit) {
  return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

/// Whether two texts have the same `length` code units. Inline, because most names are short.
inline bool SameUnits(const wchar_t* a, const wchar_t* b, std::size_t length) {
#if defined(__SSE2__)
// GCC 12 also warns about sizes that a short constant cannot have.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
  const std::size_t size = length * sizeof(wchar_t);
  const char* const bytesA = reinterpret_cast<const char*>(a);
  const char* const bytesB = reinterpret_cast<const char*>(b);
  // The last load overlaps the one before it, so that no length needs a tail loop.
  if (size >= 16) {
    const auto same = [=](std::size_t byte) {
      return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytesA + byte)),
                            _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytesB + byte)));
    };
    __m128i all = same(size - 16);
    for (std::size_t byte = 0; byte + 16 < size; byte += 16) all = _mm_and_si128(all, same(byte));
    return _mm_movemask_epi8(all) == 0xFFFF;
  }
  if (size >= 8) {
    const auto same = [=](std::size_t byte) {
      return _mm_cmpeq_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytesA + byte)),
                            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytesB + byte)));
    };
    return _mm_movemask_epi8(_mm_and_si128(same(0), same(size - 8))) == 0xFFFF;
  }
#pragma GCC diagnostic pop
#endif
  for (std::size_t i = 0; i < length; ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

/// The tag name at an offset of a text.
constexpr std::wstring_view TagNameAt(std::wstring_view text, std::size_t offset) {
  std::size_t end = offset;
  while (end < text.size() && !EndsTagName(text[end])) ++end;
  return text.substr(offset, end - offset);
}

/// The number of leading code units in which `text`, which is long enough or zero-terminated,
/// agrees with `name`. Kept for compatibility: a case-insensitive comparison folds ASCII letters
/// only, and becomes case-sensitive after the first match of a code unit of 128 or above.
constexpr std::size_t CommonPrefix(std::wstring_view name, const wchar_t* text, bool ignoreCase) {
  bool fold = ignoreCase;
  std::size_t n = 0;
  for (; n < name.size(); ++n) {
    if (name[n] == text[n]) {
      if (static_cast<std::uint32_t>(name[n]) >= 128) fold = false;
    } else if (!fold || ToUpperAscii(name[n]) != ToUpperAscii(text[n])) {
      break;
    }
  }
  return n;
}

/// Whether the tag name at `name`, in zero-terminated markup, equals a zero-terminated text
/// exactly.
constexpr bool IsWholeName(const wchar_t* name, const wchar_t* text) {
  constexpr UnitSet kStops({L"\0 \n\t\r/>", 7});
  for (; *name == *text && !kStops.Has(*text) && *text != L'['; ++text) ++name;
  return *text == 0 && EndsTagName(*name);
}

/// Whether the tag name at `name`, in zero-terminated markup, is the first name of a
/// zero-terminated path.
constexpr bool NameInMarkupIs(const wchar_t* name, const wchar_t* path, bool ignoreCase) {
  bool fold = ignoreCase;
  for (;; ++name, ++path) {
    if (EndsTagName(*name)) return EndsPathName(*path);
    if (*path == 0) return false;
    if (*name == *path) {
      if (static_cast<std::uint32_t>(*name) >= 128) fold = false;
    } else if (!fold || ToUpperAscii(*name) != ToUpperAscii(*path)) {
      return false;
    }
  }
}

/// The length of the first name of a path; -1 for an invalid path: it begins with `/`, or the
/// predicate after the name is not a position (from 1), an attribute test or a name.
constexpr int PathNameLength(const wchar_t* path) {
  if (*path == L'/') return -1;
  const wchar_t* end = path;
  while (!EndsPathName(*end)) ++end;
  const int length = static_cast<int>(end - path);
  if (*end != L'[') return length;
  ++end;
  const bool isValid =
      *end == L'@' ? IsNameStart(end[1]) : (*end >= L'1' && *end <= L'9') || IsNameStart(*end);
  return isValid ? length : -1;
}

/// Whether two names are equal.
inline bool SameName(std::wstring_view a, std::wstring_view b, bool ignoreCase) {
  return a.size() == b.size() && (SameUnits(a.data(), b.data(), a.size()) ||
                                  CommonPrefix(a, b.data(), ignoreCase) == a.size());
}

/// Whether an end tag closes an open element. Kept for compatibility: it also does if the open name
/// continues with what ends a name in a path.
inline bool ClosesElement(std::wstring_view endTagName, std::wstring_view openName,
                          bool ignoreCase) {
  const std::size_t size = endTagName.size();
  return size <= openName.size() && SameName(endTagName, openName.substr(0, size), ignoreCase) &&
         (size == openName.size() || EndsPathName(openName[size]));
}

}  // namespace orv
