#include "xml/child_reader.h"

#include "xml/attributes.h"
#include "xml/markup_index.h"

namespace orv {

ChildReader::ChildReader(const CMarkup& doc, int parent, std::wstring_view opening)
    : doc_(doc),
      elements_(*doc.m_pElements),
      text_(doc.m_strDoc),
      opening_(opening),
      shapesWhiteSpace_(ShapesWhiteSpace(doc.m_nDocFlags)),
      next_(static_cast<int>(elements_[parent].child)) {}

bool ChildReader::Next(std::wstring_view guess, std::wstring_view* value, std::wstring_view* data) {
  while (next_ != 0) {
    const int child = next_;
    const ElemPos& element = elements_[child];
    next_ = static_cast<int>(element.next);
    // The text of a whole document is far from the processor: it comes while this child is read.
    __builtin_prefetch(text_.data() + elements_[next_].start);
    *value = {};
    *data = {};
    if (!shapesWhiteSpace_) {
      *value = ValueBehind(text_, element.start, opening_, guess);
      *data = PlainContent(text_, element);
    }
    if (value->data() == nullptr && !ReadOther(child, value)) continue;
    if (data->data() == nullptr) *data = dataBuffer_ = doc_.x_GetData(child);
    return true;
  }
  return false;
}

/// Reads the value of a child that begins in another way; false when it has another name.
bool ChildReader::ReadOther(int child, std::wstring_view* value) {
  const std::size_t blank = opening_.find(L' ');
  const ElemPos& element = elements_[child];
  if (!IsNamed(text_, element, opening_.substr(1, blank - 1), doc_.m_nDocFlags)) return false;
  const std::size_t equals = opening_.size() - 2;  // and a quote behind it
  const std::wstring_view name = opening_.substr(blank + 1, equals - blank - 1);
  const bool ignoreCase = (doc_.m_nDocFlags & CMarkup::DOC_IGNORECASE) != 0;
  Attribute attribute;
  if (FindAttribute(text_, element.start + 1, name, ignoreCase, &attribute)) {
    const bool isPlain = attribute.isPlain && !shapesWhiteSpace_;
    if (!isPlain) valueBuffer_ = doc_.x_Unescape(attribute.value);
    *value = isPlain ? attribute.value : std::wstring_view(valueBuffer_);
  }
  return true;
}

}  // namespace orv
