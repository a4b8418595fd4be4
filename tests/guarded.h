#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/// Memory between pages that nobody may touch, for tests of what reads and writes at the ends of a
/// buffer: a byte too far ends the program.

namespace orv::test {

/// Which end of a buffer lies at such a page.
enum class Edge { kBegin, kEnd };
inline constexpr Edge kEdges[] = {Edge::kBegin, Edge::kEnd};

/// Whole pages for at least `size` bytes, one at least, with one in front and one behind that
/// cannot be read or written; and back. `size` is what was asked for.
std::span<std::uint8_t> MapGuarded(std::size_t size);
void UnmapGuarded(std::span<std::uint8_t> pages);

/// A buffer of units at an edge of guarded pages. The rest of the pages is filled with a byte of
/// its own.
template <typename Unit>
class Guarded {
 public:
  static constexpr std::uint8_t kAround = 0xA5;

  Guarded(std::size_t count, Edge edge)
      : pages_(MapGuarded(count * sizeof(Unit))),
        units_(reinterpret_cast<Unit*>(edge == Edge::kBegin ? pages_.data()
                                                            : pages_.data() + pages_.size()) -
                   (edge == Edge::kBegin ? 0 : count),
               count) {
    std::memset(pages_.data(), kAround, pages_.size());
  }
  Guarded(std::basic_string_view<Unit> text, Edge edge) : Guarded(text.size(), edge) {
    std::ranges::copy(text, units_.begin());
  }
  Guarded& operator=(Guarded&&) = delete;
  ~Guarded() { UnmapGuarded(pages_); }

  Unit* data() const { return units_.data(); }
  std::size_t size() const { return units_.size(); }
  std::basic_string_view<Unit> view() const { return {data(), size()}; }

  /// Whether the bytes beside the buffer are as they were.
  bool IsUntouchedAround() const {
    const auto* const first = reinterpret_cast<const std::uint8_t*>(data());
    const std::uint8_t* const behind = first + size() * sizeof(Unit);
    const std::uint8_t* const all = pages_.data();
    const auto isUntouched = [](const std::uint8_t* at, const std::uint8_t* end) {
      return at == end || (*at == kAround && std::memcmp(at, at + 1, end - at - 1) == 0);
    };
    return isUntouched(all, first) && isUntouched(behind, all + pages_.size());
  }

 private:
  std::span<std::uint8_t> pages_;
  std::span<Unit> units_;
};

}  // namespace orv::test
