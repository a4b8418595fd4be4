#pragma once

#include <string_view>

#include "orv/xml/names.h"

namespace orv {

/// An attribute as it stands in the text; offsets count from the text's start.
struct Attribute {
  std::size_t nameStart = 0;
  std::wstring_view name;  ///< empty for a value without a name
  std::size_t valueStart = 0;
  std::wstring_view value;  ///< between its quotes, references not decoded
  bool hasValue = false;
  bool isPlain = false;  ///< surely no reference in the value
};

/// Walks the attributes of a tag or the pseudo-attributes of an instruction. In line, because most
/// of what reading a document takes is spent here.
class AttributeCursor {
 public:
  /// `nameStart` is where the tag name or the instruction's target begins.
  AttributeCursor(std::wstring_view text, std::size_t nameStart)
      : text_(text.data()), at_(text_ + nameStart), end_(text_ + text.size()) {
    while (at_ != end_ && !EndsTagName(*at_)) ++at_;
  }

  /// The next attribute; false at the end of the tag.
  bool Next(Attribute* attribute) {
    while (at_ != end_ && kBetween.Has(*at_)) ++at_;
    if (at_ == end_ || *at_ == L'>') return false;

    const wchar_t* const name = at_;
    while (at_ != end_ && !kNameEnds.Has(*at_)) ++at_;
    attribute->nameStart = static_cast<std::size_t>(name - text_);
    attribute->name = {name, static_cast<std::size_t>(at_ - name)};
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

 private:
  static constexpr UnitSet kNameEnds{L" \n\t\r/=>?"};
  /// What may stand between attributes.
  static constexpr UnitSet kBetween{L" \n\t\r/?"};

  void SkipWhiteSpace() {
    while (at_ != end_ && IsWhiteSpace(*at_)) ++at_;
  }

  /// A value in quotes, which runs to the end of the text when the second quote is missing, or a
  /// bare one, which runs to white space or `>`.
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
    attribute->valueStart = static_cast<std::size_t>(value - text_);
    attribute->value = {value, static_cast<std::size_t>(valueEnd - value)};
  }

  /// The end of a quoted value. Most are too short for a call to pay, and are seen to be plain on
  /// the way.
  const wchar_t* FindEnd(const wchar_t* value, wchar_t quote, Attribute* attribute) const {
    constexpr std::ptrdiff_t kShort = 24;
    const wchar_t* const shortEnd = end_ - value > kShort ? value + kShort : end_;
    bool isPlain = true;
    for (; value != shortEnd; ++value) {
      if (*value == quote) {
        attribute->isPlain = isPlain;
        return value;
      }
      isPlain &= *value != L'&';
    }
    attribute->isPlain = false;
    const wchar_t* const longEnd =
        std::char_traits<wchar_t>::find(value, static_cast<std::size_t>(end_ - value), quote);
    return longEnd != nullptr ? longEnd : end_;
  }

  const wchar_t* text_;
  const wchar_t* at_;
  const wchar_t* end_;
};

/// The first attribute of a name in the tag or instruction whose name begins at `nameStart`.
bool FindAttribute(std::wstring_view text, std::size_t nameStart, std::wstring_view name,
                   bool ignoreCase, Attribute* attribute);

}  // namespace orv
