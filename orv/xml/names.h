#pragma once

#include <cstdint>
#include <string_view>

/// The classes of characters that markup is made of, and how names compare.

namespace orv {

/// A set of units below 64, for quick tests.
class UnitSet {
 public:
  constexpr explicit UnitSet(std::wstring_view units) {
    for (const wchar_t unit : units) bits_ |= std::uint64_t{1} << unit;
  }

  constexpr bool Has(wchar_t unit) const {
    const auto code = static_cast<std::uint32_t>(unit);
    return code < 64 && (bits_ >> code & 1) != 0;
  }

 private:
  std::uint64_t bits_ = 0;
};

inline constexpr UnitSet kWhiteSpace(L" \n\t\r");
inline constexpr UnitSet kTagNameEnds(L" \n\t\r/>");

constexpr bool IsWhiteSpace(wchar_t unit) { return kWhiteSpace.Has(unit); }

constexpr bool IsDigit(wchar_t unit) { return unit >= L'0' && unit <= L'9'; }

constexpr bool IsQuote(wchar_t unit) { return unit == L'"' || unit == L'\''; }

/// Whether a unit after `<` begins a tag name: any above `9` but for eleven signs.
constexpr bool IsNameStart(wchar_t unit) {
  const auto code = static_cast<std::uint32_t>(unit);
  if (code <= L'9') return false;
  if (code > L'`') return true;
  constexpr std::uint64_t kSigns = [] {
    std::uint64_t bits = 0;
    for (const wchar_t sign : std::wstring_view(L";<=>?@[\\]^`")) bits |= 1ull << (sign - L'9');
    return bits;
  }();
  return (kSigns >> (code - L'9') & 1) == 0;
}

/// Whether a unit ends a tag name in markup.
constexpr bool EndsTagName(wchar_t unit) { return kTagNameEnds.Has(unit); }

/// Whether a unit ends a name in a path; zero stands for the path's end.
constexpr bool EndsPathName(wchar_t unit) {
  return unit == 0 || unit == L' ' || unit == L'/' || unit == L'=' || unit == L'[' || unit == L']';
}

constexpr wchar_t ToUpperAscii(wchar_t unit) {
  return unit >= L'a' && unit <= L'z' ? static_cast<wchar_t>(unit - L'a' + L'A') : unit;
}

constexpr wchar_t ToLowerAscii(wchar_t unit) {
  return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

/// The name that begins at an offset of a text and ends as tag names do.
constexpr std::wstring_view TagNameAt(std::wstring_view text, std::size_t offset) {
  std::size_t end = offset;
  while (end < text.size() && !EndsTagName(text[end])) ++end;
  return text.substr(offset, end - offset);
}

/// The number of leading units in which `text`, which is long enough or zero-terminated, agrees
/// with `name`. Without regard to case, units that differ are compared again as upper-case ASCII,
/// until a unit of 128 or above has matched: from there on case counts, which callers rely on.
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

/// Whether a path can be searched for: it does not begin with `/`, and the predicate that may
/// follow its first name is a position (from 1), an attribute test or a name.
constexpr bool IsUsablePath(const wchar_t* path) {
  if (*path == L'/') return false;
  while (!EndsPathName(*path)) ++path;
  if (*path != L'[') return true;
  ++path;
  if (*path == L'@') return IsNameStart(path[1]);
  return (*path >= L'1' && *path <= L'9') || IsNameStart(*path);
}

/// Whether two whole names are the same.
constexpr bool SameName(std::wstring_view a, std::wstring_view b, bool ignoreCase) {
  return a.size() == b.size() && CommonPrefix(a, b.data(), ignoreCase) == a.size();
}

}  // namespace orv
