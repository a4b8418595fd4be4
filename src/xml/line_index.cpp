#include "xml/line_index.h"

#include <algorithm>

namespace orv {

LineIndex::LineIndex(std::wstring_view text)
    : lineStarts_{0}, textLength_(static_cast<int>(text.size())) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isBreak =
        text[i] == L'\n' || (text[i] == L'\r' && (i + 1 == text.size() || text[i + 1] != L'\n'));
    if (isBreak) lineStarts_.push_back(static_cast<int>(i) + 1);
  }
}

TextPosition LineIndex::Find(int offset) const {
  offset = std::clamp(offset, 0, textLength_);
  const auto behind = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
  const auto line = behind - lineStarts_.begin();
  return {static_cast<int>(line), offset - *(behind - 1) + 1};
}

}  // namespace orv
