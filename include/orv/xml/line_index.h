#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

/// Lines and columns of the offsets in a text.
///
///     const orv::LineIndex lines(L"<list>\n  <item/>\n</list>");
///     const orv::TextPosition at = lines.Find(9);  // line 2, column 3

namespace orv {

/// A position in a text as editors show it: both numbers start at 1, columns count UTF-16 code
/// units.
struct TextPosition {
  int line;    ///< the line
  int column;  ///< the column in it
};

/// Converts offsets to lines and columns. Lines end with CR LF, LF or CR. The constructor takes
/// time linear in the text, a lookup time logarithmic in the number of lines.
class LineIndex {
 public:
  /// The text need not outlive the constructor.
  explicit LineIndex(std::wstring_view text) : textLength_(static_cast<std::int64_t>(text.size())) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const bool isBreak =
          text[i] == L'\n' || (text[i] == L'\r' && (i + 1 == text.size() || text[i + 1] != L'\n'));
      if (isBreak) lineStarts_.push_back(static_cast<std::int64_t>(i) + 1);
    }
  }

  /// The position of an offset, which is first clamped to the text. A line or column that exceeds
  /// the range of an int becomes the largest int.
  TextPosition Find(std::int64_t offset) const {
    offset = std::clamp(offset, std::int64_t{0}, textLength_);
    const auto nextLine = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
    return {ToInt(nextLine - lineStarts_.begin()), ToInt(offset - *(nextLine - 1) + 1)};
  }

 private:
  static int ToInt(std::int64_t number) {
    constexpr std::int64_t kMax = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(number, kMax));
  }

  std::vector<std::int64_t> lineStarts_{0};
  std::int64_t textLength_;
};

}  // namespace orv
