#pragma once

#include <string_view>
#include <vector>

namespace orv {

/// A place in a text as people count: both from 1, columns in UTF-16 units.
struct TextPosition {
  int line;
  int column;
};

/// Turns offsets into lines and columns. Lines end with CR LF, LF or CR. Building takes time
/// proportional to the text, each question the logarithm of its lines.
class LineIndex {
 public:
  /// The text need not outlive the constructor.
  explicit LineIndex(std::wstring_view text);

  /// The place of an offset; one beyond the text counts as its end, a negative one as its start.
  TextPosition Find(int offset) const;

 private:
  std::vector<int> lineStarts_;
  int textLength_;
};

}  // namespace orv
