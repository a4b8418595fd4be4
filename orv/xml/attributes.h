#pragma once

#include <string_view>

namespace orv {

/// An attribute as it stands in the text; offsets count from the text's start.
struct Attribute {
  std::size_t nameStart = 0;
  std::wstring_view name;  ///< empty for a value without a name
  std::size_t valueStart = 0;
  std::wstring_view value;  ///< between its quotes, references not decoded
  bool hasValue = false;
};

/// Walks the attributes of a tag or the pseudo-attributes of an instruction.
class AttributeCursor {
 public:
  /// `nameStart` is where the tag name or the instruction's target begins.
  AttributeCursor(std::wstring_view text, std::size_t nameStart);

  /// The next attribute; false at the end of the tag.
  bool Next(Attribute* attribute);

 private:
  void SkipWhiteSpace();
  std::wstring_view TakeValue(std::size_t* start);

  std::wstring_view text_;
  std::size_t at_;
};

/// The first attribute of a name in the tag or instruction whose name begins at `nameStart`.
bool FindAttribute(std::wstring_view text, std::size_t nameStart, std::wstring_view name,
                   bool ignoreCase, Attribute* attribute);

}  // namespace orv
