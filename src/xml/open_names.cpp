#include "xml/open_names.h"

#include "xml/names.h"

namespace orv {
namespace {

/// A running hash over the units of a name, the same for names that compare the same.
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

}  // namespace

bool OpenNames::MayMatch(std::wstring_view endTagName) const {
  NameHash hash(ignoreCase_);
  for (const wchar_t unit : endTagName) hash.Add(unit);
  return counts_.contains(hash.Value());
}

void OpenNames::Count(std::wstring_view name, int change) {
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

}  // namespace orv
