#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "xml/names.h"

namespace orv {

/// A multiset of the names of open elements. It tells in constant time that an end tag matches none
/// of them, however many are open. A name is counted with each of its prefixes that a terminator
/// follows, because end tags match those too.
class OpenNames {
 public:
  explicit OpenNames(bool ignoreCase) : ignoreCase_(ignoreCase) {}

  void Add(std::wstring_view name) { Count(name, 1); }
  void Remove(std::wstring_view name) { Count(name, -1); }

  /// False only if no open name matches an end tag with this name.
  bool MayMatch(std::wstring_view endTagName) const {
    NameHash hash(ignoreCase_);
    for (const wchar_t unit : endTagName) hash.Add(unit);
    return counts_.contains(hash.Value());
  }

 private:
  /// A running hash over the code units of a name; equal for names that compare equal.
  class NameHash {
   public:
    explicit NameHash(bool fold) : fold_(fold) {}

    void Add(wchar_t unit) {
      if (fold_) unit = ToUpperAscii(unit);
      if (static_cast<std::uint32_t>(unit) >= 128) fold_ = false;
      state_ = (state_ ^ static_cast<std::uint32_t>(unit)) * 0x9E3779B97F4A7C15ull;
      state_ ^= state_ >> 29;
    }

    std::uint64_t Value() const { return state_; }

   private:
    bool fold_;
    std::uint64_t state_ = 0x243F6A8885A308D3ull;
  };

  void Count(std::wstring_view name, int change) {
    NameHash hash(ignoreCase_);
    for (std::size_t i = 0; i <= name.size(); ++i) {
      if (i == name.size() || EndsPathName(name[i])) {
        const auto [entry, isNew] = counts_.try_emplace(hash.Value(), 0);
        entry->second += change;
        if (entry->second == 0) counts_.erase(entry);
      }
      if (i < name.size()) hash.Add(name[i]);
    }
  }

  bool ignoreCase_;
  std::unordered_map<std::uint64_t, int> counts_;
};

}  // namespace orv
