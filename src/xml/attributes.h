#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "orv/xml/cursor.h"
#include "xml/unit_search.h"

namespace orv {

/// An attribute as written; offsets are relative to the text.
struct Attribute {
  int nameStart = 0;
  std::wstring_view name;  ///< empty for a value without a name
  int valueStart = 0;
  std::wstring_view value;  ///< without its quotes, references not decoded
  bool hasValue = false;
  bool isPlain = false;  ///< the value contains no reference for certain

  int NameEnd() const { return nameStart + static_cast<int>(name.size()); }
  int ValueEnd() const { return valueStart + static_cast<int>(value.size()); }
};

/// Iterates over the attributes of a tag or the pseudo-attributes of a processing instruction.
/// Inline, because most of the time to read a document is spent here.
class AttributeCursor {
 public:
  /// `nameStart` is the offset of the tag name or of the instruction's target.
  AttributeCursor(std::wstring_view text, int nameStart) { Start(text, nameStart, 0, at_); }

  /// `next` is where the first attribute is read.
  AttributeCursor(std::wstring_view text, const wchar_t* next) { SetText(text, next, at_); }

  /// The next attribute; false at the end of the tag.
  bool Next(Attribute* attribute) {
    return NextUsual(at_, attribute) || NextOfAnySpelling(at_, attribute);
  }

  /// Whether all of the text was read; false at a `>`.
  bool IsAtEnd() const { return at_.next == at_.end; }

  // The parts of the constructor and of `Next`, for a caller that keeps the place.

  /// `shift` is subtracted from offsets.
  [[gnu::always_inline]] static void Start(std::wstring_view text, int nameStart, int shift,
                                           detail::TagPlace& at) {
    SetText(text, text.data() + nameStart, at);
    at.text += shift;
    at.next = FindTagNameEnd(at);
  }

  /// Whether the tag ends here. The text is followed by a readable code unit.
  static bool IsAtTagEnd(const detail::TagPlace& at) {
    return *at.next == L'>' || (*at.next == L'/' && at.next != at.end && at.next[1] == L'>');
  }

  /// Reads an attribute with the usual spelling: a space, a name, `=`, a quote, a value without
  /// references, the quote, of which the first four are in one block. False, with nothing read, for
  /// any other.
  [[gnu::always_inline]] static bool NextUsual(detail::TagPlace& at, Attribute* attribute) {
#if defined(__SSE2__)
    if (at.next == at.end || *at.next != L' ') return false;
    const wchar_t* const name = at.next + 1;
    const wchar_t* equals = FindInBlock(at, name, kNameEnds);
    if (equals == nullptr) {
      if (!LoadBlock(at)) return false;
      equals = FindInBlock(at, name, kNameEnds);
    }
    if (equals == nullptr || *equals != L'=' || equals == name) return false;
    const wchar_t quote = equals[1];
    if (!IsQuote(quote)) return false;
    const wchar_t* const value = equals + 2;
    const std::uint64_t ends = std::uint64_t{at.valueEnds} >> (value - at.block);
    const wchar_t* valueEnd = ends != 0 ? value + std::countr_zero(ends) : at.block + kBlock;
    if (*valueEnd != quote) valueEnd = FindEither(valueEnd, at.end, quote, L'&');
    if (valueEnd == at.end || *valueEnd != quote) return false;
    attribute->nameStart = static_cast<int>(name - at.text);
    attribute->name = {name, equals};
    attribute->hasValue = true;
    attribute->isPlain = true;
    SetValue(at, value, valueEnd, attribute);
    at.next = valueEnd + 1;
    return true;
#else
    static_cast<void>(at);
    static_cast<void>(attribute);
    return false;
#endif
  }

  /// The same for any spelling; false at the end of the tag.
  [[gnu::noinline]] static bool NextOfAnySpelling(detail::TagPlace& at, Attribute* attribute) {
    while (at.next != at.end && kBetween.Has(*at.next)) ++at.next;
    if (at.next == at.end || *at.next == L'>') return false;
    const wchar_t* const name = at.next;
    at.next = FindNameEnd(at.next, at.end, kNameEnds);
    attribute->nameStart = static_cast<int>(name - at.text);
    attribute->name = {name, at.next};
    SkipWhiteSpace(at);
    attribute->hasValue = at.next != at.end && *at.next == L'=';
    if (attribute->hasValue) {
      ++at.next;
      TakeValue(at, attribute);
    } else {
      attribute->value = {};
      attribute->isPlain = true;
    }
    return true;
  }

 private:
  static constexpr UnitSet kNameEnds{L" \n\t\r/=>?"};
  /// Code units that may separate attributes.
  static constexpr UnitSet kBetween{L" \n\t\r/?"};

#if defined(__SSE2__)
  /// Code units that are compared at once: most tags are shorter.
  static constexpr int kBlock = 32;

  /// Compares the next code units with what ends names and values; false near the end of the text.
  [[gnu::always_inline]] static bool LoadBlock(detail::TagPlace& at) {
    if (at.end - at.next <= kBlock) return false;
    // The last code unit ends no name, so that what follows a name is in the block as well.
    unsigned solid = 1U << (kBlock - 1);
    unsigned valueEnds = 0;
#pragma GCC unroll 2
    for (int part = 0; part < kBlock; part += 16) {
      const __m128i units = LoadSixteenUnits(at.next + part);
      const __m128i above = _mm_cmpgt_epi8(units, _mm_set1_epi8('?'));
      // Equals `'` for both quotes, `&` and `#`.
      const __m128i quotes = _mm_or_si128(units, _mm_set1_epi8(5));
      const __m128i ends = _mm_cmpeq_epi8(quotes, _mm_set1_epi8('\''));
      solid |= static_cast<unsigned>(_mm_movemask_epi8(above)) << part;
      valueEnds |= static_cast<unsigned>(_mm_movemask_epi8(ends)) << part;
    }
    at.block = at.next;
    at.nameEnds = ~solid;
    at.valueEnds = valueEnds;
    return true;
  }

  /// The first code unit of a set in the block, from `from` on; null for none.
  [[gnu::always_inline]] static const wchar_t* FindInBlock(const detail::TagPlace& at,
                                                           const wchar_t* from, UnitSet set) {
    const auto skipped = static_cast<std::size_t>(from - at.block);
    if (skipped >= kBlock) return nullptr;
    for (unsigned found = at.nameEnds >> skipped; found != 0; found &= found - 1) {
      const wchar_t* const unit = from + std::countr_zero(found);
      if (set.Has(*unit)) return unit;
    }
    return nullptr;
  }

  [[gnu::always_inline]] static const wchar_t* FindTagNameEnd(detail::TagPlace& at) {
    const wchar_t* const end = LoadBlock(at) ? FindInBlock(at, at.next, kTagNameEnds) : nullptr;
    return end != nullptr ? end : FindNameEnd(at.next, at.end, kTagNameEnds);
  }
#else
  static const wchar_t* FindTagNameEnd(const detail::TagPlace& at) {
    return FindNameEnd(at.next, at.end, kTagNameEnds);
  }
#endif

  static void SetText(std::wstring_view text, const wchar_t* next, detail::TagPlace& at) {
    at.text = text.data();
    at.end = text.data() + text.size();
    at.next = next;
    at.block = at.end;
  }

  static void SkipWhiteSpace(detail::TagPlace& at) {
    while (at.next != at.end && IsWhiteSpace(*at.next)) ++at.next;
  }

  /// Reads a quoted value, which extends to the end of the text if the second quote is missing, or
  /// an unquoted one, which extends to white space or `>`.
  static void TakeValue(detail::TagPlace& at, Attribute* attribute) {
    SkipWhiteSpace(at);
    const wchar_t* value = at.next;
    if (at.next != at.end && IsQuote(*at.next)) {
      const wchar_t quote = *at.next;
      const wchar_t* const valueEnd = FindEnd(at, ++value, quote, attribute);
      at.next = valueEnd != at.end ? valueEnd + 1 : at.end;
      SetValue(at, value, valueEnd, attribute);
      return;
    }
    attribute->isPlain = false;
    while (at.next != at.end && !IsWhiteSpace(*at.next) && *at.next != L'>') ++at.next;
    SetValue(at, value, at.next, attribute);
  }

  static void SetValue(const detail::TagPlace& at, const wchar_t* value, const wchar_t* valueEnd,
                       Attribute* attribute) {
    attribute->valueStart = static_cast<int>(value - at.text);
    attribute->value = {value, valueEnd};
  }

  /// The end of a quoted value.
  static const wchar_t* FindEnd(const detail::TagPlace& at, const wchar_t* value, wchar_t quote,
                                Attribute* attribute) {
    const wchar_t* const found = FindEither(value, at.end, quote, L'&');
    attribute->isPlain = found == at.end || *found == quote;
    return attribute->isPlain ? found : FindEither(found, at.end, quote, quote);
  }

  detail::TagPlace at_;
};

/// Finds the first attribute with a name in the tag or instruction whose own name is at
/// `nameStart`. If there is none, `attribute` is the last attribute, if any.
inline bool FindAttribute(std::wstring_view text, int nameStart, std::wstring_view name,
                          bool ignoreCase, Attribute* attribute) {
  AttributeCursor cursor(text, nameStart);
  while (cursor.Next(attribute)) {
    if (!attribute->name.empty() && SameName(attribute->name, name, ignoreCase)) return true;
  }
  return false;
}

/// The value of the first attribute of the tag at `offset`, if the tag begins with `opening`, the
/// usual spelling of everything up to and including the value's quote, and the value contains no
/// reference; a view with null data otherwise. If the value equals `expectedValue`, which contains
/// no quote and no reference, no search is needed and `expectedValue` itself is returned. Pass an
/// empty string for no expectation.
inline std::wstring_view FirstValueFast(std::wstring_view text, int offset,
                                        std::wstring_view opening,
                                        std::wstring_view expectedValue) {
  const wchar_t* const at = text.data() + offset;
  const wchar_t* const end = text.data() + text.size();
  const auto rest = static_cast<std::size_t>(end - at);
  if (rest < opening.size() || !SameUnits(at, opening.data(), opening.size())) return {};
  const wchar_t* const value = at + opening.size();
  const std::size_t size = expectedValue.size();
  if (size != 0 && rest > opening.size() + size && value[size] == opening.back() &&
      SameUnits(value, expectedValue.data(), size)) {
    return expectedValue;
  }
  const wchar_t* const found = FindEither(value, end, opening.back(), L'&');
  if (found == end || *found == L'&') return {};
  return {value, found};
}

}  // namespace orv
