#include "xml/child_reader.h"

#include "xml/attributes.h"

namespace orv {

[[gnu::flatten]] bool ChildReader::Next(std::wstring_view expectedValue, std::wstring_view* value,
                                        std::wstring_view* data) {
  while (next_ != 0) {
    const int child = next_;
    const ElementEntry& element = document_[child];
    next_ = element.next;
    // Loads the text of the next child while this one is read.
    __builtin_prefetch(text_.data() + document_[next_].start);
    *value = {};
    if (!normalizesWhitespace_) {
      *value = FirstValueFast(text_, element.start, opening_, expectedValue);
    }
    if (value->data() == nullptr && !ReadUnusual(child, value)) continue;
    *data = document_.Data(child, &dataBuffer_);
    return true;
  }
  return false;
}

/// Reads the value of a child with another spelling; false if it has another name.
[[gnu::noinline]] bool ChildReader::ReadUnusual(int child, std::wstring_view* value) {
  const std::size_t space = opening_.find(L' ');
  if (!document_.IsNamed(child, opening_.substr(1, space - 1))) return false;
  const std::size_t equals = opening_.size() - 2;  // followed by a quote
  const std::wstring_view name = opening_.substr(space + 1, equals - space - 1);
  const int nameStart = document_[child].start + 1;
  Attribute attribute;
  if (FindAttribute(document_.TextOfTag(nameStart), nameStart, name, document_.IgnoresCase(),
                    &attribute)) {
    const bool isPlain = attribute.isPlain && !normalizesWhitespace_;
    if (!isPlain) valueBuffer_ = document_.Unescape(attribute.value);
    *value = isPlain ? attribute.value : std::wstring_view(valueBuffer_);
  }
  return true;
}

}  // namespace orv
