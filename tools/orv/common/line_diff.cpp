#include "tools/orv/common/line_diff.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "orv/text/format.h"

namespace orv::tool {
namespace {

using Lines = std::vector<std::wstring_view>;

Lines SplitLines(std::wstring_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(L'\n'), text.size() - 1) + 1;
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return lines;
}

/// A line that both texts have, or that one of them has.
struct DiffLine {
  wchar_t mark;  ///< ' ', '-' or '+'
  std::wstring_view text;
};

/// The shortest way from one text to the other, by the greedy algorithm of E. W. Myers, "An O(ND)
/// difference algorithm and its variations" (1986). `furthest[k]` is how far in `before` a path of
/// the current number of changes gets on diagonal k: `k` is the line of `before` minus that of
/// `after`.
class ShortestEdit {
 public:
  ShortestEdit(const Lines& before, const Lines& after) : before_(before), after_(after) {
    const int most = std::min(Count(before) + Count(after), kMaxChanges);
    std::vector<int> furthest(2 * static_cast<std::size_t>(most) + 3);
    const auto at = [&](int k) -> int& { return furthest[static_cast<std::size_t>(k + most + 1)]; };
    for (int changes = 0; changes <= most; ++changes) {
      rounds_.emplace_back();
      for (int k = -changes; k <= changes; k += 2) {
        const bool isInsertion = k == -changes || (k != changes && at(k - 1) < at(k + 1));
        int x = isInsertion ? at(k + 1) : at(k - 1) + 1;
        while (IsSame(x, x - k)) ++x;
        at(k) = x;
        rounds_.back().push_back({x, isInsertion});
        if (x >= Count(before) && x - k >= Count(after)) return;
      }
    }
    rounds_.clear();
  }

  /// All lines of both texts in order.
  std::vector<DiffLine> Take() {
    std::vector<DiffLine> lines;
    if (rounds_.empty()) {
      for (const std::wstring_view text : before_) lines.push_back({L'-', text});
      for (const std::wstring_view text : after_) lines.push_back({L'+', text});
      return lines;
    }
    int x = Count(before_);
    int y = Count(after_);
    for (int changes = static_cast<int>(rounds_.size()) - 1; changes >= 0; --changes) {
      const int k = x - y;
      const Step step =
          rounds_[static_cast<std::size_t>(changes)][static_cast<std::size_t>((k + changes) / 2)];
      const auto isStart = [&] {
        return changes == 0 ? x == 0 : x == StartOf(changes, k, step.isInsertion);
      };
      while (!isStart()) {
        lines.push_back({L' ', before_[static_cast<std::size_t>(--x)]});
        --y;
      }
      if (changes == 0) break;
      if (step.isInsertion) {
        lines.push_back({L'+', after_[static_cast<std::size_t>(--y)]});
      } else {
        lines.push_back({L'-', before_[static_cast<std::size_t>(--x)]});
      }
    }
    std::reverse(lines.begin(), lines.end());
    return lines;
  }

 private:
  /// With more changes, the texts count as different in every line.
  static constexpr int kMaxChanges = 4000;

  /// The end of a path on a diagonal, and whether its last change was an insertion.
  struct Step {
    int x;
    bool isInsertion;
  };

  static int Count(const Lines& lines) { return static_cast<int>(lines.size()); }
  bool IsSame(int x, int y) const {
    return x < Count(before_) && y < Count(after_) &&
           before_[static_cast<std::size_t>(x)] == after_[static_cast<std::size_t>(y)];
  }
  /// Where the lines after the last change of a path begin.
  int StartOf(int changes, int k, bool isInsertion) const {
    const int from = isInsertion ? k + 1 : k - 1;
    const Step& step = rounds_[static_cast<std::size_t>(changes - 1)]
                              [static_cast<std::size_t>((from + changes - 1) / 2)];
    return isInsertion ? step.x : step.x + 1;
  }

  const Lines& before_;
  const Lines& after_;
  std::vector<std::vector<Step>> rounds_;
};

}  // namespace

std::wstring UnifiedDiff(const std::wstring& before, const std::wstring& after,
                         const std::wstring& nameBefore, const std::wstring& nameAfter) {
  if (before == after) return {};
  constexpr std::size_t kContext = 3;
  const Lines linesBefore = SplitLines(before);
  const Lines linesAfter = SplitLines(after);
  const std::vector<DiffLine> lines = ShortestEdit(linesBefore, linesAfter).Take();
  std::wstring diff = L"--- " + nameBefore + L"\n+++ " + nameAfter + L"\n";
  std::size_t numberBefore = 1;  // of the line at `next`
  std::size_t numberAfter = 1;
  const auto isChanged = [](const DiffLine& line) { return line.mark != L' '; };
  for (std::size_t next = 0; next < lines.size();) {
    const auto change =
        std::find_if(lines.begin() + static_cast<std::ptrdiff_t>(next), lines.end(), isChanged);
    if (change == lines.end()) break;
    const std::size_t first = static_cast<std::size_t>(change - lines.begin());
    const std::size_t start = std::max(next, first - std::min(first, kContext));
    numberBefore += start - next;
    numberAfter += start - next;
    // The hunk ends where no change follows within twice the context.
    std::size_t end = first + 1;
    for (std::size_t i = end; i < lines.size() && i <= end + 2 * kContext; ++i) {
      if (isChanged(lines[i])) end = i + 1;
    }
    end = std::min(end + kContext, lines.size());
    std::wstring hunk;
    std::size_t countBefore = 0;
    std::size_t countAfter = 0;
    for (std::size_t i = start; i < end; ++i) {
      countBefore += lines[i].mark != L'+' ? 1 : 0;
      countAfter += lines[i].mark != L'-' ? 1 : 0;
      hunk += lines[i].mark;
      hunk += lines[i].text;
      if (!lines[i].text.ends_with(L'\n')) hunk += L"\n\\ No newline at end of file\n";
    }
    // A side without lines is numbered by the line before it.
    diff += Format(L"@@ -%zu,%zu +%zu,%zu @@\n", numberBefore - (countBefore == 0 ? 1 : 0),
                   countBefore, numberAfter - (countAfter == 0 ? 1 : 0), countAfter) +
            hunk;
    numberBefore += countBefore;
    numberAfter += countAfter;
    next = end;
  }
  return diff;
}

}  // namespace orv::tool
