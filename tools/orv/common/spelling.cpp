#include "tools/orv/common/spelling.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "config/values.h"
#include "xml/names.h"

namespace orv::tool {
namespace {

/// The edit distance between two words: insertions, deletions, replacements and swaps of
/// neighbours. Any value from `bound` on when the distance is at least `bound`.
std::size_t Distance(std::wstring_view a, std::wstring_view b, std::size_t bound) {
  // Three rows of the distance table: a swap refers to the row before the last.
  std::vector<std::size_t> before(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  const auto same = [&](std::size_t i, std::size_t j) {
    return ToUpperAscii(a[i]) == ToUpperAscii(b[j]);
  };
  std::size_t least =
      0;  // minimum of the last row; with the one before, a lower bound for all later rows
  std::size_t leastBefore = 0;
  for (std::size_t i = 1; i <= a.size() && std::min(least, leastBefore) < bound; ++i) {
    before.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same(i - 1, j - 1) ? 0 : 1)});
      if (i > 1 && j > 1 && same(i - 1, j - 2) && same(i - 2, j - 1)) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    leastBefore = std::exchange(least, *std::ranges::min_element(row));
  }
  return std::max(row[b.size()], std::min(least, leastBefore));
}

}  // namespace

std::wstring_view Nearest(std::wstring_view word, std::span<const std::wstring_view> candidates) {
  std::wstring_view nearest;
  std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
  for (const std::wstring_view candidate : candidates) {
    const auto [shorter, longer] = std::minmax({word.size(), candidate.size()});
    if (longer - shorter >= least) continue;  // the difference in length is a lower bound
    const std::size_t distance = Distance(word, candidate, least);
    if (distance < least) {
      least = distance;
      nearest = candidate;
    }
  }
  constexpr std::size_t kMinPrefix = 3;
  if (!nearest.empty() || word.size() < kMinPrefix) return nearest;
  const auto begun = std::ranges::find_if(candidates, [&](std::wstring_view candidate) {
    return EqualsIgnoringAsciiCase(candidate.substr(0, word.size()), word);
  });
  return begun != candidates.end() ? *begun : nearest;
}

std::wstring NearestOr(std::wstring_view word, std::span<const std::wstring_view> candidates,
                       const wchar_t* otherwise) {
  const std::wstring nearest(Nearest(word, candidates));
  return nearest.empty() ? otherwise : nearest;
}

std::wstring DidYouMean(std::wstring_view word, std::span<const std::wstring_view> candidates) {
  const std::wstring nearest(Nearest(word, candidates));
  return nearest.empty() ? nearest : L"; did you mean " + nearest + L"?";
}

}  // namespace orv::tool
