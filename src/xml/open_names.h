#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

namespace orv {

/// Counts the names of open elements, so that an end tag that matches none of a million is known
/// without looking at each. A name answers to each of its beginnings that a terminator follows,
/// as end tags match.
class OpenNames {
 public:
  explicit OpenNames(bool ignoreCase) : ignoreCase_(ignoreCase) {}

  void Add(std::wstring_view name) { Count(name, 1); }
  void Remove(std::wstring_view name) { Count(name, -1); }

  /// False only when no open name matches an end tag of this name.
  bool MayMatch(std::wstring_view endTagName) const;

 private:
  void Count(std::wstring_view name, int change);

  bool ignoreCase_;
  std::unordered_map<std::uint64_t, int> counts_;
};

}  // namespace orv
