#include "orv/xml/attributes.h"

#include "orv/xml/names.h"

namespace orv {
namespace {

constexpr UnitSet kNameEnds(L" \n\t\r/=>?");
/// What may stand between attributes.
constexpr UnitSet kBetween(L" \n\t\r/?");

}  // namespace

AttributeCursor::AttributeCursor(std::wstring_view text, std::size_t nameStart)
    : text_(text), at_(nameStart) {
  while (at_ < text_.size() && !EndsTagName(text_[at_])) ++at_;
}

bool AttributeCursor::Next(Attribute* attribute) {
  while (at_ < text_.size() && kBetween.Has(text_[at_])) ++at_;
  if (at_ >= text_.size() || text_[at_] == L'>') return false;

  attribute->nameStart = at_;
  while (at_ < text_.size() && !kNameEnds.Has(text_[at_])) ++at_;
  attribute->name = text_.substr(attribute->nameStart, at_ - attribute->nameStart);
  SkipWhiteSpace();
  attribute->hasValue = at_ < text_.size() && text_[at_] == L'=';
  if (attribute->hasValue) {
    ++at_;
    attribute->value = TakeValue(&attribute->valueStart);
  } else {
    attribute->value = {};
  }
  return true;
}

void AttributeCursor::SkipWhiteSpace() {
  while (at_ < text_.size() && IsWhiteSpace(text_[at_])) ++at_;
}

/// A value in quotes, which runs to the end of the text when the second quote is missing, or a bare
/// one, which runs to white space or `>`.
std::wstring_view AttributeCursor::TakeValue(std::size_t* start) {
  SkipWhiteSpace();
  std::size_t end;
  if (at_ < text_.size() && IsQuote(text_[at_])) {
    *start = at_ + 1;
    end = text_.find(text_[at_], *start);
    if (end == text_.npos) end = text_.size();
    at_ = end + 1;
  } else {
    *start = at_;
    end = at_;
    while (end < text_.size() && !IsWhiteSpace(text_[end]) && text_[end] != L'>') ++end;
    at_ = end;
  }
  return text_.substr(*start, end - *start);
}

bool FindAttribute(std::wstring_view text, std::size_t nameStart, std::wstring_view name,
                   bool ignoreCase, Attribute* attribute) {
  AttributeCursor cursor(text, nameStart);
  while (cursor.Next(attribute)) {
    if (!attribute->name.empty() && SameName(attribute->name, name, ignoreCase)) return true;
  }
  return false;
}

}  // namespace orv
