#pragma once

#include <bit>
#include <string_view>

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
  AttributeCursor(std::wstring_view text, int nameStart)
      : text_(text.data()),
        end_(text_ + text.size()),
        at_(FindNameEnd(text_ + nameStart, end_, kTagNameEnds)) {}

  /// Continues where another cursor of the text stopped.
  AttributeCursor(std::wstring_view text, const wchar_t* rest)
      : text_(text.data()), end_(text_ + text.size()), at_(rest) {}
  const wchar_t* Rest() const { return at_; }

  /// The next attribute; false at the end of the tag.
  bool Next(Attribute* attribute) {
    if (NextUsual(attribute)) return true;
    while (at_ != end_ && kBetween.Has(*at_)) ++at_;
    if (at_ == end_ || *at_ == L'>') return false;

    const wchar_t* const name = at_;
    at_ = FindNameEnd(at_, end_, kNameEnds);
    attribute->nameStart = static_cast<int>(name - text_);
    attribute->name = {name, at_};
    SkipWhiteSpace();
    attribute->hasValue = at_ != end_ && *at_ == L'=';
    if (attribute->hasValue) {
      ++at_;
      TakeValue(attribute);
    } else {
      attribute->value = {};
      attribute->isPlain = true;
    }
    return true;
  }

  /// Whether all of the text was read; false at a `>`.
  bool IsAtEnd() const { return at_ == end_; }

 private:
  static constexpr UnitSet kNameEnds{L" \n\t\r/=>?"};
  /// Code units that may separate attributes.
  static constexpr UnitSet kBetween{L" \n\t\r/?"};

  /// Reads an attribute with the usual spelling: a space, letters and digits, `=`, a quote, a value
  /// without references, the quote, of which the first four are in one block. False, with nothing
  /// changed, for any other.
  [[gnu::always_inline]] bool NextUsual([[maybe_unused]] Attribute* attribute) {
#if defined(__SSE2__)
    constexpr int kBlock = 16;
    if (end_ - at_ < kBlock || *at_ != L' ') return false;
    const __m128i units = LoadSixteenUnits(at_);
    const __m128i delimiters = _mm_and_si128(_mm_cmpgt_epi8(units, _mm_set1_epi8('<')),
                                             _mm_cmplt_epi8(units, _mm_set1_epi8('@')));
    const __m128i small = _mm_cmplt_epi8(units, _mm_set1_epi8('0'));
    // Without the space.
    const int nameEnds = _mm_movemask_epi8(_mm_or_si128(small, delimiters)) & ~1;
    const int equals = std::countr_zero(static_cast<unsigned>(nameEnds | 1 << (kBlock - 1)));
    if (equals < 2 || equals + 1 >= kBlock || at_[equals] != L'=') return false;
    const wchar_t quote = at_[equals + 1];
    const wchar_t* const value = at_ + equals + 2;
    // Both kinds of quotes, so that the search does not wait for the one that was read.
    const __m128i quotes = _mm_or_si128(_mm_cmpeq_epi8(units, _mm_set1_epi8('"')),
                                        _mm_cmpeq_epi8(units, _mm_set1_epi8('\'')));
    const __m128i references = _mm_cmpeq_epi8(units, _mm_set1_epi8('&'));
    const int valueEnds = _mm_movemask_epi8(_mm_or_si128(quotes, references)) >> (equals + 2);
    const wchar_t* const valueEnd = valueEnds != 0
                                        ? value + std::countr_zero(static_cast<unsigned>(valueEnds))
                                    : IsQuote(quote) ? FindEither(at_ + kBlock, end_, quote, L'&')
                                                     : end_;
    if (valueEnd == end_ || *valueEnd != quote || !IsQuote(quote)) return false;
    attribute->nameStart = static_cast<int>(at_ + 1 - text_);
    attribute->name = {at_ + 1, at_ + equals};
    attribute->hasValue = true;
    attribute->isPlain = true;
    Place(value, valueEnd, attribute);
    at_ = valueEnd + 1;
    return true;
#else
    return false;
#endif
  }

  void SkipWhiteSpace() {
    while (at_ != end_ && IsWhiteSpace(*at_)) ++at_;
  }

  /// Reads a quoted value, which extends to the end of the text if the second quote is missing, or
  /// an unquoted one, which extends to white space or `>`.
  void TakeValue(Attribute* attribute) {
    SkipWhiteSpace();
    const wchar_t* value = at_;
    if (at_ != end_ && IsQuote(*at_)) {
      const wchar_t quote = *at_;
      const wchar_t* const valueEnd = FindEnd(++value, quote, attribute);
      at_ = valueEnd != end_ ? valueEnd + 1 : end_;
      Place(value, valueEnd, attribute);
      return;
    }
    attribute->isPlain = false;
    while (at_ != end_ && !IsWhiteSpace(*at_) && *at_ != L'>') ++at_;
    Place(value, at_, attribute);
  }

  void Place(const wchar_t* value, const wchar_t* valueEnd, Attribute* attribute) const {
    attribute->valueStart = static_cast<int>(value - text_);
    attribute->value = {value, valueEnd};
  }

  /// The end of a quoted value.
  const wchar_t* FindEnd(const wchar_t* value, wchar_t quote, Attribute* attribute) const {
    const wchar_t* const found = FindEither(value, end_, quote, L'&');
    attribute->isPlain = found == end_ || *found == quote;
    return attribute->isPlain ? found : FindEither(found, end_, quote, quote);
  }

  const wchar_t* text_;
  const wchar_t* end_;
  const wchar_t* at_;
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
